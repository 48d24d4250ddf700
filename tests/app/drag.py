#!/usr/bin/env python3
"""Files are dragged out of Thunar, by the mouse, onto the drop window of the program of NULLPRINT.

Slow, and no part of ./check: its packages are the group `hands` of packages.txt. PICTURES, if it is
set, is a folder that gets pictures of the screen.
"""
import os
import pathlib
import shutil
import subprocess
import time
import unittest

import desktop
from desktop import PATIENCE, Desktop, Widgets, end, run_inside, wait_for

desktop.NEEDED += ["thunar", "import"]
CHECK_TITLE = "What’s hidden in these files"
FOLDER = "from Thunar"
ACCENT = bytes((156, 122, 84))
ICON = (75, 45)  # The middle of the first icon in its view.


class Mouse:
    """Moves in small steps, as programs that wait for a drag to begin expect it."""

    def __init__(self):
        self.place = (0, 0)

    def go(self, x, y, steps=1):
        from_x, from_y = self.place
        for step in range(1, steps + 1):
            at = (from_x + (x - from_x) * step // steps, from_y + (y - from_y) * step // steps)
            subprocess.run(["xdotool", "mousemove", *map(str, at)], check=True)
            time.sleep(0.05)
        self.place = (x, y)

    def press(self):
        subprocess.run(["xdotool", "mousedown", "1"], check=True)
        time.sleep(0.2)

    def release(self):
        subprocess.run(["xdotool", "mouseup", "1"], check=True)


class Dragging(unittest.TestCase):
    def setUp(self):
        # Thunar asks for nothing and offers a place to be found by assistive technology.
        os.environ.update({"GTK_MODULES": "gail:atk-bridge", "NO_AT_BRIDGE": "0"})
        self.desktop = self.enterContext(Desktop())
        self.widgets = Widgets()
        self.mouse = Mouse()

    def picture(self, name):
        if folder := os.environ.get("NULLPRINT_PICTURES"):
            self.desktop.picture(str(pathlib.Path(folder, f"{name}.png")))

    def window(self, name):
        """The number of a window that can be seen, by its title."""
        found = self.desktop.shell(f"xdotool search --onlyvisible --name '{name}'").split()
        return found[-1] if found else None

    def put(self, name, x, y):
        window = wait_for(lambda: self.window(name), f"the window {name!r}")
        subprocess.run(["xdotool", "windowmove", "--sync", window, str(x), str(y)], check=True,
                       timeout=PATIENCE)
        return window

    def geometry(self, window):
        words = self.desktop.shell(f"xdotool getwindowgeometry --shell {window}").split()
        values = dict(word.split("=") for word in words)
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def highlighted(self, window):
        """Whether the dashes and the eye of the drop window have the accent colour."""
        pixels = subprocess.run(
            ["import", "-silent", "-window", window, "-depth", "8", "rgb:-"],
            capture_output=True, check=True).stdout
        count = sum(pixels[place:place + 3] == ACCENT for place in range(0, len(pixels), 3))
        self.assertTrue(count < 10 or count > 500, count)  # Never a part of it.
        return count > 500

    def first_icon(self):
        """The first file in Thunar, which tells nobody where its icons are, only where all are."""
        for number in range(self.widgets.atspi.get_desktop(0).get_child_count()):
            for node in self.widgets.all(self.widgets.atspi.get_desktop(0).get_child_at_index(number)):
                if node.get_role_name() == "directory pane":
                    place = self.widgets.atspi.Component.get_extents(
                        node, self.widgets.atspi.CoordType.SCREEN)
                    return place.x + ICON[0], place.y + ICON[1]
        return None

    def test_files_from_thunar(self):
        folder = self.desktop.files / FOLDER
        folder.mkdir()
        names = ["Report.docx", "a photo & 100%.jpg", "notes.txt"]
        samples = {"a photo & 100%.jpg": "photo.jpg"}
        originals = {}
        for name in names:
            shutil.copy(desktop.SAMPLES / samples.get(name, name), folder / name)
            originals[name] = (folder / name).read_bytes(), os.stat(folder / name).st_mtime_ns

        application = self.desktop.launch()
        self.desktop.wait_until_it_runs()
        self.desktop.call("ActivateAction", "drop-window", "[]", "{}")
        drop = self.put("^Nullprint$", 860, 400)
        self.desktop.start("thunar", str(folder))
        thunar = self.put(FOLDER, 20, 60)
        subprocess.run(["xdotool", "windowsize", "--sync", thunar, "700", "500"], check=True)
        subprocess.run(["xdotool", "windowactivate", "--sync", thunar], check=True)
        x, y = wait_for(self.first_icon, "the folder in Thunar")
        self.desktop.key("ctrl+a")
        time.sleep(0.5)
        self.picture("1-before")

        self.assertFalse(self.highlighted(drop))
        drop_x, drop_y, width, height = self.geometry(drop)
        middle = drop_x + width // 2, drop_y + height // 2
        self.mouse.go(x, y)
        self.mouse.press()
        self.mouse.go(x + 30, y + 30, 6)
        self.mouse.go(*middle, 20)
        wait_for(lambda: self.highlighted(drop), "the highlight")
        self.picture("2-over")
        # Out again, and the highlight goes; back, and it comes back.
        self.mouse.go(middle[0], drop_y - 60, 10)
        wait_for(lambda: not self.highlighted(drop), "the highlight to be gone")
        self.mouse.go(*middle, 10)
        wait_for(lambda: self.highlighted(drop), "the highlight to be back")
        self.mouse.release()

        self.widgets.find("dialog", CHECK_TITLE)
        report = self.widgets.find("text")
        wait_for(lambda: all(name in self.widgets.text(report) for name in names), "all reports")
        wait_for(lambda: not self.highlighted(drop), "the highlight to be gone")
        time.sleep(0.5)
        self.picture("3-dropped")
        self.assertIn("Camera / device: ", self.widgets.text(report))
        self.assertEqual(self.desktop.defaults()["totalChecked"], len(names))
        self.assertEqual(sorted(path.name for path in folder.iterdir()), sorted(names))
        for name in names:
            self.assertEqual(((folder / name).read_bytes(), os.stat(folder / name).st_mtime_ns),
                             originals[name])
        self.assertEqual(end(application), 0)
        self.assertEqual(self.desktop.said(), "")


if __name__ == "__main__":
    run_inside()
    unittest.main()
