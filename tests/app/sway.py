#!/usr/bin/env python3
"""The program of NULLPRINT on a Wayland desktop with a tray: sway, its bar, a pointer and a keyboard.

Slow, and no part of ./check: its packages are the group `hands` of packages.txt. NULLPRINT_PICTURES,
if it is set, is a folder that everybody may write to: it gets pictures of the screen.
"""
import json
import os
import pathlib
import socket
import struct
import shutil
import subprocess
import sys
import time
import unittest

import desktop
from desktop import PATIENCE, Desktop, Widgets, end, run_inside, wait_for
from ordinary_user import go_on_as_ordinary_user

desktop.NEEDED += ["sway", "swaybar", "grim", "wayvnc", "thunar"]
CHECK_TITLE = "What’s hidden in these files"
WIDTH, HEIGHT = 1280, 800  # In points; a picture has `scale` times as many pixels.
BAR = 30
ICON = (WIDTH - BAR / 2, BAR / 2)
ICONS = desktop.HERE.parents[1] / "app" / "icons"
ESCAPE, RETURN, CONTROL = 0xFF1B, 0xFF0D, 0xFFE3
FIRST_ICON = (75, 45)  # Its middle, in the view of Thunar.
DROP_VIEW = (380, 280)
ACCENT = (156, 122, 84)
CONFIG = """
output HEADLESS-1 resolution {width}x{height} scale {scale} position 0 0 background #306080 solid_color
seat * hide_cursor 0
bar {{
    position top
    height {bar}
    tray_output *
    colors background {color}
}}
"""
# Says that the desktop is dark.
PORTAL = """
import sys
from gi.repository import Gio, GLib
name, path = "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop"
interface = Gio.DBusNodeInfo.new_for_xml('''<node><interface name="org.freedesktop.portal.Settings">
<method name="Read"><arg type="s" direction="in"/><arg type="s" direction="in"/>
<arg type="v" direction="out"/></method></interface></node>''').interfaces[0]
def called(*arguments):
    answer = GLib.Variant("v", GLib.Variant("u", 1))
    arguments[-1].return_value(GLib.Variant.new_tuple(GLib.Variant("v", answer)))
def on_bus(connection, _name):
    connection.register_object(path, interface, called, None, None)
Gio.bus_own_name(Gio.BusType.SESSION, name, Gio.BusNameOwnerFlags.NONE, on_bus, None, None)
GLib.MainLoop().run()
"""


class Hands:
    """Pointer and keyboard, over the protocol of remote screens (RFC 6143)."""

    def __init__(self, address, scale):
        self.scale = scale
        self.line = socket.socket(socket.AF_UNIX)
        self.line.settimeout(2)
        self.line.connect(str(address))
        self.line.send(self.receive(12))  # The version.
        self.receive(self.receive(1)[0])
        self.line.send(b"\x01")  # No password.
        assert self.receive(4) == bytes(4)
        self.line.send(b"\x01")
        self.receive(24 - 4)
        self.receive(struct.unpack(">I", self.receive(4))[0])

    def receive(self, count):
        data = b""
        while len(data) < count:
            part = self.line.recv(count - len(data))
            if not part:
                raise OSError("the line was cut")
            data += part
        return data

    def point(self, x, y, buttons=0):
        place = (int(x * self.scale), int(y * self.scale))
        self.line.send(struct.pack(">BBHH", 5, buttons, *place))
        time.sleep(0.05)

    def drag(self, start, end):
        self.point(*start)
        self.point(*start, 1)
        time.sleep(0.2)
        for step in range(1, 31):
            self.point(*(a + (b - a) * step / 30 for a, b in zip(start, end)), 1)

    def hold(self, symbol, is_down):
        self.line.send(struct.pack(">BBHI", 4, is_down, 0, symbol))

    def click(self, x, y):
        self.point(x, y)
        self.point(x, y, 1)
        self.point(x, y)

    def key(self, *symbols):
        for symbol in symbols:
            for is_down in (1, 0):
                self.hold(symbol, is_down)
                time.sleep(0.03)


class Sway(Desktop):
    def __init__(self, scale=1, bar="#000000", dark=False):
        super().__init__()
        self.is_dark = dark
        self.scale = scale
        self.bar = bar
        self.hands = None

    def __enter__(self):
        try:
            return self.build()
        except BaseException:
            self.__exit__()
            raise

    def build(self):
        self.begin()
        runtime = pathlib.Path(os.environ["XDG_RUNTIME_DIR"])
        os.environ.pop("DISPLAY", None)
        os.environ.update({
            "WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1", "WLR_RENDERER": "pixman",
            "XDG_SESSION_TYPE": "wayland", "SWAYSOCK": str(runtime / f"sway-{self.files.name}")})
        config = self.root / "sway.conf"
        config.write_text(CONFIG.format(width=round(WIDTH * self.scale), bar=BAR, scale=self.scale,
                                        color=self.bar,
                                        height=round(HEIGHT * self.scale)))
        before = set(runtime.glob("wayland-*"))
        self.start("sway", "--config", str(config))
        wait_for(lambda: self.ask("get_outputs"), "sway")
        found = [path for path in set(runtime.glob("wayland-*")) - before if path.suffix != ".lock"]
        os.environ["WAYLAND_DISPLAY"] = found[0].name
        address = runtime / f"hands-{self.files.name}"
        self.start("wayvnc", "--unix-socket", str(address))
        wait_for(address.exists, "wayvnc")
        self.hands = wait_for(lambda: self.shake_hands(address), "pointer and keyboard")
        wait_for(lambda: self.has_owner("org.kde.StatusNotifierWatcher"), "the tray")
        if self.is_dark:
            self.start(sys.executable, "-c", PORTAL)
            wait_for(lambda: self.has_owner("org.freedesktop.portal.Desktop"), "the portal")
        return self

    def __exit__(self, *arguments):
        if self.hands:
            self.hands.line.close()
        super().__exit__(*arguments)

    def shake_hands(self, address):
        try:
            return Hands(address, self.scale)
        except OSError:
            return None

    def ask(self, what):
        answer = self.shell(f"swaymsg --raw -t {what}")
        return json.loads(answer) if answer else None

    def windows(self):
        """The windows: their nodes in the compositor's tree."""
        def below(node):
            if node.get("pid"):
                yield node
            for child in node["nodes"] + node["floating_nodes"]:
                yield from below(child)
        return list(below(self.ask("get_tree")))

    def window(self, title):
        found = [node for node in self.windows() if node["name"] == title and node["visible"]]
        return found[0] if found else None

    def pixels(self, x, y, width, height):
        """The colours of a part of the screen."""
        file = self.root / "part.ppm"
        subprocess.run(["grim", "-t", "ppm", "-g", f"{x},{y} {width}x{height}", file], check=True)
        data = file.read_bytes().split(b"\n", 3)[3]
        return [tuple(data[place:place + 3]) for place in range(0, len(data), 3)]

    def picture(self, name):
        if folder := os.environ.get("NULLPRINT_PICTURES"):
            time.sleep(0.5)
            subprocess.run(["grim", pathlib.Path(folder, f"sway-{name}.png")], check=True)


def contrast(one, other):
    """Of two colours, as the Web Content Accessibility Guidelines have it: symbols want 3."""
    def luminance(color):
        parts = [part / 255 for part in color]
        parts = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
                 for part in parts]
        return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2] + 0.05
    low, high = sorted((luminance(one), luminance(other)))
    return high / low


class OnSway(unittest.TestCase):
    def begin(self, **options):
        self.desktop = self.enterContext(Sway(**options))
        self.hands = self.desktop.hands
        self.widgets = Widgets()
        self.application = self.desktop.launch()
        self.desktop.wait_until_it_runs()
        wait_for(lambda: self.legible() > 20, "the icon in the bar")

    def finish(self):
        self.assertEqual(end(self.application), 0)
        self.assertEqual(self.desktop.said(), "")

    def legible(self):
        """How many points of the bar's end can be told from it."""
        pixels = self.desktop.pixels(WIDTH - BAR, 0, BAR, BAR)
        bar = self.desktop.pixels(WIDTH // 2, BAR // 2, 1, 1)[0]
        return sum(contrast(pixel, bar) >= 3 for pixel in pixels) / self.desktop.scale ** 2

    def click_icon(self):
        self.hands.click(*ICON)

    def press(self, name):
        """With the pointer. A button says where it is in its window, the compositor where that is."""
        button = self.widgets.find("push button", name)
        place = self.widgets.atspi.Component.get_extents(
            button, self.widgets.atspi.CoordType.WINDOW)
        window = next(node for node in self.desktop.windows() if node["focused"])
        frame, inside = window["rect"], window["window_rect"]
        self.hands.click(frame["x"] + inside["x"] + place.x + place.width / 2,
                         frame["y"] + inside["y"] + place.y + place.height / 2)

    def is_open(self):
        return self.widgets.look("push button", "Quit Nullprint") is not None

    def expect_panel(self):
        wait_for(self.is_open, "the panel")
        return wait_for(lambda: next((node for node in self.desktop.windows() if node["focused"] and
                                      node["name"] == "Nullprint"), None), "the panel in front")

    def expect_no_panel(self):
        wait_for(lambda: not self.is_open(), "the panel to be gone")
        time.sleep(0.5)  # A click that is told twice would bring it back.
        self.assertFalse(self.is_open())

    def expect_in_front(self, title):
        wait_for(lambda: (node := self.desktop.window(title)) and node["focused"],
                 f"{title!r} in front, with the keyboard")


class Icon(OnSway):
    def try_bar(self, color):
        self.begin(bar=color)
        self.desktop.picture("bar-" + color[1:])
        self.finish()

    def test_is_legible_in_a_dark_bar(self):
        self.try_bar("#000000")

    def test_is_legible_in_a_bright_bar(self):
        self.try_bar("#ffffff")


class InstalledIcon(Icon):
    """The bar takes it from the theme, as it is."""

    def setUp(self):
        data = pathlib.Path(os.environ["XDG_DATA_HOME"])
        for name, folder in (("", "scalable"), ("-symbolic", "symbolic")):
            place = data / "icons" / "hicolor" / folder / "apps"
            place.mkdir(parents=True)
            shutil.copy(ICONS / f"{desktop.NAME}{name}.svg", place)
        self.addCleanup(shutil.rmtree, data / "icons")


class Panel(OnSway):
    def test_comes_and_goes(self):
        self.begin()
        ways = (self.click_icon, lambda: self.hands.key(ESCAPE), lambda: self.hands.click(100, 700))
        for count, close in enumerate(ways, 1):
            self.click_icon()
            panel = self.expect_panel()
            self.assertEqual(panel["app_id"], desktop.NAME)
            self.assertEqual(panel["type"], "floating_con")
            self.assertEqual(self.desktop.defaults().get("ctPanelOpens"), count)
            close()
            self.expect_no_panel()
        self.finish()

    def test_waits_for_a_pointer_that_passes_other_windows(self):
        """Each of which has the keyboard meanwhile."""
        self.begin()
        self.desktop.call("Open", f"['file://{self.desktop.sample('photo.jpg')}']", "{}")
        self.expect_in_front(CHECK_TITLE)
        self.click_icon()
        self.expect_panel()
        for step in range(1, 21):
            self.hands.point(ICON[0] + (WIDTH / 2 - ICON[0]) * step / 20,
                             ICON[1] + (HEIGHT / 2 - ICON[1]) * step / 20)
            if step == 5:
                self.expect_in_front(CHECK_TITLE)
        self.expect_panel()
        time.sleep(3)
        self.expect_panel()
        self.hands.point(10, HEIGHT - 10)
        self.expect_no_panel()
        self.finish()

    def test_makes_way_for_what_it_opens(self):
        self.begin()
        self.click_icon()
        self.expect_panel()
        self.desktop.picture("panel")
        self.press("Open Drop Window…")
        self.widgets.find("panel", "Drop files here to scrub")
        self.expect_no_panel()
        self.expect_in_front("Nullprint")
        self.desktop.picture("drop")
        self.click_icon()
        self.expect_panel()
        self.press("Check Files…")
        entry = self.widgets.find("text", "File name:")
        self.expect_no_panel()
        self.expect_in_front("Choose files to check for hidden data")
        self.widgets.write(entry, str(self.desktop.sample("photo.jpg")))
        self.hands.key(RETURN)
        self.widgets.find("dialog", CHECK_TITLE)
        self.expect_in_front(CHECK_TITLE)
        self.desktop.picture("reveal")
        # An older window, called again, is in front of the newer one.
        self.click_icon()
        self.expect_panel()
        self.press("Open Drop Window…")
        self.expect_no_panel()
        self.expect_in_front("Nullprint")
        self.desktop.picture("drop-again")
        self.finish()

    def test_quits(self):
        self.begin()
        self.click_icon()
        self.expect_panel()
        self.press("Quit Nullprint")
        self.assertEqual(self.application.wait(PATIENCE), 0)
        wait_for(lambda: self.legible() == 0, "the icon to be gone")
        self.assertEqual(self.desktop.said(), "")


class Dragging(OnSway):
    def files_in_thunar(self):
        """Where the view of the files is in its window, which is as much as anybody is told."""
        programs = self.widgets.atspi.get_desktop(0)
        for number in range(programs.get_child_count()):
            for node in self.widgets.all(programs.get_child_at_index(number)):
                if node.get_role_name() == "directory pane":
                    return self.widgets.atspi.Component.get_extents(
                        node, self.widgets.atspi.CoordType.WINDOW)
        return None

    def is_highlighted(self, window):
        frame = window["rect"]
        return self.desktop.pixels(*(frame[key] for key in ("x", "y", "width", "height"))).count(
            ACCENT) > 500

    def test_files_from_thunar(self):
        os.environ.update({"GTK_MODULES": "gail:atk-bridge", "NO_AT_BRIDGE": "0"})
        self.begin()
        names = ["a b%41&“é”.jpg", "Report.docx"]
        self.desktop.sample("photo.jpg", names[0])
        self.desktop.sample(names[1])
        self.desktop.start("thunar", str(self.desktop.files))
        thunar = wait_for(lambda: next((node for node in self.desktop.windows()
                                        if node["app_id"] == "thunar"), None), "Thunar")
        view = wait_for(self.files_in_thunar, "its files")
        time.sleep(1)
        corner = [thunar["rect"][key] + thunar["window_rect"][key] + getattr(view, key)
                  for key in ("x", "y")]
        self.hands.click(corner[0] + view.width / 2, corner[1] + view.height / 2)
        self.hands.hold(CONTROL, 1)
        self.hands.key(ord("a"))
        self.hands.hold(CONTROL, 0)
        self.desktop.call("ActivateAction", "drop-window", "[]", "{}")
        self.expect_in_front("Nullprint")
        self.desktop.shell(f"swaymsg '[app_id={desktop.NAME}] move position 850 400'")
        drop = self.desktop.window("Nullprint")
        self.assertFalse(self.is_highlighted(drop))
        middle = [drop["rect"][key] + side / 2 for key, side in zip(("x", "y"), DROP_VIEW)]
        self.hands.drag([at + side for at, side in zip(corner, FIRST_ICON)], middle)
        wait_for(lambda: self.is_highlighted(drop), "the highlight")
        self.desktop.picture("dragging")
        self.hands.point(*middle)
        self.widgets.find("dialog", CHECK_TITLE)
        report = self.widgets.find("text")
        wait_for(lambda: all(name in self.widgets.text(report) for name in names), "all reports")
        wait_for(lambda: not self.is_highlighted(drop), "the highlight to be gone")
        self.assertEqual(self.desktop.defaults()["totalChecked"], len(names))
        self.finish()


class Looks(OnSway):
    """For looking at, and that nothing is cut off."""

    def show_all(self, name, **options):
        self.begin(**options)
        self.click_icon()
        panel = self.expect_panel()
        for node in self.widgets.all(self.widgets.look("frame", "Nullprint")):
            place = self.widgets.atspi.Component.get_extents(
                node, self.widgets.atspi.CoordType.WINDOW)
            self.assertGreaterEqual(min(place.x, place.y), 0, node.get_name())
            self.assertLessEqual(place.x + place.width, panel["rect"]["width"], node.get_name())
            self.assertLessEqual(place.y + place.height, panel["rect"]["height"], node.get_name())
        self.desktop.picture(name + "-panel")
        self.hands.key(ESCAPE)
        self.expect_no_panel()
        self.desktop.sample("photo.jpg")
        self.desktop.call("Open", f"['file://{self.desktop.files}/photo.jpg']", "{}")
        self.expect_in_front(CHECK_TITLE)
        self.desktop.picture(name + "-reveal")
        self.widgets.press("Close")
        self.widgets.gone("dialog", CHECK_TITLE)
        self.desktop.call("ActivateAction", "drop-window", "[]", "{}")
        self.expect_in_front("Nullprint")
        self.desktop.picture(name + "-drop")
        self.finish()

    def test_dark(self):
        self.show_all("dark", dark=True)

    def test_twice_as_fine(self):
        self.show_all("2", scale=2)

    def test_half_as_fine_again(self):
        self.show_all("1.5", scale=1.5)


if __name__ == "__main__":
    go_on_as_ordinary_user()
    run_inside()
    unittest.main()
