#!/usr/bin/env python3
"""Both services of the program of NULLPRINT, chosen in the context menus of real file managers, for
files with names that trouble them.

Slow, and no part of ./check: its packages are the group `hands` of packages.txt. Words choose file
managers (`thunar`, `nautilus-scripts`, …); without any, all are tried. NULLPRINT_PICTURES, if it is
set, is a folder that everybody may write to: it gets pictures of the menus and of what came of them.
"""
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import unittest
import urllib.parse

import desktop
from desktop import PATIENCE, Desktop, Widgets, end, run_inside, wait_for
from ordinary_user import go_on_as_ordinary_user

desktop.NEEDED += ["dbus-monitor", "import"]
CHECK_TITLE = "What’s hidden in these files"
SHOW, SCRUB = "Show Hidden Metadata (Nullprint)", "Scrub Metadata (Nullprint)"
FOLDER = "it's %41 & “photos”"
NAMES = ["a b.jpg", "it's 100%.jpg", 'say "x".jpg', "c%41&d.jpg", "$HOME `id`.jpg", "“é” ünï.jpg",
         "line\nfeed.jpg", "#?;.jpg", "-g.jpg", "b\\n.jpg", "*.jpg", "%F %U.jpg"]
LATIN = os.fsdecode(b"caf\xe9.jpg")  # Dolphin knows no such names, and calls them otherwise.
ENTRIES = ["nemo", "file-manager", "kio", "nautilus-python", "nautilus"]  # Under XDG_DATA_HOME.


@dataclasses.dataclass
class Manager:
    program: str
    submenu: str = None  # Where the entries are, if not in the context menu itself.
    first: tuple = None  # The first file, in the window; where no key opens the menu of files.
    hides: tuple = ()    # Programs that are not there for the application when it writes its entries.
    data: str = None     # The system's folders for the application, if not the usual ones.
    by_keys: bool = False  # It tells nobody where its menu is.
    from_end: dict = None  # It tells nobody of its menu: how far from its end the entries are.


MANAGERS = {
    "thunar": Manager("thunar"),
    "nemo": Manager("nemo"),
    "caja": Manager("caja", submenu="Caja-Actions actions"),
    "caja-scripts": Manager("caja", submenu="Scripts", hides=("caja-actions-run", "pcmanfm")),
    "pcmanfm": Manager("pcmanfm"),
    "nautilus": Manager("nautilus", first=(340, 110), by_keys=True),
    "nautilus-scripts": Manager("nautilus", first=(340, 110), by_keys=True, submenu="Scripts",
                                data="/nonexistent"),
    "dolphin": Manager("dolphin", first=(327, 118), from_end={SHOW: 2, SCRUB: 3}),
}


class Bus:
    """The calls that were sent over the session's bus, with the texts in them."""

    def __init__(self, screen):
        self.notes = screen.root / "calls.txt"
        with open(self.notes, "wb") as notes:
            rules = ["org.freedesktop.Application", "org.freedesktop.FileManager1"]
            screen.start_noted(notes, "dbus-monitor", "--session",
                               *(f"type='method_call',interface='{rule}'" for rule in rules))
        wait_for(lambda: "NameAcquired" in self.notes.read_text(), "the ear on the bus")

    def calls(self, member):
        """A list of texts for each call."""
        found = []
        for call in re.split(r"^(?=\w)", self.notes.read_text(), flags=re.MULTILINE):
            if f"member={member}\n" in call:
                found.append(re.findall(r'string "(.*)"$', call, re.MULTILINE))
        return found


class RealDesktop(Desktop):
    """Without the stand-in for a file manager."""

    def __enter__(self):
        for name in ENTRIES:
            shutil.rmtree(self.root / "data_home" / name, ignore_errors=True)
        super().__enter__()
        # Without a graphics card what Nautilus animates while it loads may leave it no time to load.
        settings = self.root / "config_home" / "gtk-4.0" / "settings.ini"
        settings.parent.mkdir()
        settings.write_text("[Settings]\ngtk-enable-animations=0\n")
        stand_in = self.processes.pop()
        stand_in.terminate()
        stand_in.wait(PATIENCE)
        return self

    def start_noted(self, notes, *command):
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=notes,
                                   stderr=subprocess.DEVNULL)
        self.processes.append(process)

    def without(self, programs):
        """A PATH on which these are not."""
        folder = self.root / "programs"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for place in reversed(os.environ["PATH"].split(":")):
            if not os.access(place, os.R_OK | os.X_OK):
                continue
            for program in pathlib.Path(place).iterdir():
                link = folder / program.name
                link.unlink(missing_ok=True)
                if program.name not in programs:
                    link.symlink_to(program)
        return str(folder)

    def stacked(self):
        """The titles of the windows, that in front last, and that with the keyboard."""
        words = self.shell("xprop -root _NET_CLIENT_LIST_STACKING").partition("#")[2]
        windows = [word.strip() for word in words.split(",")]
        active = self.shell("xdotool getactivewindow getwindowname").strip()
        return [self.shell(f"xdotool getwindowname {window}").strip() for window in windows], active


class InFileManagers(unittest.TestCase):
    def begin(self, name):
        os.environ.update({"GTK_MODULES": "gail:atk-bridge", "NO_AT_BRIDGE": "0"})
        self.name, self.manager = name, MANAGERS[name]
        self.desktop = self.enterContext(RealDesktop())
        self.widgets = Widgets()
        self.bus = Bus(self.desktop)
        self.folder = self.desktop.files / FOLDER
        self.folder.mkdir()
        self.names = NAMES if name == "dolphin" else [*NAMES, LATIN]
        for each in self.names:
            shutil.copy(desktop.SAMPLES / "photo.jpg", self.folder / each)
        self.original = (desktop.SAMPLES / "photo.jpg").read_bytes()
        environment = dict(os.environ)
        if self.manager.hides:
            environment["PATH"] = self.desktop.without(self.manager.hides)
        if self.manager.data:
            environment["XDG_DATA_DIRS"] = self.manager.data
        self.application = self.desktop.launch(env=environment)
        self.desktop.wait_until_it_runs()
        wait_for(lambda: "Finder services enabled" in self.desktop.log(), "the entries")
        self.process = self.desktop.start(self.manager.program, str(self.folder))

    def picture(self, what):
        if folder := os.environ.get("NULLPRINT_PICTURES"):
            time.sleep(0.7)
            self.desktop.picture(str(pathlib.Path(folder, f"{self.name}-{what}.png")))

    def look_everywhere(self, name):
        """An item of a menu of whatever program."""
        self.widgets.application()
        programs = self.widgets.atspi.get_desktop(0)
        for number in range(programs.get_child_count()):
            for node in self.widgets.all(programs.get_child_at_index(number)):
                try:
                    if node.get_name() == name and node.get_role_name() in ("menu", "menu item") and \
                            (self.manager.by_keys or self.widgets.shown(node)):
                        return node
                except Exception:  # It went while it was looked at.
                    continue
        return None

    def select_all(self):
        window = wait_for(lambda: self.desktop.shell(
            "xdotool search --onlyvisible --name '“photos”'").split(), "the folder's window")[-1]
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=True)
        subprocess.run(["xdotool", "windowmove", "--sync", window, "20", "60"], check=True)
        time.sleep(2)  # Until it shows its files.
        if self.manager.by_keys:  # Its keyboard is elsewhere at first.
            self.click_first(window, "1")
        self.desktop.key("ctrl+a")
        time.sleep(0.7)
        return window

    def click_first(self, window, button):
        subprocess.run(["xdotool", "mousemove", "--window", window, *map(str, self.manager.first)],
                       check=True)
        time.sleep(0.2)
        subprocess.run(["xdotool", "click", button], check=True)
        time.sleep(0.7)

    def choose(self, name):
        item = wait_for(lambda: self.look_everywhere(name), f"{name!r} in a menu")
        if self.manager.by_keys:
            self.choose_by_keys(name)
            return
        place = self.widgets.atspi.Component.get_extents(item, self.widgets.atspi.CoordType.SCREEN)
        self.desktop.click(place.x + place.width // 2, place.y + place.height // 2)

    def choose_by_keys(self, name):
        def is_reached():
            self.desktop.key("Up")
            time.sleep(0.2)
            item = self.look_everywhere(name)
            return item is not None and self.widgets.has(item, "FOCUSED")
        wait_for(is_reached, f"{name!r} in a menu, reached by keys")
        self.desktop.key("Return")

    def open_menu(self):
        window = self.select_all()
        if self.manager.first and not self.manager.by_keys:
            self.click_first(window, "3")
        else:
            self.desktop.key("shift+F10")
        if self.manager.submenu:
            self.choose(self.manager.submenu)
        if self.manager.from_end:
            time.sleep(1)
            return
        for each in (SHOW, SCRUB):
            wait_for(lambda each=each: self.look_everywhere(each), f"{each!r} in a menu")

    def call_service(self, title):
        """Chooses the entry for all files; what the application is then asked for, in one call."""
        before = len(self.bus.calls("ActivateAction"))
        try:
            self.open_menu()
        except AssertionError:  # The files were not there yet, on a machine that has much to do.
            self.picture("failed")
            self.desktop.key("Escape", "Escape")
            self.open_menu()
        self.picture("menu")
        if self.manager.from_end:
            self.desktop.key(*["Up"] * self.manager.from_end[title], "Return")
        else:
            self.choose(title)
        call = wait_for(lambda: self.bus.calls("ActivateAction")[before:], "the call")
        self.assertEqual(len(call), 1)
        return call[0]

    def paths(self, names):
        return sorted(os.fsencode(self.folder / name) for name in names)

    @staticmethod
    def paths_of(uris):
        """There is more than one way to write a URI."""
        return sorted(urllib.parse.unquote_to_bytes(uri.removeprefix("file://")) for uri in uris)

    def expect_files(self, call, action):
        self.assertEqual(call[0], action)
        self.assertEqual(self.paths_of(call[1:]), self.paths(self.names))

    def expect_originals(self, others=()):
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         sorted([*self.names, *others]))
        for name in self.names:
            self.assertEqual((self.folder / name).read_bytes(), self.original, name)

    def try_services(self, name):
        self.begin(name)
        self.expect_files(self.call_service(SHOW), "showMetadata")
        self.widgets.find("dialog", CHECK_TITLE)
        report = self.widgets.find("text")
        wait_for(lambda: self.widgets.text(report).count("Camera / device: ") == len(self.names),
                 "all reports")
        self.picture("show")
        self.assertEqual(self.desktop.defaults()["totalChecked"], len(self.names))
        self.expect_originals()
        self.widgets.press("Close")
        self.widgets.gone("dialog", CHECK_TITLE)

        self.expect_files(self.call_service(SCRUB), "scrubMetadata")
        self.widgets.find("push button", "OK")
        self.widgets.find("label", f"Cleaned {len(self.names)} files")
        copies = [each.replace(".jpg", " (scrubbed).jpg") for each in self.names]
        self.expect_originals(copies)
        shown = wait_for(lambda: self.bus.calls("ShowItems"), "the copies to be shown")
        self.assertEqual(len(shown), 1)
        self.assertLessEqual(set(self.paths_of(shown[0][:-1])), set(self.paths(copies)))
        time.sleep(2)  # For a window of the file manager.
        self.picture("scrub")
        windows, active = self.desktop.stacked()
        print(f"{name}: {len(shown[0]) - 1} shown; the keyboard is with {active!r}", flush=True)
        # Whatever window the file manager opened, the result is in front.
        self.assertEqual(windows[-1], "Nullprint", windows)
        self.widgets.press("OK")
        self.assertEqual(end(self.application), 0)
        self.assertEqual(self.desktop.said(), "")


def test_of(name):
    @unittest.skipUnless(shutil.which(MANAGERS[name].program), f"no {name}")
    def test(self):
        self.try_services(name)
    return test


for each_manager in MANAGERS:
    setattr(InFileManagers, "test_" + each_manager, test_of(each_manager))


if __name__ == "__main__":
    go_on_as_ordinary_user()
    run_inside()
    wanted = sys.argv[1:] or list(MANAGERS)
    unittest.main(argv=[sys.argv[0], *(f"InFileManagers.test_{each}" for each in wanted)])
