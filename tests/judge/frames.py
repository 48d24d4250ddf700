"""Whether two files show the same frames, asked of decoders that are not ours."""

import hashlib
import os
import re
import tempfile
import zlib

from process import run_tool

# Per frame: coder, hash of the samples, size, place on the canvas, delay, disposal, depth, colours,
# which way is up, transparency.
FRAME_FORMAT = "%m %# %wx%h%X%Y %T %D %z %[colorspace] %[orientation] %A\n"
FRAME_FIELDS = (
    "format",
    "pixels",
    "size or place",
    "delay",
    "disposal",
    "depth",
    "colour space",
    "orientation",
    "transparency",
)


class Verdict:
    """Who looked at the frames, how many there are, and what differs."""

    def __init__(self, judge, frames, problems):
        self.judge = judge
        self.frames = frames
        self.problems = problems


def compare(original, copy):
    """The verdict of every judge that can read the picture. The first one has the pixels when it
    tells how many frames there are."""
    first = _by_imagemagick(original, copy) or _by_format(original, copy)
    verdicts = [first]
    kind = signature(original)
    if kind == "gif":
        verdicts.append(_by_text("gifsicle", _gif_info, original, copy))
    if kind == "webp":
        verdicts.append(_by_text("webpmux", _webp_info, original, copy))
    if kind == "png":
        verdicts.append(_by_text("frame chunks", _png_frames, original, copy))
    if kind == "heif":
        verdicts.append(_by_text("heif-convert", _heif_pictures, original, copy))
    if kind == "tiff":
        verdicts.append(_by_text("tiffinfo", _tiff_pages, original, copy))
    return [verdict for verdict in verdicts if verdict]


def signature(path):
    """What the content is, whatever the file is called."""
    with open(path, "rb") as file:
        head = file.read(16)
    if head[:3] == b"\xff\xd8\xff":
        return "jpeg"
    if head[:8] == b"\x89PNG\r\n\x1a\n":
        return "png"
    if head[:4] == b"GIF8":
        return "gif"
    if head[:4] == b"RIFF" and head[8:12] == b"WEBP":
        return "webp"
    if head[:4] in (b"II*\0", b"MM\0*", b"II+\0", b"MM\0+"):
        return "tiff"
    if head[:2] == b"BM":
        return "bmp"
    return "heif" if head[4:8] == b"ftyp" else ""


def _imagemagick_frames(path):
    """One tuple of FRAME_FIELDS a frame; nothing when not every frame could be decoded."""
    # The coder is named by content, so that a picture under a false name is read all the same.
    kind = {"": "", "heif": ""}.get(signature(path), signature(path) + ":")
    status, output, _ = run_tool("identify", "-quiet", "-format", FRAME_FORMAT, kind + path)
    # The normal way up is the same whether it is said or not.
    lines = output.decode().replace(" TopLeft ", " Undefined ").splitlines()
    rows = [tuple(line.split(" ")) for line in lines]
    whole = all(len(row) == len(FRAME_FIELDS) and len(row[1]) == 64 for row in rows)
    return rows if status == 0 and rows and whole else None


def _by_imagemagick(original, copy):
    before = _imagemagick_frames(original)
    if before is None:
        return None
    after = _imagemagick_frames(copy)
    if after is None:
        return Verdict("ImageMagick", len(before), ["ImageMagick cannot decode the copy"])
    problems = []
    if len(before) != len(after):
        problems.append(f"{len(before)} frames became {len(after)}")
    for index, (old, new) in enumerate(zip(before, after)):
        for name, was, now in zip(FRAME_FIELDS, old, new):
            if was != now:
                problems.append(f"frame {index}: {name} changed" + _how(was, now))
    return Verdict("ImageMagick", len(before), problems)


def _how(was, now):
    return "" if len(was) > 40 else f" from {was} to {now}"


def _by_text(judge, describe, original, copy):
    """Nothing when the judge cannot read the original."""
    before = describe(original)
    if not before:
        return None
    after = describe(copy)
    problems = []
    if before != after:
        lost = [line for line in before if line not in after]
        new = [line for line in after if line not in before]
        problems.append(f"{judge} sees a difference: {lost[:3]} became {new[:3]}")
    return Verdict(judge, 0, problems)


def _by_format(original, copy):
    """For what ImageMagick cannot decode."""
    kind = signature(original)
    if kind == "jpeg":
        return _by_decoder("djpeg", _djpeg, original, copy) or _by_bytes(
            "scan bytes", _jpeg_scans, original, copy
        )
    if kind == "png":
        return _by_bytes("inflated PNG data", _png_samples, original, copy)
    if kind == "tiff":
        return _by_decoder("tiffcp", _tiffcp, original, copy) or _by_bytes(
            "strip bytes", _tiff_strips, original, copy
        )
    if kind == "webp":
        return _by_decoder("dwebp", _dwebp, original, copy)
    if kind == "bmp":
        return _by_bytes("pixel array", _bmp_pixels, original, copy)
    return _by_media_data(original, copy) if kind == "heif" else None


def _by_decoder(judge, decode, original, copy):
    before = decode(original)
    if before is None:
        return None
    same = before == decode(copy)
    return Verdict(judge, 1, [] if same else [f"pixels changed ({judge})"])


def _by_bytes(judge, extract, original, copy):
    before = extract(original)
    if not before:
        return None
    same = before == extract(copy)
    return Verdict(judge, 1, [] if same else [f"pixels changed ({judge})"])


def _djpeg(path):
    status, output, _ = run_tool("djpeg", "-pnm", path)
    return hashlib.sha256(output).digest() if status == 0 and output else None


def _dwebp(path):
    status, output, _ = run_tool("dwebp", "-quiet", path, "-pam", "-o", "-")
    return hashlib.sha256(output).digest() if status == 0 and output else None


def _tiffcp(path):
    with tempfile.TemporaryDirectory() as folder:
        plain = os.path.join(folder, "plain.tif")
        status, _, _ = run_tool("tiffcp", "-c", "none", "-r", "1", path, plain)
        return _tiff_strips(plain) if status == 0 else None


def _content(path):
    with open(path, "rb") as file:
        return file.read()


def _jpeg_scans(path):
    """Tables, frame and scan headers and entropy-coded data up to the end of image."""
    data = _content(path)
    kept, at = [], 2
    while at + 4 <= len(data):
        if data[at] != 0xFF or data[at + 1] in (0x00, 0xFF):
            at += 1
            continue
        code = data[at + 1]
        if code == 0xD9:
            return kept
        if code == 0x01 or 0xD0 <= code <= 0xD8:
            at += 2
            continue
        end = at + 2 + int.from_bytes(data[at + 2 : at + 4], "big")
        if code == 0xDA:
            following = re.compile(rb"\xff[^\x00\xff\xd0-\xd7]", re.S).search(data, end)
            end = following.start() if following else len(data)
        if not 0xE0 <= code <= 0xEF and code != 0xFE:
            kept.append(data[at:end])
        at = end
    return kept


def png_chunks(data):
    at = 8
    while at + 12 <= len(data):
        length = int.from_bytes(data[at : at + 4], "big")
        kind = data[at + 4 : at + 8]
        yield kind, data[at + 8 : at + 8 + length]
        if kind == b"IEND":
            return
        at += 12 + length


def _png_samples(path):
    chunks = list(png_chunks(_content(path)))
    header = [body for kind, body in chunks if kind in (b"IHDR", b"PLTE", b"tRNS")]
    packed = b"".join(body for kind, body in chunks if kind == b"IDAT")
    try:
        return [*header, hashlib.sha256(zlib.decompressobj().decompress(packed)).digest()]
    except zlib.error:
        return None


def _png_frames(path):
    """An animation's header, frame descriptions and frame data, and what decides on colours."""
    named = (b"IHDR", b"PLTE", b"tRNS", b"IDAT", b"acTL", b"fcTL", b"fdAT", b"sRGB", b"cICP")
    return [
        f"{kind.decode()} {hashlib.sha256(body).hexdigest()}"
        for kind, body in png_chunks(_content(path))
        if kind in named
    ]


def _bmp_pixels(path):
    """What stands from the announced offset on, as long as the header says or the size demands."""
    data = _content(path)

    def number(at, size):
        return int.from_bytes(data[at : at + size], "little", signed=True)

    begin, header = number(10, 4), number(14, 4)
    is_old = header == 12
    width, height = (number(18, 2), number(20, 2)) if is_old else (number(18, 4), number(22, 4))
    depth = number(24 if is_old else 28, 2)
    length = 0 if is_old else number(34, 4)
    return data[begin : begin + (length or (width * depth + 31) // 32 * 4 * abs(height))]


def _tiff_strips(path):
    """The strips or tiles of every page, as their tags locate them."""
    data = _content(path)
    order = "little" if data[:2] == b"II" else "big"
    big = int.from_bytes(data[2:4], order) == 43
    width, head = (8, 20) if big else (4, 12)
    sizes = {1: 1, 3: 2, 4: 4, 16: 8}

    def number(at, size):
        return int.from_bytes(data[at : at + size], order)

    def values(entry):
        size = sizes.get(number(entry + 2, 2), 0)
        count = number(entry + 4, width)
        place = entry + 4 + width
        if size * count > width:
            place = number(place, width)
        return [number(place + i * size, size) for i in range(count)] if size else []

    strips, seen = [], set()
    at = number(8, 8) if big else number(4, 4)
    while at and at not in seen and at < len(data):
        seen.add(at)
        count = number(at, 8 if big else 2)
        first = at + (8 if big else 2)
        tags = {number(first + i * head, 2): first + i * head for i in range(count)}
        for offsets, lengths in ((273, 279), (324, 325)):
            if offsets in tags and lengths in tags:
                pairs = zip(values(tags[offsets]), values(tags[lengths]))
                strips += [hashlib.sha256(data[o : o + n]).hexdigest() for o, n in pairs]
        at = number(first + count * head, width)
    return strips


def _heif_pictures(path):
    """Every picture that is shown, decoded: header and samples of the PNG it is turned into."""
    with tempfile.TemporaryDirectory() as folder:
        run_tool("heif-convert", path, os.path.join(folder, "picture.png"))
        names = sorted(os.listdir(folder))
        return [str(_png_samples(os.path.join(folder, name))) for name in names]


def _by_media_data(original, copy):
    """For a coding that no decoder here knows: one picture's data stands in the file as it was."""
    data = _content(copy)
    begin = data.find(b"mdat") + 4
    same = begin >= 8 and data[begin:] in _content(original)
    return Verdict("media data", 1, [] if same else ["pixels changed (media data)"])


# What gifsicle tells of a screen and its frames; it shows comments and extensions, too.
GIF_LINES = (
    "logical screen",
    "global color table",
    "local color table",
    "background",
    "+ image",
    "disposal",
    "delay",
    "transparent",
    "interlaced",
    "|",  # Colours
)


def _gif_info(path):
    _, output, _ = run_tool("gifsicle", "--color-info", path)
    lines = [line.strip() for line in output.decode("utf-8", "replace").splitlines()]
    frames = sum(line.startswith("+ image") for line in lines)
    # A loop count means nothing to a single frame.
    named = GIF_LINES + (("loop",) if frames > 1 else ())
    return [line for line in lines if line.startswith(named)]


def _webp_info(path):
    """Canvas, loop count and the frames' places, durations and ways of being disposed of."""
    _, output, _ = run_tool("webpmux", "-info", path)
    lines = output.decode("utf-8", "replace").splitlines()
    # Metadata is announced among the features; that line is compared by the shown flags instead.
    skipped = ("Features present", "Size of", "No features")
    return [line for line in lines if not line.startswith(skipped)]


# What libtiff tells of a page, as far as it describes the picture.
TIFF_LINES = (
    "Image Width",
    "Tile Width",
    "Resolution",
    "Bits/Sample",
    "Sample Format",
    "Compression Scheme",
    "Photometric",
    "Extra Samples",
    "FillOrder",
    "YCbCr",
    "Orientation",
    "Samples/Pixel",
    "Rows/Strip",
    "Planar",
    "Predictor",
    "Color Map",
    "Ink Set",
    "Min Sample",
    "Max Sample",
    "Group",
    "Page Number",
    "Subfile Type",
)


def _tiff_pages(path):
    _, output, _ = run_tool("tiffinfo", path)
    pages = output.decode("utf-8", "replace").split("=== TIFF directory ")
    # Behind a page come the previews in its sub-directories, which no copy has.
    pages = [page.partition("--- SubIFD image descriptor")[0] for page in pages]
    lines = [line.strip() for page in pages for line in page.splitlines()]
    return [line for line in lines if line.startswith(TIFF_LINES)]
