"""Pictures and documents of known sizes, made from a seed and kept until their folder is removed."""

import os
import random
import shutil
import struct
import subprocess
import zipfile
import zlib

SEED = 20
MEGABYTE = 1_000_000
LARGE = 200 * MEGABYTE
# No XMP: a search for it that finds it early would look fast.
TAGS = (
    "-Make=ACME",
    "-Model=X100",
    "-Artist=A. Photographer",
    "-Software=Editor 1.0",
    "-DateTimeOriginal=2023:07:14 18:02:11",
    "-GPSLatitude=48.85837",
    "-GPSLatitudeRef=N",
    "-GPSLongitude=2.29448",
    "-GPSLongitudeRef=E",
)


def _run(*arguments):
    subprocess.run(arguments, check=True, stdout=subprocess.DEVNULL)


def _tag(path):
    _run("exiftool", "-q", "-m", "-overwrite_original", *TAGS, path)


def _noise(path, width, height):
    """Raw RGB samples that no coder can make smaller."""
    with open(path, "wb") as file:
        file.write(random.Random(SEED).randbytes(width * height * 3))


def _from_noise(path, width, height, *options):
    raw = path + ".rgb"
    _noise(raw, width, height)
    _run("convert", "-size", f"{width}x{height}", "-depth", "8", "rgb:" + raw, *options, path)
    os.remove(raw)


def _tiff(path, size):
    if size > LARGE:
        return _large_tiff(path, size)
    width = 4000
    _from_noise(path, width, size // (3 * width), "-compress", "none")
    _tag(path)


def _large_tiff(path, size):
    """Strips of 64 rows behind the one directory."""
    width, rows = 4000, 64
    strip = width * rows * 3
    count = size // strip
    fields = (
        (256, 4, 1, width), (257, 4, 1, rows * count), (258, 3, 1, 8), (259, 3, 1, 1),
        (262, 3, 1, 2), (273, 4, count, 200), (277, 3, 1, 3), (278, 4, 1, rows),
        (279, 4, count, 200 + 4 * count),
    )
    head = struct.pack("<2sHIH", b"II", 42, 8, len(fields))
    head += b"".join(struct.pack("<HHII", *field) for field in fields)
    first = 200 + 8 * count
    with open(path, "wb") as file:
        file.write(head.ljust(200, b"\0"))
        file.write(struct.pack(f"<{count}I", *(first + strip * number for number in range(count))))
        file.write(struct.pack(f"<{count}I", *[strip] * count))
        maker = random.Random(SEED)
        for _ in range(count):
            file.write(maker.randbytes(strip))
    _tag(path)


def _png(path, size):
    width = 2500
    _from_noise(path, width, size // (3 * width), "-quality", "10")
    _tag(path)


def _jpeg(path, size):
    """Noise at this quality takes about 2.87 bytes a point."""
    if size > LARGE:
        return _large_jpeg(path, size)
    width = 4000
    options = ("-sampling-factor", "1x1", "-quality", "100")
    _from_noise(path, width, int(size / (2.87 * width)), *options)
    _tag(path)


def _large_jpeg(path, size):
    """ImageMagick would want all points in memory."""
    raw = path + ".ppm"
    width = 8000
    height = int(size / (2.87 * width))
    with open(raw, "wb") as file:
        file.write(b"P6 %d %d 255\n" % (width, height))
        maker = random.Random(SEED)
        for _ in range(height):
            file.write(maker.randbytes(3 * width))
    _run("cjpeg", "-quality", "100", "-sample", "1x1", "-outfile", path, raw)
    os.remove(raw)
    _tag(path)


def _webp(path, size):
    """An animation of lossless frames."""
    frame = path + ".frame.webp"
    _from_noise(frame, 800, 800, "-define", "webp:lossless=true", "-define", "webp:method=0")
    count = max(1, size // os.path.getsize(frame))
    _run("webpmux", *["-frame", frame, "+100"] * count, "-loop", "0", "-o", path)
    os.remove(frame)
    _tag(path)


def _gif(path, size):
    """One frame many times over."""
    frame = path + ".frame.gif"
    _from_noise(frame, 1000, 1000, "+dither", "-colors", "256")
    with open(frame, "rb") as file:
        data = file.read()
    begin = data.index(b"\x21\xf9\x04") if b"\x21\xf9\x04" in data else 13 + 768
    picture = data[begin:-1]
    with open(path, "wb") as file:
        file.write(data[:begin] + picture * (size // len(picture)) + b"\x3b")
    os.remove(frame)
    _tag(path)


def _bmp(path, size):
    width = 4000
    height = size // (3 * width)
    length = width * 3 * height
    head = struct.pack("<2sIHHI", b"BM", 54 + length, 0, 0, 54)
    head += struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, length, 2835, 2835, 0, 0)
    with open(path, "wb") as file:
        file.write(head + random.Random(SEED).randbytes(length))


def _heic(path, size):
    """Noise at this quality takes about 1.47 bytes a point."""
    width = 2000
    plain = path + ".png"
    _from_noise(plain, width, int(size / (1.47 * width)), "-quality", "10")
    _run("heif-enc", "-q", "90", plain, "-o", path)
    os.remove(plain)
    _tag(path)


MAKERS = {"heic": _heic, "tif": _tiff, "png": _png, "jpg": _jpeg, "webp": _webp, "gif": _gif, "bmp": _bmp}


def picture(folder, extension, megabytes):
    """The path of a picture of about this size."""
    path = os.path.join(folder, f"{megabytes}-MB.{extension}")
    if not os.path.exists(path):
        # The extension comes last, because the makers' tools go by it.
        unfinished = os.path.join(folder, f"unfinished.{extension}")
        MAKERS[extension](unfinished, megabytes * MEGABYTE)
        os.rename(unfinished, path)
    return path


def photos(folder, count, megabytes):
    """Paths of as many photos, all of this size."""
    first = picture(folder, "jpg", megabytes)
    batch = os.path.join(folder, "photos")
    os.makedirs(batch, exist_ok=True)
    paths = [os.path.join(batch, f"IMG_{number:04}.jpg") for number in range(count)]
    for path in paths:
        if not os.path.exists(path):
            _run("cp", first, path)
    return paths


def small_photos(folder, count):
    """The folder of as many photos of 100 KB, and their names in it."""
    first = _small_photo(folder, 100)
    batch = os.path.join(folder, "many")
    os.makedirs(batch, exist_ok=True)
    names = [f"{number:05}.jpg" for number in range(count)]
    for name in names:
        path = os.path.join(batch, name)
        if not os.path.exists(path):
            shutil.copyfile(first, path)
    return batch, names


def _pdf(path, bodies):
    """A plain PDF of numbered objects; the first is the catalogue."""
    with open(path, "wb") as file:
        file.write(b"%PDF-1.4\n")
        offsets = []
        for number, body in enumerate(bodies, 1):
            offsets.append(file.tell())
            file.write(b"%d 0 obj\n%s\nendobj\n" % (number, body))
        table = file.tell()
        file.write(b"xref\n0 %d\n0000000000 65535 f \n" % (len(offsets) + 1))
        file.writelines(b"%010d 00000 n \n" % offset for offset in offsets)
        file.write(b"trailer\n<</Size %d/Root 1 0 R/Info 3 0 R>>\n" % (len(offsets) + 1))
        file.write(b"startxref\n%d\n%%%%EOF\n" % table)


def _stream(entries, data):
    return b"<<%s/Length %d>>\nstream\n%s\nendstream" % (entries, len(data), data)


def _document(pages):
    """Catalogue, page tree, information and a font, then the objects of all pages. A page is a
    list of bodies, its dictionary first; `%d` in that stands for the number of the next object."""
    bodies, kids = [], []
    for page in pages:
        number = 5 + len(bodies)
        kids.append(b"%d 0 R" % number)
        bodies += [page[0] % (number + 1), *page[1:]]
    return [
        b"<</Type/Catalog/Pages 2 0 R>>",
        b"<</Type/Pages/Count %d/Kids[%s]>>" % (len(kids), b" ".join(kids)),
        b"<</Author(A. Writer)/Producer(Writer 1.0)>>",
        b"<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>",
        *bodies,
    ]


def _scanned_page(folder, kilobytes):
    """A page that is a photo of about this size."""
    path = os.path.join(folder, f"{kilobytes}-kB.jpg")
    if not os.path.exists(path):
        _jpeg(path, kilobytes * 1000)
    with open(path, "rb") as file:
        photo = file.read()
    entries = (
        b"/Type/XObject/Subtype/Image/Width 4000/Height 99/BitsPerComponent 8/ColorSpace/DeviceRGB"
        b"/Filter/DCTDecode"
    )
    page = b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Resources<</XObject<</I %d 0 R>>>>>>"
    return [page, _stream(entries, photo)]


def scan(folder, megabytes):
    """A document of this many photos. No two pages in a row take the same space, as in life."""
    path = os.path.join(folder, f"{megabytes}-MB-scan.pdf")
    if not os.path.exists(path):
        pages = [_scanned_page(folder, 1000 + 70 * (step * 4 % 11 - 5)) for step in range(11)]
        _pdf(path, _document(pages[number % 11] for number in range(megabytes)))
    return path


def even_scan(folder, megabytes):
    """The same, with pictures that all have one size, though not one content."""
    path = os.path.join(folder, f"{megabytes}-MB-even-scan.pdf")
    if not os.path.exists(path):
        page, picture = _scanned_page(folder, 1000)
        # The last coded bytes of a picture can be any.
        end = picture.rindex(b"\nendstream") - 12
        _pdf(
            path,
            _document(
                [page, picture[:end] + b"%06d" % number + picture[end + 6 :]]
                for number in range(megabytes)
            ),
        )
    return path


def text(folder, pages):
    """A document of this many pages of text, with a link on each."""
    path = os.path.join(folder, f"{pages}-pages.pdf")
    if not os.path.exists(path):
        maker = random.Random(SEED)
        page = (
            b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 612 792]/Contents %d 0 R/Resources<</Font"
            b"<</F 4 0 R>>>>/Annots[<</Type/Annot/Subtype/Link/Rect[9 9 99 99]/A<</S/URI"
            b"/URI(http://example.org/)>>>>]>>"
        )
        lines = b"BT /F 9 Tf 50 750 Td 12 TL %s ET"
        contents = (
            lines % b"".join(b"(%s) Tj T* " % maker.randbytes(40).hex().encode() for _ in range(55))
            for _ in range(pages)
        )
        _pdf(
            path,
            _document([page, _stream(b"/Filter/FlateDecode", zlib.compress(c))] for c in contents),
        )
    return path


CORE = (
    b"<cp:coreProperties><dc:creator>A. Writer</dc:creator><cp:lastModifiedBy>A. Writer"
    b"</cp:lastModifiedBy><cp:revision>7</cp:revision><dcterms:created>2024-03-01T09:30:00Z"
    b"</dcterms:created></cp:coreProperties>"
)
RELATIONSHIPS = b'<Relationships><Relationship Id="r1" Target="file:///C:/a.docx"/></Relationships>'


def _package(path, parts):
    """Names and contents, all deflated as offices do it."""
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in parts:
            archive.writestr(zipfile.ZipInfo(name), content, zipfile.ZIP_DEFLATED)


def _paragraphs(count):
    """As a word processor writes them: identifiers on each, tracked changes on some."""
    maker = random.Random(SEED)
    words = [maker.randbytes(1 + maker.randrange(5)).hex() for _ in range(4000)]
    for number in range(count):
        identifier = f"{maker.randrange(1 << 32):08X}"
        text = " ".join(maker.choices(words, k=19))
        run = f'<w:r w:rsidRPr="{identifier}"><w:t xml:space="preserve">{text}</w:t></w:r>'
        if number % 10 == 0:
            run = f'<w:ins w:id="{number}" w:author="A. Writer" w:date="2024-03-01">{run}</w:ins>'
        yield f'<w:p w:rsidR="{identifier}" w:rsidRDefault="{identifier}">{run}</w:p>'.encode()


def letter(folder):
    """A document of about 100 KB: eight parts of text, and two pictures."""
    path = os.path.join(folder, "100-KB.docx")
    if not os.path.exists(path):
        with open(_small_photo(folder, 35), "rb") as file:
            photo = file.read()
        body = b"<w:document>%s</w:document>" % b"".join(_paragraphs(200))
        _package(
            path,
            [
                ("docProps/core.xml", CORE),
                ("_rels/.rels", RELATIONSHIPS),
                ("word/document.xml", body),
                *((f"word/header{number}.xml", body[:2000]) for number in range(1, 6)),
                *((f"word/media/image{number}.jpg", photo) for number in (1, 2)),
            ],
        )
    return path


def _small_photo(folder, kilobytes):
    path = os.path.join(folder, f"{kilobytes}-kB-small.jpg")
    if not os.path.exists(path):
        options = ("-sampling-factor", "1x1", "-quality", "100")
        _from_noise(path, 400, int(kilobytes * 1000 / (2.87 * 400)), *options)
        _tag(path)
    return path


def novel(folder, paragraphs):
    """A document whose one large part has so many paragraphs."""
    path = os.path.join(folder, f"{paragraphs}-paragraphs.docx")
    if not os.path.exists(path):
        body = b"<w:document>%s</w:document>" % b"".join(_paragraphs(paragraphs))
        _package(path, [("docProps/core.xml", CORE), ("word/document.xml", body)])
    return path


def slides(folder, megabytes):
    """A presentation of so many photos of a megabyte, each with a position."""
    path = os.path.join(folder, f"{megabytes}-MB.pptx")
    if not os.path.exists(path):
        with open(picture(folder, "jpg", 1), "rb") as file:
            photo = file.read()
        photos = ((f"ppt/media/image{number}.jpg", photo) for number in range(megabytes))
        _package(path, [("docProps/core.xml", CORE), *photos])
    return path
