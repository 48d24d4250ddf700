#!/usr/bin/env python3
"""The manual page, the files for the desktop, and what the documents say twice or link to.

Tools that are not there are left out.
"""
import pathlib
import plistlib
import re
import shutil
import subprocess
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
DESKTOP = ROOT / "packaging" / "desktop"
ID = "org.nullprint.Nullprint"
VERSION = re.search(r"^project\(nullprint VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]


def output_of(*command):
    run = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    return run.returncode, run.stdout + run.stderr


def needs(tool):
    return unittest.skipUnless(shutil.which(tool), f"no {tool}")


def keys(path, group):
    """The keys of a group of a desktop entry, without opinions on what is in them."""
    text = path.read_text().split(f"[{group}]\n", 1)[1].split("\n[", 1)[0]
    return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)


class Manual(unittest.TestCase):
    PAGE = ROOT / "docs" / "nullprint.1"

    @needs("mandoc")
    def test_it_is_well_formed(self):
        status, said = output_of("mandoc", "-T", "lint", "-W", "warning", self.PAGE)
        self.assertEqual((status, said), (0, ""))

    @needs("mandoc")
    def test_every_option_is_in_it(self):
        helped = (ROOT / "tests/cli/help.stdout").read_text()
        page = output_of("mandoc", "-T", "ascii", "-mdoc", self.PAGE)[1]
        page = re.sub(".\b", "", page)
        for option in {*re.findall(r"--\w+", helped), "--help", "-h"}:
            self.assertRegex(page, rf"(?m)^ *(.*, )?{option}\b", option)

    def test_it_cleans_a_tree_as_the_readme_does(self):
        readme = (ROOT / "README.md").read_text()
        shown = re.search(r"^```sh\n(find Pictures .*?)^```$", readme, re.M | re.S)[1]
        page = self.PAGE.read_text().replace("\\e", "\\")
        shown_here = re.search(r"^\$ (find Pictures .*?)^\.Ed$", page, re.M | re.S)[1]
        self.assertEqual(shown_here, shown)
        complaints = re.search(r"`(grep -A 1 [^`]*cleaned\.txt)`", readme)[1]
        self.assertIn(f".Dl $ {complaints}\n", page)


class Version(unittest.TestCase):
    def test_it_is_the_newest_of_the_changelog(self):
        changelog = (ROOT / "CHANGELOG.md").read_text()
        self.assertEqual(re.search(r"^## (\S+)", changelog, re.M)[1], VERSION)

    def test_it_is_the_newest_release_of_the_application(self):
        metainfo = xml.etree.ElementTree.parse(DESKTOP / f"{ID}.metainfo.xml")
        self.assertEqual(metainfo.find("releases/release").get("version"), VERSION)


class Entries(unittest.TestCase):
    LAUNCHER = DESKTOP / f"{ID}.desktop"
    OPEN_WITH = DESKTOP / f"zz-{ID}.open.desktop"

    @needs("desktop-file-validate")
    def test_they_are_valid(self):
        entries = [self.LAUNCHER, self.OPEN_WITH]
        self.assertEqual(output_of("desktop-file-validate", *entries), (0, ""))

    @needs("appstreamcli")
    def test_the_description_for_software_centres_is_valid(self):
        status, said = output_of(
            "appstreamcli", "validate", "--no-net", "--no-color", DESKTOP / f"{ID}.metainfo.xml")
        self.assertEqual(status, 0, said)
        self.assertNotRegex(said, r"(?m)^[EWI]:")

    def test_nullprint_is_never_the_first_choice_for_a_file(self):
        self.assertNotIn("MimeType", keys(self.LAUNCHER, "Desktop Entry"))
        self.assertGreater(self.OPEN_WITH.name, "z")  # Of several the first name is taken.

    def test_pictures_pdf_and_office_documents_can_be_opened_with_it(self):
        types = keys(self.OPEN_WITH, "Desktop Entry")["MimeType"].split(";")
        for each in ("image/jpeg", "image/heif", "image/heic", "application/pdf",
                     "application/vnd.ms-word.document.macroEnabled.12"):
            self.assertIn(each, types)
        self.assertEqual(len(types), len(set(types)))


class Privacy(unittest.TestCase):
    DOCUMENT = (ROOT / "docs/privacy.md").read_text()

    def test_the_switch_is_one(self):
        shown = re.search(r"```xml\n(.*?)```", self.DOCUMENT, re.S)[1]
        self.assertEqual(plistlib.loads(shown.encode()), {"disableAnalytics": True})
        self.assertIn('"disableAnalytics"', (ROOT / "app/Heartbeat.cpp").read_text())

    def test_every_field_that_is_sent_is_told(self):
        told = re.findall(r"^\| `(\w+)` \|", self.DOCUMENT, re.M)
        code = (ROOT / "app/Heartbeat.cpp").read_text()
        self.assertEqual(told, ["id", "v", "os", "opens", "fixes", "app"])
        for field in told:
            self.assertIn(f'"{field}"', code)

    def test_a_build_sends_nothing_unless_it_is_given_an_address(self):
        self.assertRegex((ROOT / "app/CMakeLists.txt").read_text(),
                         r'set\(NULLPRINT_HEARTBEAT_ENDPOINT "" CACHE')


class Links(unittest.TestCase):
    def test_documents_link_to_what_is_there(self):
        tracked = [path for path in ROOT.rglob("*.md")
                   if not path.relative_to(ROOT).parts[0].startswith(("build", "."))]
        self.assertGreater(len(tracked), 20)
        for document in tracked:
            for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", document.read_text()):
                if "://" not in target:
                    self.assertTrue((document.parent / target).exists(), f"{document}: {target}")


if __name__ == "__main__":
    unittest.main()
