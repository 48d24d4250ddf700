#!/usr/bin/env python3
"""The menu-bar application as its users meet it: the program of NULLPRINT on a small desktop."""
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest
import zipfile

from desktop import NAME, PATIENCE, PROGRAM, Desktop, Widgets, end, run_inside, wait_for

CHECK_TITLE = "What’s hidden in these files"


class OnADesktop(unittest.TestCase):
    tray = True
    kind = Desktop

    def setUp(self):
        self.desktop = self.enterContext(self.kind(tray=self.tray))
        self.widgets = Widgets()

    def launch(self, *words):
        self.application = self.desktop.launch(*words)
        self.desktop.wait_until_it_runs()

    def tearDown(self):
        if getattr(self, "application", None) and self.application.poll() is None:
            self.assertEqual(end(self.application), 0)
        if hasattr(self.desktop, "errors"):
            self.assertEqual(self.desktop.said(), "")

    def uri(self, path):
        return "file://" + str(path).replace(" ", "%20")


class FromTheTray(OnADesktop):
    def test_checks_cleans_and_saves(self):
        names = ["Report.docx", "photo.jpg", "letter.pdf", "notes.txt"]
        for name in names:
            self.desktop.sample(name)
        originals = {name: (self.desktop.files / name).read_bytes() for name in names}
        self.launch()
        self.desktop.click_icon()
        self.desktop.press_in_panel("Check Files…")
        entry = self.widgets.find("text", "File name:")
        self.assertIsNone(self.desktop.panel())
        self.widgets.write(entry, " ".join(f'"{self.desktop.files / name}"' for name in names))
        self.widgets.press("Check")

        window = self.widgets.find("dialog", CHECK_TITLE)
        report = self.widgets.find("text")
        wait_for(lambda: "notes.txt" in self.widgets.text(report), "the whole report")
        text = self.widgets.text(report)
        places = [text.index(name) for name in names]
        self.assertEqual(places, sorted(places))
        self.assertIn("Camera / device: ", text)
        self.assertIn("Author", text)
        self.assertEqual(self.desktop.defaults()["totalChecked"], 4)
        self.assertNotIn("totalCleaned", self.desktop.defaults())

        self.widgets.press("Save Report…")
        entry = self.widgets.find("text", "File name:")
        self.assertEqual(self.widgets.text(entry), "Nullprint report.txt")
        self.widgets.write(entry, str(self.desktop.files / "report.txt"))
        self.widgets.press("Save")
        saved = wait_for(lambda: (self.desktop.files / "report.txt").exists() and
                         (self.desktop.files / "report.txt").read_text(), "the saved report")
        self.assertTrue(saved.startswith("Nullprint — hidden data report\n"))
        for name in names:
            self.assertIn(name, saved)

        self.widgets.press("Clean Now")
        copies = ["Report (scrubbed).docx", "photo (scrubbed).jpg", "letter (scrubbed).pdf"]
        wait_for(lambda: self.desktop.defaults().get("totalCleaned") == 3, "the counter")
        for name in copies:
            self.assertTrue((self.desktop.files / name).exists(), name)
        self.assertFalse(self.widgets.is_enabled(
            self.widgets.find("push button", "Reveal in Finder")))
        self.assertIn("✓ Cleaned 3 files. ", wait_for(
            lambda: "✓" in self.widgets.text(report) and self.widgets.text(report), "the summary"))
        defaults = self.desktop.defaults()
        self.assertEqual((defaults["totalChecked"], defaults["ctCleans"],
                          defaults["ctPanelOpens"]), (4, 1, 1))
        self.assertIn("lastClean", defaults)
        wait_for(lambda: "] Cleaned 3 file(s).\n" in self.desktop.log(), "the line in the log")
        self.assertIn("] Finder services enabled in context menu.\n", self.desktop.log())
        for name in names:
            self.assertEqual((self.desktop.files / name).read_bytes(), originals[name])
        self.assertEqual(sorted(path.name for path in self.desktop.files.iterdir()),
                         sorted(names + copies + ["report.txt"]))
        listing = subprocess.run([PROGRAM, "--inspect", self.desktop.files / copies[1]],
                                 capture_output=True, text=True, check=True).stdout
        self.assertIn("clean", listing)

        self.widgets.press("Close")
        self.widgets.gone("dialog", CHECK_TITLE)
        self.desktop.click_icon()
        self.desktop.press_in_panel("Check Files…")
        self.widgets.press("Cancel")
        self.widgets.gone("text", "File name:")
        self.desktop.click_icon()
        self.desktop.press_in_panel("Quit Nullprint")
        self.assertEqual(self.application.wait(PATIENCE), 0)
        # Nothing of where the files were is written down.
        for kept in filter(pathlib.Path.is_file, (self.desktop.root / "config_home").rglob("*")):
            self.assertNotIn(str(self.desktop.root).encode(), kept.read_bytes(), kept)

    def test_opens_and_closes_the_panel(self):
        self.launch()
        icon = self.desktop.icon()
        for close in (lambda: self.desktop.click(*icon), lambda: self.desktop.key("Escape"),
                      lambda: self.desktop.click(200, 700)):
            self.desktop.click(*icon)
            x, y, width, height = wait_for(self.desktop.panel, "the panel")
            self.assertTrue(0 <= x and x + width <= 1280 and 28 <= y and y + height <= 800)
            close()
            wait_for(lambda: not self.desktop.panel(), "the panel to be gone")
            time.sleep(0.4)
            self.assertIsNone(self.desktop.panel())
        self.assertEqual(self.desktop.defaults()["ctPanelOpens"], 3)

    def test_shows_the_panel_to_assistive_technology(self):
        self.launch()
        self.desktop.click_icon()
        panel = self.widgets.find("frame", "Nullprint")
        self.assertIsNotNone(self.desktop.panel())
        self.assertTrue(self.widgets.has(panel, "ACTIVE"))
        self.assertEqual(panel.get_parent(), self.widgets.application())
        self.widgets.find("label", "See what your files reveal")
        for role, name in (("push button", "Check Files…"), ("push button", "Open Drop Window…"),
                           ("check box", "Open at Login"), ("push button", "Quit Nullprint")):
            widget = self.widgets.find(role, name)
            self.desktop.key("Tab")
            wait_for(lambda widget=widget: self.widgets.has(widget, "FOCUSED"),
                     f"the focus on {name!r}")
        self.desktop.key("Escape")
        self.widgets.gone("frame", "Nullprint")
        # Until the display knows as well, clicks are the popup's.
        wait_for(lambda: self.desktop.panel() is None, "the end of the panel")
        self.desktop.click_icon()
        self.widgets.find("frame", "Nullprint")
        self.widgets.press("Quit Nullprint")
        self.assertEqual(self.application.wait(PATIENCE), 0)

    def test_opens_at_login_until_told_otherwise(self):
        autostart = self.desktop.root / "config_home" / "autostart" / f"{NAME}.desktop"
        self.launch()
        wait_for(autostart.exists, "the entry that opens it at login")
        self.desktop.click_icon()
        self.desktop.press_in_panel("Open at Login")
        wait_for(lambda: not autostart.exists(), "the entry to be gone")
        self.assertEqual(end(self.application), 0)
        self.launch()
        self.desktop.icon()
        self.assertFalse(autostart.exists())

    def test_finds_a_tray_that_comes_back(self):
        self.launch()
        self.desktop.icon()
        tray = self.desktop.processes[2]
        tray.terminate()
        tray.wait(PATIENCE)
        self.desktop.start_tray()
        self.desktop.click_icon()
        wait_for(self.desktop.panel, "the panel")


class WithoutATray(OnADesktop):
    tray = False

    def closes_panel(self):
        self.desktop.key("Escape")  # Lost while the window has not the keyboard yet.
        time.sleep(0.2)
        return not self.desktop.panel()

    def test_has_a_window(self):
        self.launch()
        self.widgets.find("push button", "Check Files…")
        self.widgets.find("label", "Beta 2.0 · Checked 0 · Cleaned 0 · Last clean: never")
        self.assertIn("Nullprint", self.desktop.titles())
        self.desktop.key("Escape")
        self.widgets.gone("push button", "Check Files…")
        self.assertIsNone(self.application.poll())
        # Starting it again shows it again.
        self.assertEqual(subprocess.run([PROGRAM], timeout=PATIENCE, check=False).returncode, 0)
        self.widgets.find("push button", "Check Files…")

    def test_has_a_window_that_stays(self):
        self.launch()
        self.widgets.find("push button", "Check Files…")

        def place():
            return self.desktop.panel() or (0, 0, 0, 0)

        def is_in_the_middle():
            x, y, width, height = place()
            return abs(x + width / 2 - 640) < 20 and abs(y + height / 2 - 400) < 40

        wait_for(is_in_the_middle, "a panel in the middle")
        self.widgets.press("Check Files…")
        self.widgets.find("text", "File name:")
        self.widgets.press("Cancel")
        self.widgets.gone("text", "File name:")
        self.assertTrue(is_in_the_middle(), place())
        for _ in range(2):
            wait_for(self.closes_panel, "the panel to be gone")
            subprocess.run([PROGRAM], timeout=PATIENCE, check=True)
            wait_for(is_in_the_middle, "the panel in its place")

    def test_ends_with_its_window_where_there_is_no_bus(self):
        bus = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = "disabled:"
        try:
            self.application = self.desktop.launch()
        finally:
            os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus
        wait_for(self.desktop.panel, "the panel")
        wait_for(self.closes_panel, "the panel to be gone")
        self.assertEqual(self.application.wait(PATIENCE), 0)

    def test_stays_out_of_the_way_at_login(self):
        self.launch("--login-item")
        time.sleep(4)
        self.assertIsNone(self.widgets.look("push button", "Check Files…"))
        self.assertEqual(
            subprocess.run([PROGRAM, "--login-item"], timeout=PATIENCE, check=False).returncode, 0)
        self.desktop.call("Activate", "{}")
        self.widgets.find("push button", "Check Files…")
        self.widgets.press("Quit Nullprint")
        self.assertEqual(self.application.wait(PATIENCE), 0)


class SmallDesktop(Desktop):
    screen = "640x384x24"


class OnASmallScreen(OnADesktop):
    kind = SmallDesktop

    def test_windows_fit(self):
        photo = self.desktop.sample("photo.jpg")
        autostart = self.desktop.root / "config_home" / "autostart" / f"{NAME}.desktop"
        self.launch()
        wait_for(autostart.exists, "the entry that opens it at login")
        self.desktop.click_icon()
        x, y, width, height = wait_for(self.desktop.panel, "the panel")
        self.assertTrue(0 <= x and x + width <= 640 and 0 <= y and y + height <= 384)
        self.desktop.press_in_panel("Open at Login")  # Below the edge.
        wait_for(lambda: not autostart.exists(), "the switch to be off")
        self.desktop.key("Escape")
        self.desktop.call("Open", f"['file://{photo}']", "{}")
        window = self.widgets.find("dialog", CHECK_TITLE)
        button = self.widgets.find("push button", "Close")

        def fits():
            for widget in (window, button):
                area = widget.get_extents(self.widgets.atspi.CoordType.SCREEN)
                if not (0 <= area.x and area.x + area.width <= 640 and
                        0 <= area.y and area.y + area.height <= 384):
                    return False
            return True

        wait_for(fits, "a window that fits")


class FromElsewhere(OnADesktop):
    def test_serves_both_services(self):
        photo = self.desktop.sample("photo.jpg", "a b%41&'.jpg")
        old = self.desktop.sample("Old.doc")
        self.launch()
        shown = f"[<['file://{photo.parent}/a%20b%2541&%27.jpg']>]"
        self.desktop.call("ActivateAction", "showMetadata", shown, "{}")
        self.widgets.find("dialog", CHECK_TITLE)
        self.assertIn("a b%41&'.jpg", self.widgets.text(self.widgets.find("text")))
        self.widgets.press("Close")
        both = shown.replace("']>]", f"', 'file://{old}']>]")
        self.desktop.call("ActivateAction", "scrubMetadata", both, "{}")
        self.widgets.find("label", "Cleaned 1 file")
        self.assertTrue((self.desktop.files / "a b%41&' (scrubbed).jpg").exists())
        information = wait_for(lambda: next(
            (node.get_name() for node in self.widgets.all()
             if (node.get_name() or "").startswith("Cleaned copies were saved")), None),
            "the informative text")
        self.assertTrue(information.endswith(
            "\n\nSkipped:\n• Old.doc — Legacy “.doc” format isn’t supported. Open it in the Office "
            "app and re-save as “.docx”, then scrub that."), information)
        self.widgets.press("OK")
        self.assertEqual(self.desktop.shown.read_text(),
                         f"file://{photo.parent}/a%20b%2541&'%20(scrubbed).jpg\n")
        self.assertEqual(self.desktop.defaults()["totalChecked"], 3)
        wait_for(lambda: "] Cleaned 1 file(s) via Finder service.\n" in self.desktop.log(), "the log")

    def test_is_one_application(self):
        self.desktop.sample("photo.jpg")
        self.launch()
        second = subprocess.run([PROGRAM, "photo.jpg"], cwd=self.desktop.files,
                                capture_output=True, timeout=PATIENCE, check=False)
        self.assertEqual((second.returncode, second.stdout, second.stderr), (0, b"", b""))
        self.widgets.find("dialog", CHECK_TITLE)
        self.assertIn("photo.jpg", self.widgets.text(self.widgets.find("text")))
        scrub = subprocess.run([PROGRAM, "--service", "scrubMetadata", "photo.jpg"],
                               cwd=self.desktop.files, capture_output=True, timeout=PATIENCE,
                               check=False)
        self.assertEqual((scrub.returncode, scrub.stderr), (0, b""))
        self.widgets.find("label", "Cleaned 1 file")
        self.widgets.press("OK")

    def test_opens_what_it_is_started_with(self):
        self.desktop.sample("photo.jpg")
        self.launch("--Scrub", "photo.jpg", "missing.jpg")
        self.widgets.find("dialog", CHECK_TITLE)
        self.assertEqual(self.desktop.defaults()["totalChecked"], 1)

    def test_is_started_by_the_bus(self):
        photo = self.desktop.sample("photo.jpg")
        subprocess.run(["dbus-update-activation-environment", "DISPLAY",
                        "QT_LINUX_ACCESSIBILITY_ALWAYS_ON"], check=True)
        self.desktop.call("Open", f"['file://{photo}']", "{}")
        self.widgets.find("dialog", CHECK_TITLE)
        process = int(self.desktop.shell(
            "gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus "
            f"--method org.freedesktop.DBus.GetConnectionUnixProcessID {NAME}"
        ).split()[1].rstrip(",)"))
        os.kill(process, 15)
        wait_for(lambda: not self.desktop.runs(), "its end")

    def test_ends_in_the_middle_of_its_work(self):
        for number in range(300):
            self.desktop.sample("photo.jpg", f"{number}.jpg")
        uris = ", ".join(f"'file://{self.desktop.files}/{number}.jpg'" for number in range(300))
        self.launch()
        self.desktop.call("ActivateAction", "scrubMetadata", f"[<[{uris}]>]", "{}")
        wait_for(lambda: list(self.desktop.files.glob("*(scrubbed)*")), "the first copy")
        self.assertEqual(end(self.application), 0)
        sizes = [path.stat().st_size for path in self.desktop.files.glob("*(scrubbed).jpg")]
        self.assertEqual(len(set(sizes)), 1)
        self.assertEqual(self.desktop.defaults()["totalCleaned"], len(sizes))
        self.assertIn(f"] Cleaned {len(sizes)} file(s) via Finder service.\n", self.desktop.log())
        self.assertEqual(list(self.desktop.files.glob(".*")), [])


    def test_ends_at_once_when_it_is_told_twice(self):
        document = self.desktop.files / "Book.docx"
        chapter = b"<w:p><w:r><w:t>It goes on and on.</w:t></w:r></w:p>" * 1_000_000
        with zipfile.ZipFile(document, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as package:
            package.writestr("[Content_Types].xml", "<Types/>")
            for number in range(8):
                package.writestr(f"word/chapter{number}.xml", chapter)
        workspaces = pathlib.Path(tempfile.mkdtemp(dir=self.desktop.root))
        os.environ["TMPDIR"] = str(workspaces)
        self.addCleanup(os.environ.pop, "TMPDIR")
        self.launch()
        self.desktop.call("ActivateAction", "scrubMetadata", f"[<['file://{document}']>]", "{}")
        wait_for(lambda: list(workspaces.glob("nullprint-*")), "the work")
        self.application.terminate()
        wait_for(lambda: not self.desktop.runs(), "a name for the next application")
        self.assertIsNone(self.application.poll())  # It finishes the document.
        self.application.terminate()
        self.assertEqual(self.application.wait(PATIENCE), -signal.SIGTERM)
        self.assertEqual(list(self.desktop.files.iterdir()), [document])
        for workspace in workspaces.glob("nullprint-*"):
            self.assertEqual(list(workspace.iterdir()), [])


class WithoutADisplay(unittest.TestCase):
    def test_says_one_sentence(self):
        for display in ({}, {"DISPLAY": ":987"}):
            environment = {key: value for key, value in os.environ.items() if key != "DISPLAY"}
            run = subprocess.run([PROGRAM], env={**environment, **display}, capture_output=True,
                                 timeout=PATIENCE, check=False)
            self.assertEqual(run.returncode, 1)
            self.assertEqual(run.stdout, b"")
            self.assertEqual(run.stderr.decode(),
                             "Nullprint: there is no display for the menu-bar application; see "
                             "“nullprint --help” for the command line.\n")


if __name__ == "__main__":
    run_inside()
    unittest.main()
