#!/usr/bin/env python3
"""What the program is run in must not matter: terminal or pipe, language, desktop.

Wants NULLPRINT, the program.
"""
import os
import pty
import select
import shutil
import subprocess
import time
import unittest

from scratch import NO_WORKER, PDF_WORKER, PROGRAM, SECONDS, ScratchTest

ARTIST = b"Ada\x1b]0;owned\x07\x7f\xc2\x9b\tTab"
SHOWN = "Ada�]0;owned���\tTab".encode()


class Surroundings(ScratchTest):
    def on_a_terminal(self, *arguments):
        terminal, end = pty.openpty()
        run = subprocess.Popen([self.program, *arguments], cwd=self.folder, stdout=end,
                               stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
        os.close(end)
        printed = b""
        while True:
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # The program has gone.
                break
            if not piece:
                break
            printed += piece
        os.close(terminal)
        self.assertEqual(run.communicate(timeout=60)[1], b"")
        self.assertEqual(run.returncode, 0)
        return printed.replace(b"\r\n", b"\n")

    def test_a_terminal_gets_no_control_characters(self):
        for option, line in (("--reveal", "  👤 Author: "), ("--inspect", "  RESIDUE: TIFF Artist=")):
            with self.subTest(option=option):
                printed = self.on_a_terminal(option, "escape.jpg")
                self.assertIn(line.encode() + SHOWN + b"\n", printed)
                self.assertNotIn(b"\x1b", printed)

    def test_a_pipe_gets_the_exact_bytes(self):
        for option in ("--reveal", "--inspect"):
            self.assertIn(ARTIST + b"\n", self.run_program(option, "escape.jpg").stdout)

    def test_a_file_gets_the_exact_bytes(self):
        path = self.root / "report.txt"
        with path.open("wb") as report:
            subprocess.run([self.program, "--reveal", "escape.jpg"], cwd=self.folder, stdout=report,
                           check=True)
        self.assertIn(ARTIST + b"\n", path.read_bytes())

    def test_a_file_name_does_not_drive_the_terminal(self):
        name = "esc\x1b[2J.png"
        shutil.copy(self.folder / "plain.png", self.folder / name)
        printed = self.on_a_terminal("--scrub", name)
        self.assertEqual(
            printed.decode(),
            f"CLEANED    esc�[2J.png\n        -> {self.folder}/esc�[2J (scrubbed).png\n")
        self.assertIn("esc\x1b[2J (scrubbed).png", self.names())

    def test_help_on_a_terminal_is_the_help(self):
        self.assertEqual(self.on_a_terminal("--help"), self.run_program("--help").stdout)

    def test_language_changes_nothing(self):
        # A locale of our own making: whether the system has German installed does not matter.
        subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", self.root / "de_DE.UTF-8"],
                       check=True, capture_output=True)
        german = {"LC_ALL": "de_DE.UTF-8", "LOCPATH": str(self.root)}
        comma = subprocess.run(["locale", "decimal_point"], env={**os.environ, **german}, check=True,
                               capture_output=True).stdout
        self.assertEqual(comma, b",\n")
        for option in ("--reveal", "--inspect", "--selftest", "--help"):
            plain = self.run_program(option, "photo.jpg", env={"LC_ALL": "C"}).stdout
            self.assertTrue(plain)
            self.assertEqual(self.run_program(option, "photo.jpg", env=german).stdout, plain)
        reveal = self.run_program("--reveal", "photo.jpg", env=german).stdout
        self.assertIn(b"GPS 48.85837, 2.29448", reveal)

    def test_an_empty_environment_is_enough(self):
        self.assertEqual(self.run_program("--selftest", env={}).returncode, 0)
        self.assertEqual(self.scrub("photo.jpg", env={}), "CLEANED")

    def test_a_reader_that_is_slow_gets_everything(self):
        files = ["plain.png"] * 3000
        reading, writing = os.pipe()
        os.set_blocking(writing, False)
        run = subprocess.Popen([self.program, "--inspect", *files], cwd=self.folder, stdout=writing)
        while select.select([], [writing], [], 0)[1]:  # Until the pipe is full.
            self.assertIsNone(run.poll())
            time.sleep(0.01)
        os.close(writing)
        with open(reading, "rb") as pipe:
            printed = pipe.read()
        self.assertEqual(run.wait(timeout=SECONDS), 0)
        self.assertEqual(printed, b"== plain.png ==\n  clean\n" * len(files))

    def test_without_its_helper_it_says_that_it_can_open_no_document(self):
        (self.root / PDF_WORKER).unlink()
        for option in ("--scrub", "--inspect", "--reveal"):
            run = self.run_program(option, "plain.png", "none.PDF", "more.pdf", complaint=NO_WORKER)
            self.assertEqual(run.returncode, 0)
            self.assertEqual(self.run_program(option, "plain.png").returncode, 0)

    def test_a_temporary_folder_that_is_missing_is_made(self):
        missing = self.root / "missing" / "folder"
        run = self.run_program("--selftest", env={"TMPDIR": str(missing)})
        self.assertEqual(run.returncode, 0)
        self.assertEqual(list(missing.iterdir()), [])

    def test_a_temporary_folder_that_cannot_be_made_fails_the_self_test(self):
        run = self.run_program("--selftest", env={"TMPDIR": str(self.folder / "photo.jpg")})
        self.assertEqual(run.returncode, 1)
        self.assertEqual(
            run.stdout.decode().splitlines()[3:],
            ["  FAIL ✗  test image written with author + GPS", "", "✗ CHECKS FAILED"])

    def test_no_windowing_library_is_loaded(self):
        needed = subprocess.run(["ldd", PROGRAM], check=True, capture_output=True).stdout.decode()
        self.assertIn("libc.so", needed)
        for library in ("libQt", "libX11", "libxcb", "libwayland", "libGL"):
            self.assertNotIn(library, needed)

    def start_application(self):
        run = subprocess.run([self.program], capture_output=True, check=False, timeout=SECONDS,
                             env={"PATH": os.environ["PATH"]})
        self.assertEqual((run.returncode, run.stdout), (1, b""))
        return run.stderr.decode()

    def test_without_its_module_there_is_no_application(self):
        self.assertEqual(
            self.start_application(),
            "Nullprint: this installation has no menu-bar application (nullprint-app.so: cannot "
            "open shared object file: No such file or directory); see “nullprint --help” for the "
            "command line.\n")
        module = self.root / "nullprint-app.so"
        module.write_text("no module")
        self.assertIn(f"application ({module}: ", self.start_application())
        self.assertEqual(self.scrub("photo.jpg"), "CLEANED")


if __name__ == "__main__":
    unittest.main()
