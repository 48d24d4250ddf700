"""What revealing and listing must say of a picture, worked out from what exiftool finds in it."""

import re

TITLE = "Nullprint — hidden data report"
NOTHING = "  ✓ No hidden metadata found — nothing to remove."
FOOTER = "Generated locally by Nullprint. No data left your Mac."

# Icon, label, group and name of the rows that show one text each, in the order in which they come.
TEXT_ROWS = (
    ("👤", "Author", "IFD0", "Artist"),
    ("©️", "Copyright", "IFD0", "Copyright"),
    ("🛠", "Edited with", "IFD0", "Software"),
    ("🔢", "Camera serial", "ExifIFD", "SerialNumber"),
    ("🔭", "Lens", "ExifIFD", "LensModel"),
)
LABELS = {"Location", "Camera / device", "Date taken", "IPTC tags", "XMP metadata"} | {
    row[1] for row in TEXT_ROWS
}

LISTED_TEXTS = (
    ("TIFF Artist", "IFD0", "Artist"),
    ("TIFF Copyright", "IFD0", "Copyright"),
    ("TIFF Make", "IFD0", "Make"),
    ("TIFF Model", "IFD0", "Model"),
    ("TIFF Software", "IFD0", "Software"),
    ("EXIF DateTimeOriginal", "ExifIFD", "DateTimeOriginal"),
    ("EXIF UserComment", "ExifIFD", "UserComment"),
    ("EXIF BodySerialNumber", "ExifIFD", "SerialNumber"),
    ("EXIF LensModel", "ExifIFD", "LensModel"),
)


class Tags:
    """The tags of the picture itself, the first of each kind."""

    def __init__(self, entries):
        self.values = {}
        self.names = {}
        # What a TIFF file has among its Photoshop resources is IPTC as any; elsewhere, exiftool
        # calls so what it finds behind a picture's end.
        is_tiff = any(e.name == "FileType" and e.values[0] in ("TIFF", "BTF") for e in entries)
        for entry in entries:
            if entry.is_embedded:
                continue
            group = "IPTC" if is_tiff and entry.group == "IPTC2" else entry.group
            self.values.setdefault((group, entry.name), entry.values[0] if entry.values else "")
            self.names.setdefault(group, set()).add(entry.name)

    def text(self, group, name):
        value = self.values.get((group, name))
        if isinstance(value, bytes):
            try:
                return value.decode("utf-8")
            except UnicodeDecodeError:
                return value.decode("latin-1")
        return value

    def degrees(self, name):
        try:
            return float(self.values[("GPS", name)])
        except (KeyError, ValueError):
            return None

    def count(self, group):
        return len(self.names.get(group, ()))


def _datasets(data, at):
    """The numbers of the IIM datasets that follow each other from a place on."""
    numbers = []
    while data[at : at + 1] == b"\x1c" and len(data) - at >= 5:
        length = int.from_bytes(data[at + 3 : at + 5], "big")
        if length > len(data) - at - 5:
            break
        numbers.append(data[at + 1 : at + 3])
        at += 5 + length
    return numbers


def _captions(tags, data):
    """How many kinds of IPTC fields there are. exiftool passes over the IPTC items of HEIF, whose
    datasets are the most that stand in a row."""
    if data[4:8] != b"ftyp" or b"iptc\0" not in data:
        return tags.count("IPTC")
    places = [found.start() for found in re.finditer(rb"\x1c\x02", data)]
    return len(set(max((_datasets(data, at) for at in places), key=len, default=[])))


def _location(tags):
    north, east = tags.degrees("GPSLatitude"), tags.degrees("GPSLongitude")
    if north is None or east is None:
        return []
    north = -north if tags.text("GPS", "GPSLatitudeRef") == "S" else north
    east = -east if tags.text("GPS", "GPSLongitudeRef") == "W" else east
    return [("📍", "Location", f"GPS {north:.5f}, {east:.5f} — where the photo was taken")]


def _camera(tags):
    make, model = tags.text("IFD0", "Make"), tags.text("IFD0", "Model")
    if make is None:
        return []
    return [("📷", "Camera / device", make if model is None else f"{make} {model}")]


def _date(tags):
    date = tags.text("ExifIFD", "DateTimeOriginal")
    date = tags.text("IFD0", "ModifyDate") if date is None else date
    return [] if date is None else [("🕒", "Date taken", date)]


def expected_items(tags, data):
    """The rows that a report must have: icon, label, detail."""
    items = _location(tags) + _camera(tags) + _date(tags)
    for icon, label, group, name in TEXT_ROWS:
        if tags.text(group, name):
            items.append((icon, label, tags.text(group, name)))
    if _captions(tags, data):
        items.append(("🏷", "IPTC tags", "caption / creator / keywords present"))
    if b"xmpmeta" in data or b"ns.adobe.com/xap" in data:
        items.append(("🗂", "XMP metadata", "an embedded metadata block is present"))
    return items


def _without_blank(shown, tags, rows):
    """Texts of blanks alone are shown as they are stored; exiftool trims them to nothing."""
    blank = {key for key, group, name in rows if tags.text(group, name) == ""}
    return [row for row in shown if row[-2] not in blank or row[-1].strip()]


def _plain(text):
    """A text as exiftool may have trimmed it: blanks at the ends and runs of them do not count,
    and neither does what it shows for bytes that are not text."""
    return re.sub(r"\s+", " ", text).strip()


def same_text(shown, stored):
    """exiftool trims blanks, and joins by line feeds what NULs separate; the first part counts."""
    return _plain(shown) in (_plain(stored), _plain(stored.split("\n")[0]))


def _frame(name):
    head = [TITLE, "=" * 40, "", f"Photo: {name}", "-" * 40]
    return "\n".join(head) + "\n", "\n\n" + FOOTER + "\n"


def shown_items(report, name):
    """The rows of a report, or a sentence on what is wrong with its frame."""
    head, foot = _frame(name)
    if not report.startswith(head) or not report.endswith(foot):
        return None, "the report's heading or footer is not as it has to be"
    body = report[len(head) : len(report) - len(foot)]
    if body == NOTHING:
        return [], None
    labels = "|".join(re.escape(label) for label in LABELS)
    rows = re.split(rf"^  (\S+) ({labels}): ", body, flags=re.M)
    if rows[0]:
        return None, f"the report holds a line that is no row: {rows[0][:60]!r}"
    triples = zip(rows[1::3], rows[2::3], rows[3::3])
    return [(icon, label, detail.removesuffix("\n")) for icon, label, detail in triples], None


def is_known_to_others(text, data):
    """exiftool passes over an Exif item of HEIF whose offset it does not understand; viewers do
    not. What is shown of such a file has to stand in it."""
    return data[4:8] == b"ftyp" and text.encode() in data


def check_report(report, name, entries, data):
    """Sentences on how a report differs from what exiftool finds."""
    shown, problem = shown_items(report, name)
    if problem:
        return [problem]
    tags = Tags(entries)
    expected = expected_items(tags, data)
    shown = _without_blank(shown, tags, [row[1:] for row in TEXT_ROWS])
    problems = []
    for item in expected:
        if not any(item[:2] == s[:2] and same_text(s[2], item[2]) for s in shown):
            found = [s[2] for s in shown if s[1] == item[1]]
            problems.append(f"revealing shows {found or 'nothing'} for {item[1]} = {item[2]!r}")
    known = {item[1] for item in expected}
    known |= {label for _, label, detail in shown if is_known_to_others(detail, data)}
    problems += [
        f"revealing shows {label} = {detail!r}, which exiftool does not find"
        for _, label, detail in shown
        if label not in known
    ]
    rows = [s[1] for s in shown if s[1] in {item[1] for item in expected}]
    if not problems and rows != [item[1] for item in expected]:
        problems.append("the rows are not in their order")
    return problems


def expected_findings(tags, data):
    """What a listing must have: key and value, or a whole line."""
    findings = [("GPS", f"({tags.count('GPS')} fields)")] if tags.count("GPS") else []
    for heading, group, name in LISTED_TEXTS:
        if tags.text(group, name):
            findings.append((heading, tags.text(group, name)))
    captions = _captions(tags, data)
    if captions:
        findings.append(("IPTC", f"({captions} fields)"))
    if b"xmpmeta" in data:
        findings.append(("raw XMP", "packet"))
    return findings


def shown_findings(listing, name):
    head = f"== {name} ==\n"
    if not listing.startswith(head):
        return None
    body = listing[len(head) :].removesuffix("\n")
    if body == "  clean":
        return []
    keys = "|".join(["GPS", "IPTC", "raw XMP"] + [row[0] for row in LISTED_TEXTS])
    rows = re.split(rf"^  RESIDUE: ({keys})[ =]", body, flags=re.M)
    if rows[0]:
        return None
    return [(key, value.removesuffix("\n")) for key, value in zip(rows[1::2], rows[2::2])]


def check_listing(listing, name, entries, data):
    """Sentences on how a listing differs from what exiftool finds."""
    shown = shown_findings(listing, name)
    if shown is None:
        return [f"the listing is not made as it has to be: {listing[:80]!r}"]
    tags = Tags(entries)
    expected = expected_findings(tags, data)
    shown = _without_blank(shown, tags, LISTED_TEXTS)
    problems = []
    for key, value in expected:
        if not any(key == k and same_text(v, value) for k, v in shown):
            found = [v for k, v in shown if k == key]
            problems.append(f"the listing shows {found or 'nothing'} for {key} = {value[:80]!r}")
    known = {key for key, _ in expected}
    known |= {key for key, value in shown if is_known_to_others(value, data)}
    problems += [
        f"the listing shows {key} = {value[:80]!r}, which exiftool does not find"
        for key, value in shown
        if key not in known
    ]
    rows = [k for k, _ in shown if k in {key for key, _ in expected}]
    if not problems and rows != [k for k, _ in expected]:
        problems.append("the findings are not in their order")
    return problems
