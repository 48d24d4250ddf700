#!/usr/bin/env python3
"""Cleaners that do not do what they say, for showing that the judge notices. One word says how:

copy     leaves everything in
pixels   encodes anew, with one point painted over
profile  drops the colour profile with the rest
harm     cleans well, and writes to the original
"""

import os
import shutil
import subprocess
import sys


def clean(way, original, copy):
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
    way, _, *originals = sys.argv[1:]
    for original in originals:
        base, extension = os.path.splitext(original)
        copy = f"{base} (scrubbed){extension}"
        clean(way, original, copy)
        print(f"CLEANED    {original}\n        -> {copy}")


if __name__ == "__main__":
    main()
