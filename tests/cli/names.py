#!/usr/bin/env python3
"""Names of any kind, and what bears a file's name and is none: for pictures, documents and PDFs, cleaned,
revealed and inspected. Wants NULLPRINT, the program, and what faults.py wants.
"""
import os
import shutil
import socket
import unittest

from faults import as_nobody
from scratch import ScratchTest

SAMPLES = {"jpg": "photo.jpg", "docx": "Report.docx", "pdf": "letter.pdf"}
UNREADABLE = {
    "jpg": "Couldn’t read the image.",
    "docx": "Couldn’t open the document (the file cannot be read).",
    "pdf": "Couldn’t open the PDF (it may be damaged or password-protected).",
}
UNWRITABLE = {
    "jpg": "Couldn’t write the cleaned image.",
    "docx": "Couldn’t save the cleaned document.",
    "pdf": "Couldn’t write the cleaned PDF.",
}
NOTES = {
    "jpg": "  ✓ No hidden metadata found — nothing to remove.",
    "docx": "  Couldn’t open this document.",
    "pdf": "  Couldn’t open this PDF (it may be damaged or password-protected).",
}
LONGEST = 255  # Bytes of a name, with nearly every file system.
STRANGE = (b"two  words", b" around ", b"it's \"quoted\"", b"two\nlines", b"\n", b"tab\tand\rreturn", b"-dash",
           b"--scrub", b".hidden", b"", b"..", b"a.b.c", b"~", b"$(HOME) `id` %s%n *?[x]", b"back\\slash", b"\xff\xfe",
           b"latin-\xe4", b"cut-\xe3\x81", "あいう".encode(), "e\u0301\u202egpj".encode(), "👩‍👩‍👧".encode(), b"\x1b[2J\x07",
           b"name (scrubbed)", b"(scrubbed 2)")


class Names(ScratchTest):
    def setUp(self):
        super().setUp()
        self.samples = {kind: (self.folder / name).read_bytes() for kind, name in SAMPLES.items()}
        for path in self.folder.iterdir():
            path.unlink()
        self.place = os.fsencode(self.folder)

    def there(self):
        return set(os.listdir(self.place))

    def put(self, kind, name):
        with open(self.place + b"/" + name, "wb") as file:
            file.write(self.samples[kind])

    def get(self, name):
        with open(self.place + b"/" + name, "rb") as file:
            return file.read()

    def entry(self, name, **options):
        """What is printed of a file that is cleaned, behind the argument as it was typed."""
        printed = self.run_program("--scrub", name, **options).stdout
        typed = b" " + os.fsencode(name) + b"\n        "
        word, told = printed.split(typed, 1)
        self.assertTrue(told.endswith(b"\n"))
        return word.decode().strip(), told[:-1]

    def expect_cleaned(self, kind, name, copy, **options):
        self.put(kind, name)
        before = self.there()
        self.assertEqual(self.entry(name, **options), ("CLEANED", b"-> " + self.place + b"/" + copy))
        self.assertEqual(self.there() - before, {copy})
        self.assertEqual(self.get(name), self.samples[kind])
        self.assertEqual(self.run_program("--inspect", copy).stdout, b"== " + copy + b" ==\n  clean\n")
        self.assertIn(b"  RESIDUE: ", self.run_program("--inspect", name).stdout)
        self.assertIn(b": " + name + b"\n----", self.run_program("--reveal", name).stdout)

    def expect_refused(self, kind, name, sentence, **options):
        before = self.there()
        self.assertEqual(self.entry(name, **options), ("FAILED", sentence[kind].encode()))
        self.assertEqual(self.there(), before)

    def expect_nothing_told(self, kind, name, **options):
        """It can be cleaned no more than it can be looked at."""
        self.expect_refused(kind, name, UNREADABLE, **options)
        last = os.fsencode(name).rstrip(b"/").rpartition(b"/")[2]
        self.assertEqual(self.run_program("--inspect", name, **options).stdout, b"== " + last + b" ==\n  clean\n")
        self.assertIn(NOTES[kind].encode(), self.run_program("--reveal", name, **options).stdout.splitlines())

    def test_strange_names(self):
        for kind in SAMPLES:
            for stem in STRANGE:
                extension = b"." + kind.encode()
                self.expect_cleaned(kind, stem + extension, stem + b" (scrubbed)" + extension)
                shutil.rmtree(self.folder)
                self.folder.mkdir()

    def test_the_longest_names(self):
        for kind in SAMPLES:
            extension = b"." + kind.encode()
            room = LONGEST - len(b" (scrubbed)" + extension)
            for letter in (b"n", "é".encode(), "あ".encode(), "👩".encode(), b"\xff"):
                stem = letter * (room // len(letter))
                stem += b"n" * (room - len(stem))
                self.expect_cleaned(kind, stem + extension, stem + b" (scrubbed)" + extension)
                # There is no room for a number.
                self.expect_refused(kind, stem + extension, UNWRITABLE)
                # Nor for a copy of what is longer, up to the longest.
                for more in (1, LONGEST - room - len(extension)):
                    name = stem + b"n" * more + extension
                    self.put(kind, name)
                    self.expect_refused(kind, name, UNWRITABLE)
                    self.assertIn(b"  RESIDUE: ", self.run_program("--inspect", name).stdout)
                # A name that no file can have.
                self.expect_nothing_told(kind, stem + b"n" * (LONGEST - room) + extension)

    def test_what_is_no_file(self):
        os.mkfifo(self.folder / "pipe")
        (self.folder / "folder").mkdir()
        (self.folder / "folder" / "kept").write_bytes(b"kept")
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(str(self.folder / "socket"))
        for kind in SAMPLES:
            for name in ("pipe", "folder", "socket"):
                (self.folder / name).rename(self.folder / f"{name}.{kind}")
            links = {"zero": "/dev/zero", "full": "/dev/full", "null": "/dev/null", "terminal": "/dev/ptmx",
                     "to-folder": f"folder.{kind}", "to-pipe": f"pipe.{kind}", "dangling": "nowhere",
                     "loop": f"loop.{kind}", "one": f"other.{kind}", "other": f"one.{kind}",
                     "standard-input": "/dev/stdin"}
            for name, target in links.items():
                (self.folder / f"{name}.{kind}").symlink_to(target)
            for name in ("pipe", "folder", "socket", "nowhere", *links):
                with self.subTest(name, kind=kind):
                    self.expect_nothing_told(kind, f"{name}.{kind}")
            self.expect_nothing_told(kind, f"folder.{kind}/")
            for name in ("pipe", "folder", "socket"):
                (self.folder / f"{name}.{kind}").rename(self.folder / name)

    def test_links_to_files(self):
        elsewhere = self.root / "elsewhere"
        elsewhere.mkdir()
        for kind in SAMPLES:
            original = elsewhere / f"original.{kind}"
            original.write_bytes(self.samples[kind])
            original.chmod(0o640)
            (self.folder / "folder").symlink_to(elsewhere)
            (self.folder / "second").symlink_to("first")
            (self.folder / "first").symlink_to(original)
            (self.folder / f"link.{kind}").symlink_to("second")
            self.assertEqual(self.entry(f"link.{kind}")[0], "CLEANED")
            copy = self.folder / f"link (scrubbed).{kind}"
            self.assertFalse(copy.is_symlink())
            self.assertEqual(copy.stat().st_mode & 0o777, 0o640)
            self.assertEqual([path.name for path in elsewhere.iterdir()], [original.name])
            # Through a folder's link, the copy is where the file is.
            self.assertEqual(self.entry(f"folder/original.{kind}")[0], "CLEANED")
            self.assertEqual(copy.read_bytes(), (elsewhere / f"original (scrubbed).{kind}").read_bytes())
            self.assertEqual(original.read_bytes(), self.samples[kind])
            for folder in (self.folder, elsewhere):
                for path in folder.iterdir():
                    path.unlink()

    def test_a_link_in_the_place_of_the_copy(self):
        for kind in SAMPLES:
            target = self.root / "target"
            self.put(kind, b"a." + kind.encode())
            (self.folder / f"a (scrubbed).{kind}").symlink_to(target)
            (self.folder / f"a (scrubbed 2).{kind}").mkdir()
            os.mkfifo(self.folder / f"a (scrubbed 3).{kind}")
            self.expect_cleaned(kind, b"a." + kind.encode(), b"a (scrubbed 4)." + kind.encode())
            self.assertFalse(target.exists())

    def test_without_permission(self):
        self.folder.chmod(0o777)
        for kind in SAMPLES:
            name = f"secret.{kind}"
            self.put(kind, name.encode())
            (self.folder / name).chmod(0o000)
            self.expect_nothing_told(kind, name, preexec_fn=as_nobody)
            (self.folder / name).chmod(0o644)
            inner = self.folder / "inner"
            inner.mkdir()
            shutil.copy(self.folder / name, inner)
            inner.chmod(0o555)
            self.expect_refused(kind, f"inner/{name}", UNWRITABLE, preexec_fn=as_nobody)
            inner.chmod(0o666)  # Nothing in it can be reached.
            self.expect_nothing_told(kind, f"inner/{name}", preexec_fn=as_nobody)
            inner.chmod(0o333)  # Nothing in it can be listed, which nobody needs.
            self.assertEqual(self.entry(f"inner/{name}", preexec_fn=as_nobody)[0], "CLEANED")
            inner.chmod(0o755)
            self.assertEqual(sorted(os.listdir(inner)), [f"secret (scrubbed).{kind}", name])
            shutil.rmtree(inner)

    def test_paths_that_are_too_long(self):
        step = "d" * 200
        for kind in SAMPLES:
            self.put(kind, b"a." + kind.encode())
            self.expect_nothing_told(kind, "/".join([step] * 30) + f"/a.{kind}")
            # Detours are left out before the system sees them.
            (self.folder / step).mkdir(exist_ok=True)
            self.assertEqual(self.entry("./" * 3000 + f"a.{kind}")[0], "CLEANED")
            self.assertEqual(self.entry(f"{step}//.///../a.{kind}")[0], "CLEANED")
            self.assertEqual(self.get(b"a (scrubbed)." + kind.encode()), self.get(b"a (scrubbed 2)." + kind.encode()))

    def test_a_folder_deeper_than_paths_are_long(self):
        # Forty folders are entered one by one: no path leads there.
        here = os.open(self.folder, os.O_RDONLY)
        for _ in range(40):
            os.mkdir("d" * 200, dir_fd=here)
            inner = os.open("d" * 200, os.O_RDONLY, dir_fd=here)
            os.close(here)
            here = inner
        self.addCleanup(os.close, here)
        for kind in SAMPLES:
            name = f"a.{kind}"
            with os.fdopen(os.open(name, os.O_WRONLY | os.O_CREAT, dir_fd=here), "wb") as file:
                file.write(self.samples[kind])
            entry = self.entry(name, cwd=None, preexec_fn=lambda: os.fchdir(here))
            copy = f"a (scrubbed).{kind}"
            self.assertEqual(entry, ("CLEANED", f"-> /proc/self/cwd/{copy}".encode()))
            self.assertEqual(sorted(os.listdir(here)), [copy, name])
            for each in (copy, name):
                os.unlink(each, dir_fd=here)

    def test_a_folder_that_is_gone(self):
        gone = self.root / "gone"
        gone.mkdir()
        here = os.open(gone, os.O_RDONLY)
        self.addCleanup(os.close, here)
        gone.rmdir()
        for kind in SAMPLES:
            self.expect_nothing_told(kind, f"a.{kind}", cwd=None, preexec_fn=lambda: os.fchdir(here))
            # Files with a whole path do not mind.
            self.put(kind, b"a." + kind.encode())
            word, told = self.entry(str(self.folder / f"a.{kind}"), cwd=None, preexec_fn=lambda: os.fchdir(here))
            self.assertEqual((word, told.decode()), ("CLEANED", f"-> {self.folder}/a (scrubbed).{kind}"))

    def test_slashes_at_the_end(self):
        for kind in SAMPLES:
            self.put(kind, b"a." + kind.encode())
            self.assertEqual(self.entry(f"a.{kind}///"), ("CLEANED", b"-> %s/a (scrubbed).%s" % (self.place, kind.encode())))
            self.expect_nothing_told(kind, f"a.{kind}/b.{kind}")

    def test_names_of_nothing(self):
        for name in ("", "/", "//", ".", "..", "./..", "/..", "/dev/null"):
            word, told = self.entry(name)
            self.assertEqual(word, "UNSUPPORTED")
            self.assertTrue(told.startswith("Unsupported file type “.”.".encode()), told)
            self.assertIn(b"  (no inspector for .)\n", self.run_program("--inspect", name).stdout)
            self.assertIn("“.” isn’t a supported type".encode(), self.run_program("--reveal", name).stdout)
        self.assertEqual(self.there(), set())


if __name__ == "__main__":
    unittest.main()
