#!/usr/bin/env python3
"""Cleaners of documents that do not do what they say, for showing that the judge notices. The first
word says how, as `office_made.WRONGS` lists it; the second is the program, which does the rest."""

import io
import os
import shutil
import subprocess
import sys
import tempfile
import zipfile

import made

TEXT = "word/document.xml"
PICTURE = "word/media/image1.jpg"


def repainted(picture):
    paint = ["-fill", "white", "-draw", "rectangle 3,3 40,40", "-strip"]
    command = ["convert", "jpg:-", *paint, "jpg:-"]
    return subprocess.run(command, input=picture, check=True, capture_output=True).stdout


def located(picture):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "picture.jpg")
        with open(path, "wb") as file:
            file.write(picture)
        tags = [tag for tag in made.TAGS if "GPS" in tag]
        subprocess.run(["exiftool", "-q", "-overwrite_original", *tags, path], check=True)
        with open(path, "rb") as file:
            return file.read()


SPOILED = {
    "text": (TEXT, lambda content: content.replace(b"words", b"swords")),
    "part": ("docProps/core.xml", None),
    "rule": (TEXT, lambda content: content.replace(b'w:author=""', b'w:author="Bob"')),
    "broken": (TEXT, lambda content: content.replace(b"</w:ins>", b"")),
    "position": (PICTURE, located),
    "pixels": (PICTURE, repainted),
    "other": ("word/vbaProject.bin", bytes.upper),
}


def spoil(way, copy):
    place, change = SPOILED[way]
    spoiled = io.BytesIO()
    with zipfile.ZipFile(copy) as before, zipfile.ZipFile(spoiled, "w") as after:
        for name in before.namelist():
            content = before.read(name)
            if name != place:
                after.writestr(name, content)
            elif change:
                after.writestr(name, change(content))
    with open(copy, "r+b") as file:
        file.truncate()
        file.write(spoiled.getvalue())


def main():
    way, nullprint, _, original = sys.argv[1:]
    base, extension = os.path.splitext(original)
    copy = f"{base} (scrubbed){extension}"
    if way == "copy":
        shutil.copy(original, copy)
    else:
        subprocess.run([nullprint, "--scrub", original], check=True, capture_output=True)
        spoil(way, copy)
    print(f"CLEANED    {original}\n        -> {copy}")


if __name__ == "__main__":
    sys.exit(main())
