#!/usr/bin/env python3
"""The program of NULLPRINT under a Wayland compositor without a screen: windows come, and it quits.

Slow, and no part of ./check: its packages are the group `hands` of packages.txt. NULLPRINT_PICTURES,
if it is set, is a folder that gets a picture of the screen.
"""
import os
import pathlib
import re
import shutil
import subprocess
import unittest

import desktop
from desktop import PATIENCE, Desktop, Widgets, run_inside, wait_for

desktop.NEEDED += ["weston", "weston-screenshooter"]
CHECK_TITLE = "What’s hidden in these files"


class Wayland(Desktop):
    """A compositor instead of a display; it has no tray, and its windows cannot be clicked."""

    def __enter__(self):
        self.begin()
        os.environ.pop("DISPLAY", None)
        os.environ["WAYLAND_DISPLAY"] = "nullprint-test"
        socket = pathlib.Path(os.environ["XDG_RUNTIME_DIR"], os.environ["WAYLAND_DISPLAY"])
        # With --debug anybody may take pictures.
        self.start("weston", "--backend=headless-backend.so", "--use-pixman", "--debug",
                   f"--socket={socket.name}", "--width=1100", "--height=800")
        wait_for(socket.exists, "weston")
        return self


class UnderWayland(unittest.TestCase):
    def test_shows_its_windows_and_quits(self):
        screen = self.enterContext(Wayland())
        widgets = Widgets()
        screen.sample("photo.jpg")
        application = screen.launch("photo.jpg", env={**os.environ, "WAYLAND_DEBUG": "client"})
        widgets.find("dialog", CHECK_TITLE)
        self.assertIn("Camera / device: ", widgets.text(widgets.find("text")))
        screen.call("Activate", "{}")
        widgets.find("push button", "Check Files…")
        # The compositor has them, as windows of the application.
        titles = re.findall(r'xdg_toplevel@\d+\.set_title\("(.*)"\)', screen.said())
        self.assertEqual(sorted(set(titles)), sorted({"Nullprint", CHECK_TITLE}))
        self.assertIn('set_app_id("org.nullprint.Nullprint")', screen.said())
        if folder := os.environ.get("NULLPRINT_PICTURES"):
            subprocess.run(["weston-screenshooter"], cwd=screen.files, check=True)
            shutil.copy(next(screen.files.glob("wayland-screenshot*")),
                        pathlib.Path(folder, "wayland.png"))
        widgets.press("Clean Now")
        wait_for((screen.files / "photo (scrubbed).jpg").exists, "the copy")
        widgets.press("Close")
        widgets.gone("dialog", CHECK_TITLE)
        screen.call("ActivateAction", "drop-window", "[]", "{}")
        widgets.find("panel", "Drop files here to scrub")
        # Without a tray the panel is a window, which stays.
        widgets.press("Quit Nullprint")
        self.assertEqual(application.wait(PATIENCE), 0)
        words = [line for line in screen.said().splitlines() if not re.match(r"\[ *\d+\.\d+\]", line)]
        self.assertEqual(words, [])


if __name__ == "__main__":
    run_inside()
    unittest.main()
