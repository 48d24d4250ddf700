"""Plants a secret in documents: as exiftool does, which knows where programs put such things, and
into every dictionary in which this program says that it does not stay."""

import base64
import json
import os
import shutil

import qpdf
from process import run_tool

SECRET = "PlantedSecret7351"
TEXT = "u:" + SECRET
TAGS = [
    f"-{tag}={SECRET}"
    for tag in "PDF:Author PDF:Title PDF:Subject PDF:Keywords PDF:Creator PDF:Producer XMP-dc:Creator"
    " XMP-dc:Title XMP-xmpMM:DocumentID XMP-pdf:Keywords XMP-photoshop:History".split()
]


def _with_exiftool(original, path):
    """A later revision, which is how exiftool writes."""
    shutil.copyfile(original, path)
    run_tool("exiftool", "-q", "-m", "-overwrite_original", *TAGS, path)


def _marked(document, dictionary, stream, is_annotation):
    """The dictionary with secrets, or nothing when it is no place for any."""
    kind, subtype = (document.entry(dictionary, key) for key in ("/Type", "/Subtype"))
    added = {}
    if kind in ("/Catalog", "/Page", "/Font", "/StructElem", "/OCG", "/XObject") or subtype in ("/Form", "/Image"):
        added = {"/Metadata": stream, "/PieceInfo": {"/Secret": {"/LastModified": TEXT, "/Private": TEXT}}}
    if kind == "/Page":
        added |= {"/LastModified": TEXT}
    if is_annotation and subtype != "/Widget":
        added = {key: TEXT for key in ("/T", "/M", "/CreationDate", "/Subj", "/NM", "/AAPL:AKExtras")}
    return {**dictionary, **added} if added else None


def _by_hand(original, path):
    document = qpdf.Document(original)
    header = document.facts["qpdf"][0]
    number = header["maxobjectid"] + 1
    reference = f"{number} 0 R"
    packet = f"<?xpacket?><x:xmpmeta>{SECRET}</x:xmpmeta>".encode()
    entries = {"/Type": "/Metadata", "/Subtype": "/XML"}
    update = {
        "obj:" + reference: {"stream": {"dict": entries, "data": base64.b64encode(packet).decode()}}
    }
    annotations = {
        item
        for page in document.facts["pages"]
        for item in document.entry(page["object"], "/Annots") or []
        if isinstance(item, str)
    }
    for key, whole in document.objects.items():
        dictionary = whole["stream"]["dict"] if "stream" in whole else whole["value"]
        if key == "trailer" or not isinstance(dictionary, dict):
            continue
        marked = _marked(document, dictionary, reference, key.removeprefix("obj:") in annotations)
        if marked:
            update[key] = {"stream": {"dict": marked}} if "stream" in whole else {"value": marked}
    header["maxobjectid"] = number
    changes = path + ".json"
    with open(changes, "w") as file:
        json.dump({"qpdf": [header, update]}, file)
    run_tool("qpdf", original, f"--update-from-json={changes}", path)
    os.remove(changes)


WAYS = (("exiftool", _with_exiftool), ("by hand", _by_hand))


def _planted(case, way, plant):
    """The planted twin of a case, or None when its secret did not take."""
    root, _, number = case.folder.rpartition(os.sep)
    twin = type(case)(
        case.original, f"{case.label} planted {way}", os.path.join(root, way.replace(" ", "-"), number), case.number
    )
    twin.secret = SECRET
    os.remove(twin.original)
    try:
        plant(case.original, twin.original)
    except qpdf.Unopenable:
        pass
    whole = os.path.exists(twin.original) and qpdf.page_count(twin.original) is not None
    if whole and twin.holds_secret(twin.original):
        return twin
    print(f"{twin.label}: cannot be planted")
    shutil.rmtree(twin.folder)
    return None


def planted(cases):
    twins = [_planted(case, *way) for way in WAYS for case in cases if not case.is_bad]
    return [twin for twin in twins if twin]
