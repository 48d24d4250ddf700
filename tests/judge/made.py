"""Pictures for the judge when there are none at hand, made by ImageMagick and given metadata."""

import os

from colour_profile import make_profile
from process import run_tool

PROFILE = "profile.icc"
ARGUMENTS = {
    "photo.jpg": f"-size 160x120 plasma:red-blue -seed 1 -quality 75 -profile {PROFILE}",
    "profiled.png": f"-size 61x47 plasma: -seed 12 -profile {PROFILE}",
    "progressive.jpg": "-size 97x61 plasma:green-black -seed 2 -interlace JPEG -quality 80",
    "grey.jpg": "-size 64x64 gradient: -colorspace Gray",
    "inks.jpg": "-size 64x48 plasma: -seed 3 -colorspace CMYK",
    "truecolour.png": "-size 80x50 plasma: -seed 4",
    "palette.png": "-size 80x50 plasma: -seed 5 -colors 16",
    "deep.png": "-size 40x40 gradient: -depth 16",
    "moving.gif": "-delay 20 -loop 3 -size 40x30 xc:red xc:green xc:blue",
    "still.gif": "-size 40x30 plasma: -seed 6",
    "lossy.webp": "-size 80x50 plasma: -seed 7",
    "lossless.webp": "-size 80x50 plasma: -seed 8 -define webp:lossless=true",
    "plain.tif": "-size 80x50 plasma: -seed 9 -density 300 -units PixelsPerInch",
    "packed.tiff": "-size 80x50 plasma: -seed 10 -compress LZW -endian MSB",
    "plain.bmp": "-size 80x50 plasma: -seed 11",
}
TAGS = (
    "-Make=ACME",
    "-Model=X100",
    "-Artist=A. Photographer",
    "-Copyright=Somebody",
    "-Software=Editor 1.0",
    "-DateTimeOriginal=2023:07:14 18:02:11",
    "-ExifIFD:SerialNumber=S-12345",
    "-ExifIFD:LensModel=Lens 35mm",
    "-GPSLatitude=48.85837",
    "-GPSLatitudeRef=N",
    "-GPSLongitude=2.29448",
    "-GPSLongitudeRef=W",
    "-GPSMapDatum=Tokyo-97 and more",
    "-XMP-dc:Creator=A. Photographer",
    "-IPTC:Keywords=hidden words",
)


def make_pictures(folder, names=tuple(ARGUMENTS)):
    os.makedirs(folder)
    profile = os.path.join(folder, PROFILE)
    with open(profile, "wb") as file:
        file.write(make_profile())
    for name in names:
        path = os.path.join(folder, name)
        arguments = [profile if word == PROFILE else word for word in ARGUMENTS[name].split()]
        status, _, complaints = run_tool("convert", *arguments, path)
        if status != 0:
            raise RuntimeError(f"cannot make {name}: {complaints.decode(errors='replace')}")
    os.remove(profile)
    paths = [os.path.join(folder, name) for name in names if not name.endswith(".bmp")]
    run_tool("exiftool", "-q", "-m", "-overwrite_original", *TAGS, *paths)
    return folder
