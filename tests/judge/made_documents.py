"""Documents for the judge when there are none at hand: one letter, written in the ways in which PDFs
are written, with something hidden in every place that this program knows of."""

import os

import made
from process import run_tool

HIDDEN = b"HiddenInTheLetter"
XMP = b"<?xpacket begin=''?><x:xmpmeta xmlns:x='adobe:ns:meta/'>%s</x:xmpmeta>" % HIDDEN
CONTENT = b"BT /F 18 Tf 40 150 Td (A letter to everybody) Tj ET q 90 0 0 60 40 40 cm /I Do Q 1 0 0 rg 150 60 9 9 re f"
# How qpdf writes the letter anew. Without a number, the text is the page's, not a user's.
WRITINGS = {
    "packed.pdf": "--object-streams=generate --min-version=1.5",
    "linearized.pdf": "--linearize",
    "open-40.pdf": "--allow-weak-crypto --encrypt  owner 40 --",
    "open-128.pdf": "--allow-weak-crypto --encrypt  owner 128 --use-aes=y --",
    "open-256.pdf": "--encrypt  owner 256 --",
    "bad/locked.pdf": "--encrypt user owner 256 --",
}


def stream(entries, data):
    return b"<<%s/Length %d>>\nstream\n%s\nendstream" % (entries, len(data), data)


def _objects(photo):
    dates = b"/CreationDate(D:20200101000000Z)/M(D:20200101000000Z)"
    note = b"/Type/Annot/Subtype/Text/Rect[9 9 29 29]/Contents(a remark)/T(%s)/Subj(%s)/NM(%s)"
    return {
        1: b"<</Type/Catalog/Pages 2 0 R/Metadata 9 0 R/AcroForm<</Fields[7 0 R]/DA(/F 9 Tf)>>"
        b"/Outlines 12 0 R/PageLabels<</Nums[0<</S/r>>]>>/PieceInfo<</E<</Private(%s)>>>>"
        b"/Names<</EmbeddedFiles<</Names[(a.txt)10 0 R]>>>>>>" % HIDDEN,
        2: b"<</Type/Pages/Count 1/Kids[3 0 R]>>",
        3: b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 300 200]/Contents 4 0 R/Metadata 9 0 R"
        b"/Annots[6 0 R 7 0 R]/Resources<</Font<</F 5 0 R>>/XObject<</I 8 0 R>>>>>>",
        4: stream(b"", CONTENT),
        5: b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>",
        6: b"<<" + note % (HIDDEN, HIDDEN, HIDDEN) + dates + b">>",
        7: b"<</Type/Annot/Subtype/Widget/FT/Tx/T(surname)/V(Roe)/Rect[200 9 290 29]/P 3 0 R/F 4>>",
        8: stream(
            b"/Type/XObject/Subtype/Image/Width 160/Height 120/BitsPerComponent 8"
            b"/ColorSpace/DeviceRGB/Filter/DCTDecode/Metadata 9 0 R",
            photo,
        ),
        9: stream(b"/Type/Metadata/Subtype/XML", XMP),
        10: b"<</Type/Filespec/F(a.txt)/UF(a.txt)/EF<</F 11 0 R>>>>",
        11: stream(b"/Type/EmbeddedFile/Params<</Size 8>>", b"attached"),
        12: b"<</Type/Outlines/First 13 0 R/Last 13 0 R/Count 1>>",
        13: b"<</Title(first page)/Parent 12 0 R/Dest[3 0 R/Fit]>>",
        14: b"<</Author(%s)/Title(%s)/Subject(%s)/Keywords(%s)/Creator(%s)/Producer(%s)/Company(%s)>>"
        % ((HIDDEN,) * 7),
    }


def revision(file, objects, previous=None):
    """A document of these objects, or an earlier one with these in addition."""
    file, offsets = bytearray(file), {}
    for number, body in sorted(objects.items()):
        offsets[number] = len(file)
        file += b"%d 0 obj\n%s\nendobj\n" % (number, body)
    table = len(file)
    file += b"xref\n0 1\n0000000000 65535 f \n"
    for number, offset in offsets.items():
        file += b"%d 1\n%010d 00000 n \n" % (number, offset)
    more = b"/Prev %d" % previous if previous else b""
    identifier = HIDDEN.ljust(32, b".")[:16].hex().encode()
    file += b"trailer\n<</Root 1 0 R/Info 14 0 R/Size 15/ID[<%s><%s>]%s>>\n" % (identifier, identifier, more)
    return bytes(file + b"startxref\n%d\n%%%%EOF\n" % table)


def _write(path, data):
    with open(path, "wb") as file:
        file.write(data)


def make_documents(folder, names=None):
    pictures = made.make_pictures(folder, ("photo.jpg",))
    photo = os.path.join(pictures, "photo.jpg")
    with open(photo, "rb") as file:
        objects = _objects(file.read())
    os.remove(photo)
    os.makedirs(os.path.join(folder, "bad"))
    letter = os.path.join(folder, "letter.pdf")
    draft = revision(b"%PDF-1.4\n", {**objects, 4: stream(b"", CONTENT.replace(b"letter", HIDDEN))})
    _write(letter, revision(b"%PDF-1.4\n", objects))
    _write(
        os.path.join(folder, "updated.pdf"),
        revision(draft, {4: objects[4]}, draft.rindex(b"\nxref") + 1),
    )
    _write(os.path.join(folder, "recovered.pdf"), revision(b"%PDF-1.4\n", objects).replace(b"xref\n", b"xxxx\n"))
    _write(os.path.join(folder, "bad", "cut.pdf"), revision(b"%PDF-1.4\n", objects)[:300])
    for name, options in WRITINGS.items():
        status, _, complaints = run_tool("qpdf", *options.split(" "), letter, os.path.join(folder, name))
        if status != 0:
            raise RuntimeError(f"cannot make {name}: {complaints.decode(errors='replace')}")
    for name in set(os.listdir(folder)) - set(names or os.listdir(folder)) - {"bad"}:
        os.remove(os.path.join(folder, name))
    return folder
