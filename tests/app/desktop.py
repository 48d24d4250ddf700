"""A small desktop for tests: display, window manager, tray and session bus of its own, the real
program on it, and hands that click.

A test that uses it starts itself once more inside of `dbus-run-session`, with folders of its own:
call `run_inside()` first of all.
"""
import fcntl
import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
SAMPLES = HERE.parent / "cli" / "files"
PROGRAM = pathlib.Path(os.environ["NULLPRINT"]).resolve()
NAME = "org.nullprint.Nullprint"
INSIDE = "NULLPRINT_TEST_FOLDER"
PATIENCE = int(os.environ.get('NULLPRINT_PATIENCE', '60'))  # Seconds; nothing ever takes that long.
DOUBLE_CLICK = 0.5  # Seconds; in less than 0.4 the application is told of a double click.
NEEDED = ["Xvfb", "openbox", "trayer", "xdotool", "xwininfo", "gdbus", "dbus-run-session"]


def python_with_bindings():
    """This Python or Debian's: the bindings that look at windows are made for the latter."""
    for python in (sys.executable, "/usr/bin/python3"):
        if subprocess.run([python, "-c", "import gi"], capture_output=True,
                          check=False).returncode == 0:
            return python
    sys.exit("missing: python3-gi; packaging/packages.txt has the packages of these tests")


def run_inside():
    """Goes on in a fresh session, whose folder is in NULLPRINT_TEST_FOLDER."""
    if INSIDE in os.environ:
        return
    missing = [tool for tool in NEEDED if not shutil.which(tool)]
    if missing:
        sys.exit(f"missing: {missing}; packaging/packages.txt has their packages")
    with tempfile.TemporaryDirectory(prefix="nullprint-desktop-") as folder:
        # Nothing of the session that the tests are started in, only its PATH and our own words.
        environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": folder,
                       "NULLPRINT_PATIENCE": str(PATIENCE),
                       "NULLPRINT_PICTURES": os.environ.get("NULLPRINT_PICTURES", ""),
                       "NULLPRINT": str(PROGRAM), INSIDE: folder}
        for name in ("CONFIG_HOME", "DATA_HOME", "STATE_HOME", "CACHE_HOME", "RUNTIME_DIR"):
            path = pathlib.Path(folder, name.lower())
            path.mkdir(mode=0o700)
            environment["XDG_" + name] = str(path)
        # The bus starts the application by this; it looks when it starts itself.
        services = pathlib.Path(environment["XDG_DATA_HOME"], "dbus-1", "services")
        services.mkdir(parents=True)
        (services / f"{NAME}.service").write_text(
            f"[D-BUS Service]\nName={NAME}\nExec='{PROGRAM}' --login-item\n")
        run = subprocess.run(["dbus-run-session", "--", python_with_bindings(), "-B", *sys.argv],
                             env=environment, check=False)
        # Whatever the bus started ends with it, a moment later.
        time.sleep(0.2)
    sys.exit(run.returncode)


def wait_for(condition, what):
    """The first true value of `condition`, or a failure that says what was waited for."""
    end = time.monotonic() + PATIENCE
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"{what}: waited for in vain")
        time.sleep(0.02)


class Desktop:
    """`with Desktop() as desktop:` a display with window manager and, if wanted, a tray."""

    screen = "1280x800x24"

    def __init__(self, tray=True):
        self.root = pathlib.Path(os.environ[INSIDE])
        self.tray = tray
        self.processes = []
        self.next_click = 0

    def begin(self):
        """Folders that nobody has used yet, and words for what is started."""
        for name in ("config_home", "state_home"):
            shutil.rmtree(self.root / name, ignore_errors=True)
            (self.root / name).mkdir(mode=0o700)
        self.files = pathlib.Path(tempfile.mkdtemp(prefix="files-", dir=self.root))
        os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        os.environ["QT_LOGGING_RULES"] = "qt.accessibility.*=false"  # Looked at while it goes.

    def __enter__(self):
        self.begin()
        read, write = os.pipe()
        self.start("Xvfb", "-displayfd", str(write), "-screen", "0", self.screen,
                   "-nolisten", "tcp", "-noreset", pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as pipe:
            os.environ["DISPLAY"] = ":" + pipe.readline().strip()
        self.start("openbox", "--sm-disable")
        wait_for(lambda: "supporting WM" in self.shell("xprop -root _NET_SUPPORTING_WM_CHECK") or
                 "window id" in self.shell("xprop -root _NET_SUPPORTING_WM_CHECK"), "openbox")
        if self.tray:
            self.start_tray()
        self.shown = self.root / "shown.txt"
        self.shown.write_text("")
        self.start(sys.executable, "-B", HERE / "file_manager.py", self.shown)
        wait_for(lambda: self.has_owner("org.freedesktop.FileManager1"), "the file manager")
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()

    def start(self, *command, **options):
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=options.pop("stderr", subprocess.DEVNULL), **options)
        self.processes.append(process)
        return process

    def start_tray(self):
        process = self.start("trayer", "--edge", "top", "--align", "right", "--widthtype",
                             "request", "--height", "28", "--SetDockType", "true")
        wait_for(lambda: "trayer" in self.shell("xwininfo -root -tree"), "trayer")
        return process

    @staticmethod
    def shell(command):
        return subprocess.run(command, shell=True, capture_output=True, text=True,
                              check=False).stdout

    # --- The application

    def sample(self, name, new_name=None):
        return shutil.copy(SAMPLES / name, self.files / (new_name or name))

    def launch(self, *words, **options):
        """The program on this desktop; what it says is in `said()`."""
        self.errors = self.root / "errors.txt"
        with open(self.errors, "wb") as errors:
            return self.start(PROGRAM, *words, cwd=self.files, stderr=errors, **options)

    def said(self):
        # Qt has something to say about its own file dialog.
        return "".join(line for line in self.errors.read_text().splitlines(keepends=True)
                       if not line.startswith("QAccessible"))

    def has_owner(self, name):
        return "true" in self.shell(
            "gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus "
            f"--method org.freedesktop.DBus.NameHasOwner {name}")

    def runs(self):
        return self.has_owner(NAME)

    def wait_until_it_runs(self):
        wait_for(self.runs, "the application's name on the bus")

    def call(self, method, *parameters):
        run = subprocess.run(
            ["gdbus", "call", "--session", "--dest", NAME, "--object-path",
             "/" + NAME.replace(".", "/"), "--method", "org.freedesktop.Application." + method,
             *parameters], capture_output=True, text=True, timeout=PATIENCE, check=False)
        if run.returncode != 0:
            raise AssertionError(run.stderr)

    def defaults(self):
        path = self.root / "config_home" / "nullprint" / f"{NAME}.plist"
        if not path.exists():
            return {}
        with open(f"{path}.lock", "a") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)  # Held while there is more to write.
            return plistlib.loads(path.read_bytes())

    def log(self):
        path = self.root / "state_home" / "nullprint" / "Nullprint.log"
        return path.read_text() if path.exists() else ""

    # --- Looking and clicking

    def icon(self):
        """The middle of the icon in the tray, which moves it about when it is new."""
        def found():
            for line in self.shell("xwininfo -root -tree").splitlines():
                place = re.search(r'"nullprint".* (\d+)x(\d+)\+-?\d+\+-?\d+ +\+(\d+)\+(\d+)$', line,
                                  re.IGNORECASE)
                if place:
                    width, height, x, y = map(int, place.groups())
                    if 8 < width < 64 and 8 < height < 64 and y < 40:
                        return x + width // 2, y + height // 2
            return None

        def resting():
            before = found()
            time.sleep(0.2)
            return before if before == found() else None

        return wait_for(resting, "the icon in the tray")

    def click(self, x, y):
        """A single one, never the second half of a double click."""
        time.sleep(max(0, self.next_click - time.monotonic()))
        subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True)
        self.next_click = time.monotonic() + DOUBLE_CLICK

    def key(self, *keys):
        subprocess.run(["xdotool", "key", *keys], check=True)

    def click_icon(self):
        self.click(*self.icon())

    def panel(self):
        """Where the panel is: x, y, width, height."""
        for line in self.shell("xwininfo -root -tree").splitlines():
            place = re.search(r'"Nullprint".* (\d+)x(\d+)\+-?\d+\+-?\d+ +\+(\d+)\+(\d+)$', line)
            if place and int(place[1]) > 200:
                window = line.split()[0]
                if "IsViewable" in self.shell(f"xwininfo -id {window}"):
                    return tuple(map(int, (place[3], place[4], place[1], place[2])))
        return None

    def press_in_panel(self, name):
        """By the keyboard, from button to button."""
        wait_for(self.panel, "the panel")
        order = ["Check Files…", "Open Drop Window…", "Open at Login", "Quit Nullprint"]
        self.key(*["Tab"] * (order.index(name) + 1), "space")

    def titles(self):
        """The titles of all windows that can be seen."""
        found = self.shell("xdotool search --onlyvisible --name '.*' 2>/dev/null").split()
        return [self.shell(f"xdotool getwindowname {window}").strip() for window in found]

    def picture(self, name):
        """For looking at a test that fails: a picture of the screen, if there is a program for it."""
        if shutil.which("import"):
            subprocess.run(["import", "-window", "root", name], check=False)


class Widgets:
    """The application's windows as assistive technology sees them."""

    def __init__(self):
        # Late: the library connects to the display and the bus that are there when it is loaded.
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi, GLib
        Atspi.init()
        self.atspi = Atspi
        self.events = GLib.MainContext.default()

    def application(self):
        while self.events.iteration(False):  # What changed reaches the library's memory of it.
            pass
        desktop = self.atspi.get_desktop(0)
        for number in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(number)
            if child is not None and (child.get_name() or "").lower() == "nullprint":
                return child
        return None

    def all(self, node=None):
        try:
            node = node or self.application()
            if node is None:
                return
            yield node
            for number in range(node.get_child_count()):
                child = node.get_child_at_index(number)
                if child is not None:
                    yield from self.all(child)
        except Exception:  # The widget went while it was looked at.
            return

    def has(self, node, state):
        return node.get_state_set().contains(getattr(self.atspi.StateType, state))

    def shown(self, node):
        return self.has(node, "SHOWING")

    def look(self, role, name):
        for node in self.all():
            try:
                if node.get_role_name() == role and (name is None or node.get_name() == name) \
                        and self.shown(node):
                    return node
            except Exception:
                continue
        return None

    def find(self, role, name=None):
        return wait_for(lambda: self.look(role, name), f"{role} {name!r}")

    def is_enabled(self, node):
        return self.has(node, "ENABLED")

    def press(self, name, role="push button"):
        button = self.find(role, name)
        wait_for(lambda: self.is_enabled(button), f"{name!r} that can be pressed")
        self.atspi.Action.do_action(button, 0)

    def text(self, node):
        return self.atspi.Text.get_text(node, 0, -1)

    def write(self, node, text):
        assert self.atspi.EditableText.set_text_contents(node, text)

    def gone(self, role, name):
        wait_for(lambda: self.look(role, name) is None, f"no more {role} {name!r}")


def end(process):
    """Ends the application as a session does, and returns its exit status."""
    process.send_signal(signal.SIGTERM)
    return process.wait(PATIENCE)
