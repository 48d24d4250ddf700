#!/usr/bin/env python3
"""The program of NULLPRINT on X11 at scales of 1.5 and 2: the panel is at the icon of either kind of
tray, and the windows are as many times as large.

Slow, and no part of ./check: its packages are the group `hands` of packages.txt. NULLPRINT_PICTURES,
if it is set, is a folder that everybody may write to: it gets pictures of the screen.
"""
import os
import pathlib
import subprocess
import time
import unittest

import desktop
from desktop import Desktop, Widgets, end, run_inside, wait_for
from ordinary_user import go_on_as_ordinary_user

desktop.NEEDED += ["xfce4-panel", "import"]
CHECK_TITLE = "What’s hidden in these files"
WIDTH, HEIGHT = 2560, 1600
REVEAL = (580, 460)
BAR = 30  # Of the panel that has a StatusNotifierItem in its middle.
XFCE = """<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="{size}"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/><value type="int" value="2"/><value type="int" value="3"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/></property>
    <property name="plugin-2" type="string" value="systray"/>
    <property name="plugin-3" type="string" value="separator">
      <property name="expand" type="bool" value="true"/></property>
  </property>
</channel>"""


class FineDesktop(Desktop):
    """With a screen of many pixels, and settings that say how many of them an inch has."""

    screen = f"{WIDTH}x{HEIGHT}x24"

    def __init__(self, scale, tray):
        super().__init__(tray=tray)
        self.scale = scale

    def __enter__(self):
        super().__enter__()
        subprocess.run(["xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set",
                        "RESOURCE_MANAGER", f"Xft.dpi:\t{96 * self.scale:g}\n"], check=True)
        return self

    def start_bar(self, own_scale):
        """A bar at the top with an icon in the middle; it may scale itself, by a whole number."""
        folder = self.root / "config_home/xfce4/xfconf/xfce-perchannel-xml"
        folder.mkdir(parents=True)
        (folder / "xfce4-panel.xml").write_text(XFCE.format(size=BAR))
        self.start("xfce4-panel", "--disable-wm-check",
                   env={**os.environ, "GDK_SCALE": str(own_scale)})
        wait_for(lambda: self.has_owner("org.kde.StatusNotifierWatcher"), "the bar")
        return WIDTH // 2, BAR * own_scale // 2


class AtAScale(unittest.TestCase):
    def begin(self, scale, tray=True):
        self.scale = scale
        self.desktop = self.enterContext(FineDesktop(scale, tray))
        self.widgets = Widgets()

    def launch(self):
        self.application = self.desktop.launch()
        self.desktop.wait_until_it_runs()

    def finish(self):
        self.assertEqual(end(self.application), 0)
        self.assertEqual(self.desktop.said(), "")

    def picture(self, name):
        if folder := os.environ.get("NULLPRINT_PICTURES"):
            time.sleep(0.5)
            self.desktop.picture(str(pathlib.Path(folder, f"scale-{self.scale:g}-{name}.png")))

    def expect_panel_at(self, icon, name):
        """Below the icon, as near as the screen lets it; opened, closed and opened by clicks."""
        for is_open in (True, False, True):
            self.desktop.click(*icon)
            if not is_open:
                wait_for(lambda: not self.desktop.panel(), "the panel to be gone")
                time.sleep(0.4)
                self.assertIsNone(self.desktop.panel())
                continue
            x, y, width, height = wait_for(self.desktop.panel, "the panel")
            self.picture(name)
            self.assertTrue(icon[1] < y < icon[1] + 50 * self.scale, y)
            middle = min(icon[0], WIDTH - width // 2)
            self.assertLessEqual(abs(x + width // 2 - middle), 2 * self.scale)
            self.assertLessEqual(y + height, HEIGHT)
        self.desktop.key("Escape")
        wait_for(lambda: not self.desktop.panel(), "the panel to be gone")

    def try_bar(self, scale, own_scale):
        self.begin(scale, tray=False)
        icon = self.desktop.start_bar(own_scale)
        self.launch()
        self.wait_for_icon(icon)
        self.expect_panel_at(icon, f"bar-{own_scale}")
        self.finish()

    def wait_for_icon(self, icon):
        def colors():
            run = subprocess.run(["import", "-window", "root", "-crop",
                                  f"4x4+{icon[0] - 2}+{icon[1] - 2}", "-depth", "8", "rgb:-"],
                                 capture_output=True, check=True)
            return {run.stdout[place:place + 3] for place in range(0, len(run.stdout), 3)}
        wait_for(lambda: len(colors()) > 2, "the icon in the bar")

    def test_panel_at_a_bar_that_does_not_scale(self):
        self.try_bar(2, 1)

    def test_panel_at_a_bar_that_scales(self):
        self.try_bar(2, 2)

    def test_panel_at_a_bar_that_does_not_scale_by_half(self):
        self.try_bar(1.5, 1)

    def try_windows(self, scale):
        self.begin(scale)
        self.launch()
        self.expect_panel_at(self.desktop.icon(), "tray")
        self.desktop.sample("photo.jpg")
        self.desktop.call("Open", f"['file://{self.desktop.files}/photo.jpg']", "{}")
        self.widgets.find("dialog", CHECK_TITLE)
        window = wait_for(lambda: self.desktop.shell(
            f"xdotool search --onlyvisible --name '{CHECK_TITLE}'").split(), "the window")[-1]
        shape = self.desktop.shell(f"xdotool getwindowgeometry --shell {window}")
        for word, points in zip(("WIDTH", "HEIGHT"), REVEAL):
            self.assertIn(f"{word}={round(points * scale)}\n", shape)
        self.picture("reveal")
        self.desktop.call("ActivateAction", "drop-window", "[]", "{}")
        self.widgets.find("panel", "Drop files here to scrub")
        self.picture("drop")
        self.desktop.call("ActivateAction", "scrubMetadata", "[<['file:///none.jpg']>]", "{}")
        self.widgets.find("label", "Nothing was cleaned")
        self.picture("alert")
        self.finish()

    def test_windows_are_twice_as_large(self):
        self.try_windows(2)

    def test_windows_are_half_as_large_again(self):
        self.try_windows(1.5)


if __name__ == "__main__":
    go_on_as_ordinary_user()
    run_inside()
    unittest.main()
