#!/usr/bin/env python3
"""What `cmake --install` puts where, and whether the program works from there.

Wants NULLPRINT, the program in the folder where it was built.
"""
import ast
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = pathlib.Path(os.environ["NULLPRINT"]).resolve()
BUILD = PROGRAM.parent
ROOT = pathlib.Path(__file__).resolve().parents[2]
FILES = ROOT / "tests/cli/files"
ID = "org.nullprint.Nullprint"
SERVICES = {
    "showMetadata": "Show Hidden Metadata (Nullprint)",
    "scrubMetadata": "Scrub Metadata (Nullprint)",
}

COMMAND_LINE = {
    "bin/nullprint",
    "lib/nullprint/nullprint-pdf",
    "share/bash-completion/completions/nullprint",
    "share/fish/vendor_completions.d/nullprint.fish",
    "share/man/man1/nullprint.1",
    "share/zsh/site-functions/_nullprint",
}
MENU_ENTRIES = (
    "Thunar/sendto/nullprint-{}.desktop",
    "file-manager/actions/nullprint-{}.desktop",
    "kio/servicemenus/nullprint-{}.desktop",
    "nautilus-python/extensions/nullprint_{}.py",
    "nemo/actions/nullprint-{}.nemo_action",
)
DESKTOP = {
    "lib/nullprint/nullprint-app.so",
    f"share/applications/{ID}.desktop",
    f"share/applications/zz-{ID}.open.desktop",
    f"share/dbus-1/services/{ID}.service",
    f"share/icons/hicolor/scalable/apps/{ID}.svg",
    f"share/icons/hicolor/symbolic/apps/{ID}-symbolic.svg",
    f"share/metainfo/{ID}.metainfo.xml",
    *(f"share/{entry.format(service)}" for entry in MENU_ENTRIES for service in SERVICES),
}


class Installed(unittest.TestCase):
    component = ""

    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="nullprint-install-")
        self.addCleanup(holder.cleanup)
        self.prefix = pathlib.Path(holder.name).resolve() / "a prefix"
        self.install(self.component)

    def install(self, component):
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", self.prefix, "--component", component],
            check=True, capture_output=True)

    def files(self):
        return {str(path.relative_to(self.prefix)) for path in self.prefix.rglob("*") if path.is_file()}


class CommandLine(Installed):
    component = "command-line"

    def test_it_consists_of_these_files(self):
        self.assertEqual(self.files(), COMMAND_LINE)

    def test_it_cleans_a_document_from_there(self):
        shutil.copy(FILES / "letter.pdf", self.prefix)
        run = subprocess.run(
            [self.prefix / "bin/nullprint", "--scrub", "letter.pdf"], cwd=self.prefix,
            capture_output=True, text=True, check=True)
        self.assertEqual(run.stdout.split()[0], "CLEANED")
        self.assertTrue((self.prefix / "letter (scrubbed).pdf").is_file())


@unittest.skipUnless((BUILD / "nullprint-app.so").exists(), "built without Qt")
class Desktop(Installed):
    component = "desktop"

    def read(self, name):
        return (self.prefix / "share" / name).read_text()

    def test_it_consists_of_these_files(self):
        self.assertEqual(self.files(), DESKTOP)

    def test_the_bus_finds_the_program(self):
        service = self.read(f"dbus-1/services/{ID}.service")
        self.assertRegex(service, r"\nExec=/.*/bin/nullprint --login-item\n")

    def test_menu_entries_name_and_call_the_services(self):
        for service, title in SERVICES.items():
            for entry in MENU_ENTRIES:
                text = self.read(entry.format(service))
                self.assertIn(title, text, entry)
                self.assertRegex(text, rf"nullprint\"?,? \"?--service\"?,? \"?{service}\b", entry)
                self.assertNotIn("@", text, entry)
                self.assertNotIn("Written by", text, entry)

    def test_services_are_those_of_the_application(self):
        known = (ROOT / "app/FinderServices.h").read_text()
        for service, title in SERVICES.items():
            self.assertRegex(known, rf'"{service}"|{service}Service')
            self.assertIn(f'"{title}"', known)

    def test_the_extensions_of_nautilus_are_python(self):
        for service in SERVICES:
            ast.parse(self.read(f"nautilus-python/extensions/nullprint_{service}.py"))

    def test_the_icon_of_one_colour_is_legible_where_a_tray_does_not_recolour_it(self):
        text = (self.prefix / f"share/icons/hicolor/symbolic/apps/{ID}-symbolic.svg").read_text()
        colors = re.findall(r'fill="([^"]*)"', text)
        self.assertEqual(len(colors), 1)
        parts = [int(colors[0][place:place + 2], 16) / 255 for place in (1, 3, 5)]
        parts = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
                 for part in parts]
        luminance = 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]
        self.assertGreater((luminance + 0.05) / 0.05, 3)  # On black.
        self.assertGreater(1.05 / (luminance + 0.05), 3)  # On white.

    @unittest.skipUnless(shutil.which("desktop-file-validate"), "no desktop-file-validate")
    def test_entries_of_send_to_are_valid(self):
        entries = list((self.prefix / "share/Thunar/sendto").iterdir())
        run = subprocess.run(
            ["desktop-file-validate", *entries], capture_output=True, text=True, check=False)
        self.assertEqual((run.returncode, run.stdout), (0, ""))


del Installed  # It is no test by itself.

if __name__ == "__main__":
    unittest.main()
