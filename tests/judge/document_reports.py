"""What revealing and listing must say of a document, worked out from what qpdf finds in it."""

from qpdf import text_of
from reveal import FOOTER, NOTHING, TITLE

UNOPENED = "Couldn’t open this PDF (it may be damaged or password-protected)."
ROWS = (
    ("👤", "Author", "/Author"),
    ("📄", "Title", "/Title"),
    ("🏷", "Subject", "/Subject"),
    ("🛠", "Created with", "/Creator"),
    ("🛠", "Produced by", "/Producer"),
)
EXPECTED_KEYS = ("Producer", "CreationDate", "ModDate")


def _information(document):
    information = document.entry(document.trailer, "/Info")
    return information if isinstance(information, dict) else {}


def _keywords(document, value):
    if isinstance(value, list):
        texts = [text_of(document.value(item)) for item in value]
        return ", ".join(texts) if texts and None not in texts else None
    return text_of(value)


def authors(document):
    names = set()
    for annotation in document.page_annotations():
        if isinstance(annotation, dict) and document.entry(annotation, "/Subtype") != "/Widget":
            names.add(text_of(document.entry(annotation, "/T")) or "")
    return sorted(names - {""})


def expected_report(name, document, data):
    information = _information(document)
    lines = []
    for icon, label, key in ROWS:
        text = text_of(document.value(information.get(key)))
        if text:
            lines.append(f"  {icon} {label}: {text}\n")
    keywords = _keywords(document, document.value(information.get("/Keywords")))
    if keywords is not None:
        lines.append(f"  🏷 Keywords: {keywords}\n")
    if authors(document):
        lines.append(f"  💬 Comment author(s): {', '.join(authors(document))}\n")
    if b"/Metadata" in data:
        lines.append("  🗂 XMP metadata: a hidden metadata block (often author + a tracking ID) is present\n")
    return _report(name, "".join(lines) or NOTHING + "\n")


def _report(name, body):
    return f"{TITLE}\n{'=' * 40}\n\nPDF: {name}\n{'-' * 40}\n{body}\n{FOOTER}\n"


def unopened_report(name):
    return _report(name, f"  {UNOPENED}\n")


def silent_report(name):
    return _report(name, NOTHING + "\n")


def expected_listing(name, document):
    """None when the order or the rendering of a value is anybody's guess."""
    lines = []
    for key, value in sorted(_information(document).items()):
        if document.value(value) is None or any(word in key for word in EXPECTED_KEYS):
            continue
        text = text_of(document.value(value))
        if text is None:
            return None
        lines.append(f"  RESIDUE: PDF {key[1:]}={text}\n")
    return f"== {name} ==\n" + ("".join(lines) or "  clean\n")
