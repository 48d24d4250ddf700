#!/usr/bin/env python3
"""What a user waits for: the panel of the program of NULLPRINT after its start, and a hundred photos
checked and cleaned from a window. Prints medians, the slowest, and the memory with the panel open.

    NULLPRINT=build/nullprint tests/app/load/moments.py [rounds]

It needs what the tests on a desktop need, and what bench/ makes its photos with.
"""
import ctypes
import ctypes.util
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time
import urllib.parse

HERE = pathlib.Path(__file__).resolve().parent
sys.dont_write_bytecode = True
sys.path[:0] = [str(HERE.parent), str(HERE.parents[2] / "bench")]

from desktop import PROGRAM, Desktop, end, run_inside, wait_for

PHOTOS = 100
PHOTO_MEGABYTES = 3
BACKGROUND = 0xFAF5EC  # Of the panel and the report's button bar.


class Screen:
    """Sees a window when its background is really there, to the millisecond."""

    def __init__(self):
        self.x11 = ctypes.CDLL(ctypes.util.find_library("X11"))
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.x11.XGetImage.restype = ctypes.c_void_p
        self.x11.XGetPixel.restype = ctypes.c_ulong
        self.x11.XDefaultRootWindow.restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(None))
        self.root = ctypes.c_ulong(self.x11.XDefaultRootWindow(self.display))

    def row(self, y, width):
        """The pixels of one line."""
        image = ctypes.c_void_p(self.x11.XGetImage(self.display, self.root, 0, y, width, 1,
                                                   ctypes.c_ulong(~0), 2))
        pixels = [self.x11.XGetPixel(image, x, 0) & 0xFFFFFF for x in range(0, width, 8)]
        self.x11.XDestroyImage(image)
        return pixels

    def wait_for_background(self, *rows):
        """Until it is in one of the lines."""
        end = time.monotonic() + 60
        while not any(BACKGROUND in self.row(y, 1280) for y in rows):
            if time.monotonic() > end:
                raise AssertionError("no window was seen")
            time.sleep(0.001)


def memory(process):
    """Resident, in MiB, and what of it is shared with nobody."""
    sizes = {}
    for line in pathlib.Path(f"/proc/{process.pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, size = line.split()[:2]
        sizes[name.rstrip(":")] = int(size) / 1024
    return sizes["Rss"], sizes["Private_Clean"] + sizes["Private_Dirty"]


def told(name, values, unit):
    print(f"{name:<42} median {statistics.median(values):7.1f} {unit}, most {max(values):7.1f} {unit}")


def starts(desktop, screen, rounds):
    """Milliseconds from the start to the panel on the screen, first starts and later ones apart."""
    times = {"first start, to the panel": [], "later starts, to the panel": []}
    sizes = []
    for _ in range(rounds):
        shutil.rmtree(desktop.root / "config_home")
        (desktop.root / "config_home").mkdir(mode=0o700)
        for kind in times:
            begun = time.monotonic()
            application = desktop.launch()
            screen.wait_for_background(*range(40, 800, 60))
            times[kind].append((time.monotonic() - begun) * 1000)
            time.sleep(0.5)
            sizes.append(memory(application))
            end(application)
            wait_for(lambda: not desktop.runs(), "the end")
    for kind, values in times.items():
        told(kind, values, "ms")
    told("resident, with the panel open", [size for size, _ in sizes], "MiB")
    told("of it shared with nobody", [own for _, own in sizes], "MiB")


def cleanings(desktop, screen, rounds):
    """Seconds until all photos are checked, and until all are cleaned."""
    import inputs
    photos = [pathlib.Path(photo) for photo in
              inputs.photos(str(desktop.files), PHOTOS, PHOTO_MEGABYTES)]
    uris = "[" + ", ".join(f"'file://{urllib.parse.quote(str(photo))}'" for photo in photos) + "]"
    checked, both = [], []
    application = desktop.launch("--login-item")
    desktop.wait_until_it_runs()
    for number in range(1, rounds + 1):
        begun = time.monotonic()
        desktop.call("Open", uris, "{}")
        screen.wait_for_background(*range(500, 700, 20))
        checked.append(time.monotonic() - begun)
        desktop.key("Return")
        wait_for(lambda: desktop.defaults().get("totalCleaned") == number * PHOTOS, "the copies")
        both.append(time.monotonic() - begun)
        copies = [path for path in photos[0].parent.iterdir() if " (scrubbed)" in path.name]
        assert len(copies) == PHOTOS, len(copies)
        for copy in copies:
            copy.unlink()
        desktop.key("Escape")
        time.sleep(0.5)
    assert end(application) == 0
    told(f"{PHOTOS} photos of {PHOTO_MEGABYTES} MB, checked", checked, "s")
    told("the same, checked and cleaned", both, "s")


def main():
    run_inside()
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 9
    with Desktop(tray=False) as desktop:
        os.environ.pop("QT_LINUX_ACCESSIBILITY_ALWAYS_ON")  # Nobody looks this time.
        screen = Screen()
        starts(desktop, screen, rounds)
        cleanings(desktop, screen, min(rounds, 5))


main()
