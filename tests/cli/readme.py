#!/usr/bin/env python3
"""What README.md shows and tells to type, run as it stands there: the first transcript, and how a
tree of pictures is cleaned. What it says of installing is run by packaging/try-packages.sh.

Wants NULLPRINT, the program.
"""
import os
import re
import shutil
import signal
import subprocess
import time
import unittest

from scratch import HERE, SECONDS, ScratchTest, large_png

ROOT = HERE.parents[1]
README = (ROOT / "README.md").read_text()
PICTURES = 120


class Transcript(ScratchTest):
    def test_the_transcript_is_what_is_printed(self):
        transcript = re.search(r"^```console\n(.*?)^```$", README, re.MULTILINE | re.DOTALL)[1]
        commands = re.findall(r"^\$ (.*)$", transcript, re.MULTILINE)
        self.assertGreaterEqual(len(commands), 3)
        checkout = self.root / "nullprint-checkout"
        checkout.mkdir()
        shutil.copytree(
            ROOT / "examples", checkout / "examples", ignore=shutil.ignore_patterns("* (scrubbed*"))
        shutil.copy(self.program, checkout / "nullprint")
        printed = ""
        for command in commands:
            run = subprocess.run(["sh", "-c", command], cwd=checkout, capture_output=True, check=True)
            self.assertEqual(run.stderr, b"")
            printed += f"$ {command}\n{run.stdout.decode()}"
        self.assertEqual(printed.replace(str(checkout), "/home/jane/nullprint"), transcript)

    def test_every_option_is_in_the_table_of_commands(self):
        helped = self.run_program("--help").stdout.decode()
        options = set(re.findall(r"--\w+", helped)) | {"--help"}
        table = re.search(r"^\| command \|.*?\n\n", README, re.MULTILINE | re.DOTALL)[0]
        self.assertEqual(set(re.findall(r"--\w+", table)), options)


class ManyFiles(ScratchTest):
    """A tree with names that a shell could trip over, copies of earlier days, and other files."""

    COMMAND = re.search(r"^```sh\n(find Pictures .*?)^```$", README, re.MULTILINE | re.DOTALL)[1]
    COMPLAINTS = re.search(r"`(grep -A 1 [^`]*cleaned\.txt)`", README)[1]
    FOLDERS = ("2026", "a b/it's $HOME", "line\nfeed/“quoted” %41", "-rf")

    def setUp(self):
        super().setUp()
        self.tree = self.root / "Pictures"
        picture = large_png()
        self.originals = set()
        for number in range(PICTURES):
            folder = self.tree / self.FOLDERS[number % len(self.FOLDERS)]
            folder.mkdir(parents=True, exist_ok=True)
            path = folder / (f"-{number} & more.PNG" if number % 7 else f"{number}.v2.png")
            path.write_bytes(picture)
            self.originals.add(path)

    def start(self):
        path = f"{self.root}{os.pathsep}{os.environ['PATH']}"
        return subprocess.Popen(
            ["sh", "-c", self.COMMAND], cwd=self.root, env={**os.environ, "PATH": path},
            stderr=subprocess.PIPE, start_new_session=True)

    def run_shown(self):
        process = self.start()
        _, errors = process.communicate(timeout=SECONDS)
        self.assertEqual((process.returncode, errors), (0, b""))

    def files(self):
        return {path for path in self.tree.rglob("*") if path.is_file()}

    @staticmethod
    def copy_of(path):
        return path.with_name(f"{path.stem} (scrubbed){path.suffix}")

    def test_every_picture_gets_one_copy(self):
        self.run_shown()
        everything = self.originals | set(map(self.copy_of, self.originals))
        self.assertEqual(self.files(), everything)
        entries = (self.root / "cleaned.txt").read_bytes()
        self.assertEqual(entries.count(b"CLEANED    Pictures/"), PICTURES)
        self.assertEqual(entries.count(b"\n        -> "), PICTURES)

    def test_repeating_it_does_nothing(self):
        self.run_shown()
        before = {path: path.stat().st_mtime_ns for path in self.files()}
        self.run_shown()
        self.assertEqual({path: path.stat().st_mtime_ns for path in self.files()}, before)
        self.assertEqual((self.root / "cleaned.txt").read_bytes(), b"")

    def test_copies_are_never_cleaned(self):
        first = min(self.originals)
        for name in ("old (scrubbed).png", "old (scrubbed 2).png", "old (scrubbed 17).png"):
            shutil.copy(first, self.tree / name)
        shutil.copy(first, self.tree / "old (scrubbed) by me.png")
        self.run_shown()
        added = sorted(path.name for path in self.files() if path.parent == self.tree)
        self.assertEqual(added, [
            "old (scrubbed 17).png", "old (scrubbed 2).png", "old (scrubbed) by me (scrubbed).png",
            "old (scrubbed) by me.png", "old (scrubbed).png"])

    def test_an_interruption_loses_nothing(self):
        interrupted = 0
        for sent in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            process = self.start()
            before = len(self.files())
            while process.poll() is None and len(self.files()) < before + 5:
                time.sleep(0.001)
            try:
                os.killpg(process.pid, sent)
            except ProcessLookupError:
                pass
            process.communicate(timeout=SECONDS)
            interrupted += PICTURES < len(self.files()) < 2 * PICTURES
        self.assertGreater(interrupted, 0, "it was never interrupted")
        self.run_shown()
        everything = self.originals | set(map(self.copy_of, self.originals))
        self.assertEqual(self.files(), everything)
        contents = {self.copy_of(path).read_bytes() for path in self.originals}
        self.assertEqual(len(contents), 1)

    def test_what_has_no_copy_is_told(self):
        broken = self.tree / "broken.jpg"
        shutil.copy(self.folder / "broken.jpg", broken)
        self.run_shown()
        told = subprocess.run(
            ["sh", "-c", self.COMPLAINTS], cwd=self.root, capture_output=True, text=True, check=True)
        lines = told.stdout.splitlines()
        self.assertEqual(lines[0], "FAILED     Pictures/broken.jpg")
        self.assertEqual(len(lines), 2)


if __name__ == "__main__":
    unittest.main()
