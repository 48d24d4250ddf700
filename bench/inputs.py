"""Pictures of known sizes, made from a seed and kept until their folder is removed."""

import os
import random
import struct
import subprocess

SEED = 20
MEGABYTE = 1_000_000
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
    width = 4000
    _from_noise(path, width, size // (3 * width), "-compress", "none")
    _tag(path)


def _png(path, size):
    width = 2500
    _from_noise(path, width, size // (3 * width), "-quality", "10")
    _tag(path)


def _jpeg(path, size):
    """Noise at this quality takes about 2.87 bytes a point."""
    width = 4000
    options = ("-sampling-factor", "1x1", "-quality", "100")
    _from_noise(path, width, int(size / (2.87 * width)), *options)
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
