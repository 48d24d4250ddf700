#!/usr/bin/env python3
"""Works with the installed application as a person at a desktop would. Run inside a system made by
try-packages.sh, as an ordinary user; ends with 1 when something did not happen.

  try-desktop.py PICTURES MANAGER…

starts a display and a session of its own. The application is launched as a menu of programs does it,
and quit. Then, in each file manager (thunar, nemo, caja, pcmanfm, nautilus, dolphin), both entries of
the context menu are chosen, for a photo and a document at once. PICTURES gets a picture of every menu and of what
came of it.
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

DISPLAY = ":77"
SECONDS = 40
ID = "org.nullprint.Nullprint"
SHOW, SCRUB = "Show Hidden Metadata (Nullprint)", "Scrub Metadata (Nullprint)"
EXAMPLES = pathlib.Path("/srv/examples")
# The menu in which a file manager has the entries; those that are not here have them in the context
# menu itself.
SUBMENUS = {"thunar": "Send To", "caja": "Caja-Actions actions"}
# Where the first file is in the windows of managers whose keyboard does not begin with the files.
FIRST_FILES = {"nautilus": (340, 110), "dolphin": (327, 118)}
# How far the entries are from the end of a menu of which nobody is told.
FROM_END = {"dolphin": {SHOW: 2, SCRUB: 3}}


def wait_for(what, question):
    """The first answer that is true."""
    end = time.monotonic() + SECONDS
    while time.monotonic() < end:
        answer = question()
        if answer:
            return answer
        time.sleep(0.2)
    raise RuntimeError(f"in vain: {what}")


def xdo(*words):
    run = subprocess.run(["xdotool", *words], capture_output=True, text=True, check=False)
    return run.stdout.split()


def all_of(node):
    """A widget and all in it. Widgets come and go while they are asked."""
    yield node
    try:
        count = node.childCount
    except Exception:  # pylint: disable=broad-except
        return
    for index in range(min(count, 400)):
        try:
            child = node.getChildAtIndex(index)
        except Exception:  # pylint: disable=broad-except
            continue
        if child is not None:
            yield from all_of(child)


class Session:
    def __init__(self, pictures):
        self.pictures = pictures
        self.started = []

    def start(self, *command):
        self.started.append(subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=sys.stderr))
        return self.started[-1]

    def end(self):
        for process in reversed(self.started):
            process.terminate()
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()

    def picture(self, name):
        path = self.pictures / f"{name}.png"
        subprocess.run(["import", "-window", "root", str(path)], check=True)
        print(f"  {path.name}", flush=True)

    @staticmethod
    def find(role, *names, state=None):
        import pyatspi  # pylint: disable=import-error,import-outside-toplevel
        for application in pyatspi.Registry.getDesktop(0):
            if application is None:
                continue
            for node in all_of(application):
                try:
                    if node.getRoleName() in role and node.name in names and \
                            node.getState().contains(state or pyatspi.STATE_SHOWING):
                        return node
                except Exception:  # pylint: disable=broad-except
                    continue
        return None

    def choose(self, *names):
        import pyatspi  # pylint: disable=import-error,import-outside-toplevel
        item = wait_for(f"“{names[0]}”", lambda: self.find(("menu", "menu item"), *names))
        place = item.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        xdo("mousemove", str(place.x + place.width // 2), str(place.y + place.height // 2), "click", "1")

    def choose_by_keys(self, name):
        """In menus that do not say where they are."""
        import pyatspi  # pylint: disable=import-error,import-outside-toplevel

        def is_reached():
            xdo("key", "Up")
            time.sleep(0.2)
            return self.find(("menu item",), name, state=pyatspi.STATE_FOCUSED)
        wait_for(f"“{name}”", is_reached)
        xdo("key", "Return")


def try_launcher(session):
    """By activation, without a tray: the panel is a window. Then one of the launcher's actions."""
    subprocess.run(["gapplication", "launch", ID], check=True)
    wait_for("the panel", lambda: session.find(("push button",), "Check Files…"))
    session.picture("panel")
    subprocess.run(["gapplication", "action", ID, "drop-window"], check=True)
    time.sleep(2)
    session.picture("drop-window")
    subprocess.run(["gapplication", "launch", ID], check=True)
    wait_for("to quit", lambda: session.find(("push button",), "Quit Nullprint")).queryAction().doAction(0)
    is_running = ["gdbus", "call", "--session", "-d", "org.freedesktop.DBus", "-o", "/", "-m",
                  "org.freedesktop.DBus.NameHasOwner", ID]
    wait_for("its end", lambda: "false" in subprocess.run(
        is_running, capture_output=True, text=True, check=True).stdout)


class FileManager:
    def __init__(self, session, name):
        self.session, self.name = session, name
        self.folder = pathlib.Path.home() / f"{name}'s %41 & photos"
        self.folder.mkdir()
        shutil.copy(EXAMPLES / "photo.jpg", self.folder / "it's 100% & more.jpg")
        shutil.copy(EXAMPLES / "Report.docx", self.folder / "Report “2026” $HOME.docx")
        self.originals = set(self.folder.iterdir())

    def open_menu(self):
        window = wait_for("a window", lambda: xdo("search", "--onlyvisible", "--name", self.folder.name))[-1]
        xdo("windowactivate", "--sync", window)
        time.sleep(2)  # Until it shows its files.
        first = FIRST_FILES.get(self.name)
        if first:
            xdo("mousemove", "--window", window, *map(str, first))
        if self.name == "nautilus":
            xdo("click", "1")
        time.sleep(0.5)
        xdo("key", "ctrl+a")
        time.sleep(0.5)
        xdo(*(("click", "3") if self.name == "dolphin" else ("key", "shift+F10")))
        if self.name in SUBMENUS:
            self.session.choose(SUBMENUS[self.name])

    def select(self, title):
        self.open_menu()
        if self.name in FROM_END:
            time.sleep(1)
        elif self.name != "nautilus":
            wait_for(f"“{title}” in {self.name}", lambda: self.session.find(("menu item",), title))
        time.sleep(0.5)
        self.session.picture(f"{self.name}-menu")
        if self.name in FROM_END:
            xdo("key", *["Up"] * FROM_END[self.name][title], "Return")
        elif self.name == "nautilus":
            self.session.choose_by_keys(title)
        else:
            self.session.choose(title)

    def try_both(self):
        process = self.session.start(self.name, str(self.folder))
        self.select(SHOW)
        wait_for("a report", lambda: self.session.find(("push button",), "Clean Now"))
        time.sleep(1)
        self.session.picture(f"{self.name}-show")
        close = self.session.find(("push button",), "Close")
        close.queryAction().doAction(0)
        self.select(SCRUB)
        wait_for("two copies", lambda: len(set(self.folder.iterdir()) - self.originals) == 2)
        done = wait_for("a result", lambda: self.session.find(("push button",), "OK"))
        time.sleep(0.5)
        self.session.picture(f"{self.name}-scrub")
        done.queryAction().doAction(0)
        names = sorted(path.name for path in set(self.folder.iterdir()) - self.originals)
        assert names == ["Report “2026” $HOME (scrubbed).docx", "it's 100% & more (scrubbed).jpg"], names
        process.terminate()
        process.wait(10)


def work(pictures, names):
    session = Session(pictures)
    # Without a graphics card what Nautilus animates while it loads may leave it no time to load.
    settings = pathlib.Path.home() / ".config" / "gtk-4.0" / "settings.ini"
    settings.parent.mkdir(parents=True, exist_ok=True)
    settings.write_text("[Settings]\ngtk-enable-animations=0\n")
    trials = {"launcher": lambda: try_launcher(session)}
    trials |= {name: lambda name=name: FileManager(session, name).try_both() for name in names}
    failed = []
    try:
        session.start("openbox")
        time.sleep(1)
        for name, trial in trials.items():
            print(f"{name}:", flush=True)
            try:
                trial()
                print("  does what it says", flush=True)
            except (RuntimeError, AssertionError) as failure:
                session.picture(f"{name}-failed")
                print(f"  FAILED: {failure}", flush=True)
                failed.append(name)
    finally:
        session.end()
    return 1 if failed else 0


def main():
    if os.environ.get("DISPLAY") == DISPLAY:
        return work(pathlib.Path(sys.argv[1]), sys.argv[2:])
    runtime = tempfile.mkdtemp(prefix="nullprint-runtime-")
    environment = {
        **os.environ, "DISPLAY": DISPLAY, "XDG_RUNTIME_DIR": runtime, "LC_ALL": "C.UTF-8",
        "NO_AT_BRIDGE": "0", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "GTK_MODULES": "gail:atk-bridge"}
    display = subprocess.Popen(
        ["Xvfb", DISPLAY, "-screen", "0", "1100x800x24", "-nolisten", "tcp"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        time.sleep(2)
        session = subprocess.Popen(
            ["dbus-run-session", "--", sys.executable, "-B", *sys.argv], env=environment)
        return session.wait(600)
    finally:
        display.send_signal(signal.SIGTERM)
        display.wait(10)
        shutil.rmtree(runtime, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
