#!/usr/bin/env python3
"""Cleaners that do not do what they say, for showing that the judge notices. One word says how:

copy     leaves everything in
pixels   encodes anew, with one point painted over
profile  drops the colour profile with the rest
harm     cleans well, and writes to the original

Those of documents clean with the program, and then do as their name says to the copy:
document-author, -pixel, -text, -value, -remark, -attachment, -broken, -harm
"""

import os
import shutil
import subprocess
import sys


# What is replaced in the copy, once its streams lie open.
SPOILT = {
    "author": (b"/T ()", b"/T (Ann)"),
    "pixel": (b"150 60 9 9 re f", b"150 60 9 8 re f"),
    "text": (b"A letter to everybody", b"A letter to everyone."),
    "value": (b"/V (Roe)", b"/V (Doe)"),
    "remark": (b"(a remark)", b"(no remark)"),
    "attachment": (b"\nattached", b"\nAttached"),
}


def clean_document(way, nullprint, original, copy):
    subprocess.run([nullprint, "--scrub", original], check=True, stdout=subprocess.DEVNULL)
    mode = os.stat(original).st_mode
    os.chmod(copy, 0o644)
    if way == "harm":
        os.chmod(original, 0o644)
        with open(original, "ab") as file:
            file.write(b"\0")
        return
    plain = copy + ".plain"
    command = ["qpdf", "--decrypt", "--static-id", "--stream-data=uncompress", copy, plain]
    subprocess.run(command, check=True)
    with open(plain, "rb") as file:
        data = file.read()
    if way == "broken":
        data = data[: data.rindex(b"xref")]
    else:
        data = data.replace(*SPOILT[way])
    with open(plain, "wb") as file:
        file.write(data)
    if way == "broken":
        os.replace(plain, copy)
    else:  # The places of objects have changed, and qpdf finds them again.
        command = ["qpdf", "--static-id", "--stream-data=preserve", "--warning-exit-0", plain, copy]
        subprocess.run(command, check=True, stderr=subprocess.DEVNULL)
        os.remove(plain)
    os.chmod(copy, mode)


def clean(way, nullprint, original, copy):
    if way.startswith("document-"):
        clean_document(way.removeprefix("document-"), nullprint, original, copy)
        return
    if way == "copy":
        shutil.copy(original, copy)
        return
    if way == "pixels":
        paint = ["-fill", "white", "-draw", "point 3,3", "-quality", "90"]
        subprocess.run(["convert", original, "+profile", "!icc,*", *paint, copy], check=True)
    else:
        kept = [] if way == "profile" else ["-tagsFromFile", "@", "-ICC_Profile", "-Orientation"]
        command = ["exiftool", "-q", "-all=", *kept, "-o", copy, original]
        subprocess.run(command, check=True)
    shutil.copymode(original, copy)
    if way == "harm":
        os.chmod(original, 0o644)
        with open(original, "ab") as file:
            file.write(b"\0")


def main():
    way, nullprint, _, *originals = sys.argv[1:]
    for original in originals:
        base, extension = os.path.splitext(original)
        copy = f"{base} (scrubbed){extension}"
        clean(way, nullprint, original, copy)
        print(f"CLEANED    {original}\n        -> {copy}")


if __name__ == "__main__":
    main()
