"""Plants metadata that bears a secret wherever exiftool, exiv2 or a few bytes by hand can put it.

Each picture becomes several: as exiftool writes it, as exiv2 does, and with hand-made blocks where
no program would put them. One whose secret did not take is left out, and said so.
"""

import concurrent.futures
import os
import shutil
import zlib

from case import Case
from frames import compare, png_chunks, signature
from process import run_tool

SECRET = "PlantedSecret7351"
LATITUDE, LONGITUDE = "12.3456789", "98.7654321"

TEXT_TAGS = """IFD0:Artist IFD0:Copyright IFD0:ImageDescription IFD0:Software IFD0:HostComputer
    IFD0:DocumentName IFD0:PageName IFD0:Make IFD0:Model IFD0:XPTitle IFD0:XPComment IFD0:XPAuthor
    IFD0:XPKeywords IFD0:XPSubject IFD0:UniqueCameraModel IFD0:CameraSerialNumber
    ExifIFD:UserComment ExifIFD:OwnerName ExifIFD:SerialNumber ExifIFD:LensModel ExifIFD:LensMake
    ExifIFD:LensSerialNumber ExifIFD:ImageUniqueID ExifIFD:RelatedSoundFile
    ExifIFD:SpectralSensitivity IFD1:Artist IFD1:ImageDescription SubIFD:ImageDescription
    GPS:GPSProcessingMethod GPS:GPSAreaInformation GPS:GPSMapDatum GPS:GPSSatellites
    GPS:GPSDestDistanceRef InteropIFD:RelatedImageFileFormat
    XMP-dc:Creator XMP-dc:Description XMP-dc:Title XMP-dc:Rights XMP-dc:Subject XMP-xmp:CreatorTool
    XMP-xmp:Label XMP-xmp:Nickname XMP-xmpMM:DocumentID XMP-xmpMM:InstanceID
    XMP-xmpMM:OriginalDocumentID XMP-photoshop:City XMP-photoshop:Credit XMP-photoshop:History
    XMP-photoshop:Instructions XMP-tiff:Artist XMP-exif:UserComment XMP-aux:SerialNumber
    XMP-aux:OwnerName XMP-iptcCore:Location XMP-iptcExt:PersonInImage XMP-crs:RawFileName
    XMP-xmpRights:Owner XMP-pdf:Keywords XMP-plus:ImageCreatorName XMP-GPano:CaptureSoftware
    XMP-digiKam:TagsList XMP-lr:HierarchicalSubject XMP-cc:AttributionName XMP-prism:Byline
    IPTC:Caption-Abstract IPTC:By-line IPTC:Keywords IPTC:City IPTC:Writer-Editor
    IPTC:CopyrightNotice IPTC:OriginatingProgram IPTC:ObjectName IPTC:SpecialInstructions
    Photoshop:PhotoshopBGRThumbnail File:Comment Ducky:Comment Ducky:Copyright PNG:Author
    PNG:Comment PNG:Copyright PNG:Description PNG:Software PNG:Title PNG:Source PNG:Warning
    PhotoMechanic:Tagged Canon:OwnerName Canon:CanonImageType Nikon:SerialNumber Olympus:CameraID
    Panasonic:BabyAge Pentax:SerialNumber Sony:SonyModelID Ricoh:Software
    Apple:ImageUniqueID Apple:ContentIdentifier MakerNotes:OwnerName""".split()


def _with_exiftool(paths):
    """One process for all files; a tag that a file cannot take is passed over."""
    tags = [f"-{tag}={SECRET}" for tag in TEXT_TAGS]
    tags += [f"-GPSLatitude={LATITUDE}", f"-GPSLongitude={LONGITUDE}", "-GPSLongitudeRef=W"]
    tags += ["-GPSLatitudeRef=S", "-GPSDateStamp=2023:07:14"]
    tags += ["-DateTimeOriginal=2023:07:14 18:02:11"]
    secret = os.path.join(os.path.dirname(paths[0]), "secret.bin")
    with open(secret, "wb") as file:
        file.write(b"\xff\xd8\xff\xe0" + SECRET.encode() * 20 + b"\xff\xd9")
    tags += [f"-ThumbnailImage<={secret}", f"-JpgFromRaw<={secret}", f"-PreviewImage<={secret}"]
    run_tool("exiftool", "-q", "-q", "-m", "-overwrite_original", *tags, *paths)
    os.remove(secret)


EXIV2_COMMANDS = (
    "set Exif.Image.Artist Ascii {0}",
    "set Exif.Image.ImageHistory Ascii {0}",
    "set Exif.Photo.MakerNote Undefined {1}",
    "set Exif.Photo.UserComment charset=Unicode {0}",
    "set Exif.GPSInfo.GPSProcessingMethod charset=Ascii {0}",
    "set Xmp.dc.source {0}",
    "set Xmp.xmp.Identifier XmpBag {0}",
    "set Iptc.Application2.Contact String {0}",
    "set Iptc.Envelope.UNO String {0}",
)


def _with_exiv2(paths):
    numbers = " ".join(str(b) for b in SECRET.encode())
    commands = [f"-M{command.format(SECRET, numbers)}" for command in EXIV2_COMMANDS]
    run_tool("exiv2", "-q", *commands, "modify", *paths)
    run_tool("exiv2", "-q", "-c", SECRET, "modify", *paths)


# --- By hand: blocks that no program would write, and bytes where none belong ---------------------


def _jpeg_segment(code, payload):
    return b"\xff" + bytes([code]) + (len(payload) + 2).to_bytes(2, "big") + payload


def _in_jpeg(data, text):
    """Every application segment and two comments after the start, bytes after the end."""
    segments = b"".join(_jpeg_segment(code, text) for code in (*range(0xE0, 0xF0), 0xFE, 0xFE))
    segments += _jpeg_segment(0xE0, b"JFXX\0\x13" + text) + _jpeg_segment(0xE2, b"MPF\0" + text)
    segments += _jpeg_segment(0xEE, b"Adobe_CM\0" + text)
    end = b"" if data.rstrip(b"\0").endswith(b"\xff\xd9") else b"\xff\xd9"
    return data[:2] + segments + data[2:] + end + text


def _png_chunk(kind, body):
    crc = zlib.crc32(kind + body).to_bytes(4, "big")
    return len(body).to_bytes(4, "big") + kind + body + crc


def _in_png(data, text):
    """Known and unknown chunks on both sides of the pixels, and bytes after the end."""
    out = data[:8]
    planted = [b"tEXt", b"npLt", b"prVt", b"tIME", b"eXIf", b"caBX", b"dSIG", b"iDOT"]
    extra = b"".join(_png_chunk(kind, b"Comment\0" + text) for kind in planted)
    for kind, body in png_chunks(data):
        out += extra if kind == b"IEND" else b""
        out += _png_chunk(kind, body)
        out += extra if kind == b"IHDR" else b""
    return out + text


def _in_gif(data, text):
    """A comment, a plain text and two application blocks before the first frame; a trailer."""
    table = 3 << (data[10] & 7) + 1 if data[10] & 0x80 else 0
    body = bytes([len(text)]) + text + b"\0"
    blocks = b"\x21\xfe" + body
    blocks += b"\x21\xff\x0bSECRETS 1.0" + body + b"\x21\xff\x0bXMP DataXMP" + body
    blocks += b"\x21\x01\x0c" + bytes(12) + body + b"\x21\x77" + body
    return b"GIF89a" + data[6 : 13 + table] + blocks + data[13 + table :] + text


def _in_webp(data, text):
    """Chunks of unknown and of known names at the end, and bytes after it."""
    text += b"" if len(text) % 2 == 0 else b"."
    chunk = len(text).to_bytes(4, "little") + text
    chunks = b"".join(kind + chunk for kind in (b"NPLT", b"IART", b"META"))
    length = int.from_bytes(data[4:8], "little")
    body = data[8 : 8 + length] + chunks
    return b"RIFF" + len(body).to_bytes(4, "little") + body + text


def _in_tiff(data, text):
    """Bytes that no field points at. Fields are exiftool's business."""
    return data + b"\0" + text


def _in_bmp(data, text):
    """A gap before the pixels and bytes after the end."""
    offset = int.from_bytes(data[10:14], "little")
    header = int.from_bytes(data[14:18], "little")
    if header >= 124 and data[70:74] in (b"DEBM", b"KNIL"):
        return data[:2] + (len(data) + len(text)).to_bytes(4, "little") + data[6:] + text
    gap = text + bytes(-len(text) % 4)
    moved = (offset + len(gap)).to_bytes(4, "little")
    size = (len(data) + len(gap) + len(text)).to_bytes(4, "little")
    return data[:2] + size + text[:4] + moved + data[14:offset] + gap + data[offset:] + text


BY_HAND = {
    "jpeg": _in_jpeg,
    "png": _in_png,
    "gif": _in_gif,
    "webp": _in_webp,
    "tiff": _in_tiff,
    "bmp": _in_bmp,
}


def _with_bytes(paths):
    for path in paths:
        plant = BY_HAND.get(signature(path))
        if plant is None:
            continue
        with open(path, "rb") as file:
            data = file.read()
        with open(path, "wb") as file:
            file.write(plant(data, SECRET.encode()))


WAYS = (("exiftool", _with_exiftool), ("exiv2", _with_exiv2), ("by hand", _with_bytes))


def _holds_secret(path):
    with open(path, "rb") as file:
        data = file.read()
    return any(SECRET.encode(code) in data for code in ("ascii", "utf-16-le", "utf-16-be"))


def _planted_one_way(cases, way, plant):
    scratch = os.path.commonpath([case.folder for case in cases])
    twins = []
    for case in cases:
        folder = os.path.join(scratch, way.replace(" ", "-"), os.path.basename(case.folder))
        twin = Case(case.original, f"{case.label} planted {way}", folder, case.number)
        twin.secret = SECRET
        twins.append((case, twin))
    plant([twin.original for _, twin in twins])
    return twins


def _reason_against(case, twin):
    """Why a planted picture is no use, if it is none."""
    for name in os.listdir(twin.folder):  # What exiftool leaves when it stumbles.
        if name != twin.name:
            os.remove(os.path.join(twin.folder, name))
    if not _holds_secret(twin.original):
        return "cannot be planted"
    if any(verdict.problems for verdict in compare(case.original, twin.original)[:1]):
        return "was broken by planting"
    return None


def planted(cases):
    """Cases of planted pictures that bear the secret and are whole, and a word on the others."""
    whole = [case for case in cases if not case.is_bad]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        ways = pool.map(lambda way: _planted_one_way(whole, *way), WAYS)
        twins = [pair for way in ways for pair in way]
        reasons = list(pool.map(lambda pair: _reason_against(*pair), twins))
    kept = []
    for (_, twin), reason in zip(twins, reasons):
        if reason:
            print(f"{twin.label}: {reason}")
            shutil.rmtree(twin.folder)
        else:
            kept.append(twin)
    return kept
