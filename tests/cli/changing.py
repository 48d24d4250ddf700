#!/usr/bin/env python3
"""What changes while a file is worked on: the file itself, its folder, the disk; and the program is
killed. There is a copy of what the file was, or none.

Wants NULLPRINT, the program, and NP_FAULTY_WRITES, the library made of FaultyWrites.cpp.
"""
import os
import pathlib
import random
import shutil
import signal
import subprocess
import time
import unittest
import zipfile

from documents import CATALOGUE, PAGE, PAGES, packed_pdf, stream
from scratch import PDF_WORKER, SECONDS, ScratchTest, large_png, preloadable

FAULTY_WRITES = preloadable(os.environ["NP_FAULTY_WRITES"])
REAL_WORKER = "real-worker"
FILES = ("large.png", "document.docx", "letter.pdf")
UNWRITABLE = {
    "large.png": "Couldn’t write the cleaned image.",
    "document.docx": "Couldn’t save the cleaned document.",
    "letter.pdf": "Couldn’t write the cleaned PDF.",
}
SENTENCES = {
    "large.png": {"Couldn’t read the image.", UNWRITABLE["large.png"]},
    "document.docx": {"Couldn’t open the document (it changed while it was read).",
                      "Couldn’t open the document (it is damaged or cut short).",
                      "Couldn’t open the document (it is not a ZIP archive).",
                      "Couldn’t open the document (a part of it is damaged).",
                      "Couldn’t open the document (the file cannot be read).",
                      "Couldn’t open the document (the file could not be read).",
                      "Couldn’t rebuild the document (the file could not be read)."},
    "letter.pdf": {"Couldn’t open the PDF (it may be damaged or password-protected).",
                   UNWRITABLE["letter.pdf"]},
}


def state_of(process):
    """The letter that the system has for what a process does; none when it has gone."""
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0]
    except OSError:
        return None


def put_files(folder):
    """A picture and documents of noise."""
    (folder / "large.png").write_bytes(large_png(2))
    (folder / "Report.docx").rename(folder / "document.docx")
    with zipfile.ZipFile(folder / "document.docx", "a") as document:
        document.writestr("word/vbaProject.bin", os.urandom(700_000))
        document.writestr("word/embeddings/a.bin", os.urandom(300_000))
    objects = {10 + number: stream(b"", os.urandom(100_000)) for number in range(10)}
    (folder / "letter.pdf").write_bytes(packed_pdf({1: CATALOGUE, 2: PAGES, 3: PAGE, **objects, 9: b"[%s]" % b" ".join(
        b"%d 0 R" % number for number in objects)}, {}))


def grow(path):
    with path.open("ab") as file:
        file.write(b"more")


def shrink(path):
    os.truncate(path, path.stat().st_size // 2)


def rewrite(path):
    with path.open("r+b") as file:
        file.seek(path.stat().st_size // 2)
        file.write(b"changed!")


def empty(path):
    os.truncate(path, 0)


def replace(path):
    other = path.with_name("other")
    other.write_bytes(b"another file" * 1000)
    other.rename(path)


CHANGES = (grow, shrink, rewrite, empty, replace, pathlib.Path.unlink, lambda path: path.chmod(0))


class Changing(ScratchTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.root / "temporary"
        self.temporary.mkdir()
        put_files(self.folder)
        for path in self.folder.iterdir():
            if path.name not in FILES:
                path.unlink()
        self.contents = {name: (self.folder / name).read_bytes() for name in FILES}
        self.whole = {}
        for name in FILES:
            self.assertEqual(self.scrub(name), "CLEANED")
            self.whole[name] = self.copy(name).read_bytes()
            self.copy(name).unlink()
        # The worker tells its number.
        self.worker = self.root / "worker"
        (self.root / PDF_WORKER).rename(self.root / REAL_WORKER)
        (self.root / PDF_WORKER).write_text(
            f"#!/bin/sh\necho $$ >'{self.root}/new' && mv '{self.root}/new' '{self.worker}'\n"
            f"exec '{self.root}/{REAL_WORKER}' \"$@\"\n")
        (self.root / PDF_WORKER).chmod(0o755)

    def copy(self, name):
        path = self.folder / name
        return path.with_name(f"{path.stem} (scrubbed){path.suffix}")

    def restore(self):
        """Puts the files back; what else is in the folder is the answer."""
        new = {}
        for path in self.folder.iterdir():
            if path.name not in FILES:
                new[path.name] = path.read_bytes()
                path.unlink()
        for name, content in self.contents.items():
            path = self.folder / name
            if not path.exists() or path.read_bytes() != content or path.stat().st_mode & 0o777 != 0o644:
                path.unlink(missing_ok=True)
                path.write_bytes(content)
                path.chmod(0o644)
        return new

    def start(self, option, name, step, in_worker=False, **more):
        environment = {**os.environ, "TMPDIR": str(self.temporary), "LD_PRELOAD": str(FAULTY_WRITES),
                       "NP_FAULT_STOPS": "1", "NP_FAULT_AT": str(step),
                       "NP_FAULT_IN": REAL_WORKER if in_worker else "nullprint", **more}
        self.worker.unlink(missing_ok=True)
        return subprocess.Popen([self.program, option, name], cwd=self.folder, env=environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def stopped(self, run, in_worker):
        """The number of the process that stands at its step; none when all have ended before."""
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            number = run.pid if not in_worker else int(self.worker.read_text()) if self.worker.exists() else None
            if number is not None and state_of(number) == "T":
                return number
            if state_of(run.pid) == "Z":
                return None
            time.sleep(0.002)
        self.fail("neither stopped nor ended")
        return None

    def at_each_step(self, option, name, act, in_worker=False, **more):
        """Does something at each step of a run; what was printed, and what is new."""
        for step in range(1, 200):
            run = self.start(option, name, step, in_worker, **more)
            number = self.stopped(run, in_worker)
            if number is not None:
                act(self.folder / name)
                os.kill(number, signal.SIGCONT)
            printed, errors = run.communicate(timeout=SECONDS)
            self.assertEqual((run.returncode, errors), (0, b""))
            new = self.restore()
            self.assertEqual(list(self.temporary.iterdir()), [])
            if number is None:
                self.assertGreater(step, 1)
                return
            yield printed.decode(), new
        self.fail("the steps do not end")

    def expect_copy_or_none(self, name, printed, new):
        """What was cleaned before the change, as a whole, or one of the sentences."""
        if printed.startswith("CLEANED"):
            self.assertEqual(new, {self.copy(name).name: self.whole[name]})
            return 0
        self.assertIn(printed.splitlines()[1].strip(), SENTENCES[name])
        self.assertEqual(new, {})
        return 1

    def change_while_cleaned(self, name, **more):
        for change in CHANGES:
            failed = sum(self.expect_copy_or_none(name, *outcome)
                         for outcome in self.at_each_step("--scrub", name, change, **more))
            self.assertGreater(failed, 0)

    def test_a_file_that_changes_while_it_is_read(self):
        for name in FILES:
            self.change_while_cleaned(name, in_worker=name == "letter.pdf", NP_FAULT_READS="1")

    def test_a_file_that_changes_while_its_copy_is_written(self):
        self.change_while_cleaned("large.png")
        self.change_while_cleaned("large.png", NP_FAULT_NAMED="1")
        self.change_while_cleaned("document.docx")
        self.change_while_cleaned("letter.pdf", in_worker=True)
        self.change_while_cleaned("letter.pdf")

    def test_a_file_that_changes_while_it_is_looked_at(self):
        for option in ("--reveal", "--inspect"):
            for name in FILES:
                for change in (shrink, empty, pathlib.Path.unlink):
                    for printed, new in self.at_each_step(
                            option, name, change, in_worker=name == "letter.pdf", NP_FAULT_READS="1"):
                        self.assertIn(name, printed)
                        self.assertEqual(new, {})

    def test_a_name_that_is_taken_meanwhile(self):
        for name in FILES:
            for named in ({}, {"NP_FAULT_NAMED": "1"}, {"NP_FAULT_NAMED": "1", "NP_FAULT_OLD": "1"},
                          {"NP_FAULT_NAMED": "1", "NP_FAULT_OLD": "1", "NP_FAULT_NO_LINKS": "1"}):
                taken = self.copy(name)
                for printed, new in self.at_each_step(
                        "--scrub", name, lambda _: taken.write_bytes(b"mine"), **named):
                    self.assertEqual(printed.split()[0], "CLEANED")
                    # The last way holds the name with an empty file, which is replaced with all in it.
                    copies = set(new.values()) - {b"mine"}
                    self.assertEqual(copies, {self.whole[name]})

    def let_folder_go(self, name, step, removes):
        """Whether the run has come to that step. There is no copy where there is no folder."""
        away = self.root / "away"
        run = self.start("--scrub", name, step)
        number = self.stopped(run, False)
        if number is not None:
            self.folder.rename(away)
            if removes:
                shutil.rmtree(away)
            os.kill(number, signal.SIGCONT)
        printed = run.communicate(timeout=SECONDS)[0].decode()
        self.assertEqual(run.returncode, 0)
        if number is not None:
            self.assertIn(printed.splitlines()[1].strip(), SENTENCES[name] | {UNWRITABLE[name]})
            if not removes:
                self.assertEqual({path.name: path.read_bytes() for path in away.iterdir()}, self.contents)
                shutil.rmtree(away)
            self.folder.mkdir()
        self.restore()
        return number is not None

    def test_a_folder_that_goes(self):
        for name in FILES:
            for removes in (False, True):
                step = 1
                while self.let_folder_go(name, step, removes):
                    step += 1
                self.assertGreater(step, 2)

    def test_a_workspace_that_goes(self):
        def act(_):
            for workspace in self.temporary.iterdir():
                shutil.rmtree(workspace)

        for named in ({}, {"NP_FAULT_NAMED": "1"}):
            outcomes = set()
            for printed, new in self.at_each_step("--scrub", "document.docx", act, **named):
                if printed.startswith("CLEANED"):
                    self.assertEqual(list(new.values()), [self.whole["document.docx"]])
                else:
                    self.assertEqual(new, {})
                    outcomes.add(printed.splitlines()[1].strip())
            self.assertLessEqual(outcomes, {"Couldn’t create a temporary workspace.", UNWRITABLE["document.docx"]})
            self.assertTrue(outcomes)

    def test_being_killed_at_any_moment(self):
        for name in FILES:
            start = time.monotonic()
            self.scrub(name)
            longest = 2 * (time.monotonic() - start)
            self.restore()
            ended = 0
            for _ in range(60):
                run = subprocess.Popen([self.program, "--scrub", name], cwd=self.folder, stdout=subprocess.DEVNULL,
                                       env={**os.environ, "TMPDIR": str(self.temporary)})
                time.sleep(random.uniform(0, longest))
                run.kill()
                ended += run.wait() == -signal.SIGKILL
                for file in FILES:
                    self.assertEqual((self.folder / file).read_bytes(), self.contents[file])
                self.assertIn(self.restore(), ({}, {self.copy(name).name: self.whole[name]}))
                for workspace in self.temporary.iterdir():
                    workspace.rmdir()  # It is empty.
            self.assertGreater(ended, 0)

    def test_a_worker_does_not_outlive_the_program(self):
        run = self.start("--scrub", "letter.pdf", 1, in_worker=True)
        worker = self.stopped(run, True)
        self.assertIsNotNone(worker)
        run.kill()
        run.communicate()
        end = time.monotonic() + SECONDS
        while state_of(worker) not in (None, "Z") and time.monotonic() < end:
            time.sleep(0.002)
        self.assertIn(state_of(worker), (None, "Z"))
        self.assertEqual(self.restore(), {})

    def test_a_worker_that_is_killed(self):
        for option, expected in (("--scrub", "FAILED     letter.pdf\n        Couldn’t open the PDF (it may be "
                                             "damaged or password-protected).\n"),
                                 ("--inspect", "== letter.pdf ==\n  clean\n")):
            run = self.start(option, "letter.pdf", 1, in_worker=True)
            os.kill(self.stopped(run, True), signal.SIGKILL)
            self.assertEqual(run.communicate(timeout=SECONDS), (expected.encode(), b""))
            self.assertEqual(self.restore(), {})


def may_mount():
    return subprocess.run(["unshare", "-rm", "mount", "-t", "tmpfs", "none", "/mnt"], capture_output=True,
                          check=False).returncode == 0


@unittest.skipUnless(may_mount(), "nothing may be mounted here")
class Disks(ScratchTest):
    """Disks that are full or cannot be written: small ones in memory that only the program sees."""

    def setUp(self):
        super().setUp()
        put_files(self.folder)
        self.disk = self.root / "disk"
        self.disk.mkdir()

    def on_disk(self, kilobytes, script):
        """Runs a script with a disk that has these files, and so much left."""
        mount = (f"mount -t tmpfs -o size=64m none '{self.disk}'\n"
                 f"for file in {' '.join(FILES)}; do cp '{self.folder}'/$file '{self.disk}'; done\n"
                 f"cd '{self.disk}'\n"
                 f"mount -o remount,size=$(($(du -ks . | cut -f1) + {kilobytes}))k '{self.disk}'\n")
        run = subprocess.run(["unshare", "-rm", "sh", "-euc", mount + script], capture_output=True, check=True,
                             timeout=SECONDS, env={**os.environ, "TMPDIR": str(self.disk)})
        return run.stdout.decode()

    def test_a_full_disk(self):
        for kilobytes in (0, 12, 300):
            printed = self.on_disk(2000, f"""
                head -c 100m /dev/zero >filling 2>/dev/null || true
                truncate -s -{kilobytes}k filling
                before=$(cksum *)
                for file in {' '.join(FILES)}; do '{self.program}' --scrub $file; done
                [ "$before" = "$(cksum *)" ] && ls -A""")
            self.assertEqual(
                printed,
                "FAILED     large.png\n        Couldn’t write the cleaned image.\n"
                "FAILED     document.docx\n        Couldn’t rebuild the document (the copy could not be written).\n"
                "FAILED     letter.pdf\n        Couldn’t write the cleaned PDF.\n" +
                "".join(f"{name}\n" for name in sorted((*FILES, "filling"))))

    def test_a_workspace_on_a_full_disk(self):
        printed = self.on_disk(64, f"""
            head -c 100m /dev/zero >filling 2>/dev/null || true
            cd '{self.folder}'
            for file in document.docx Letter.dotx; do '{self.program}' --scrub $file; done
            ls -A '{self.disk}'""")
        sentence = "        Couldn’t rebuild the document (the copy could not be written).\n"
        self.assertEqual(printed, f"FAILED     document.docx\n{sentence}FAILED     Letter.dotx\n{sentence}" +
                         "".join(f"{name}\n" for name in sorted((*FILES, "filling"))))
        self.assertNotIn("document (scrubbed).docx", self.names())

    def test_a_disk_that_cannot_be_written(self):
        printed = self.on_disk(64, f"""
            mount -o remount,ro '{self.disk}'
            for file in {' '.join(FILES)}; do
                TMPDIR='{self.root}' '{self.program}' --scrub $file
                TMPDIR='{self.root}' '{self.program}' --reveal $file | sed -n 4p
            done
            '{self.program}' --scrub document.docx
            ls -A""")
        expected = ""
        for name, kind in zip(FILES, ("Photo", "Word document", "PDF")):
            expected += f"FAILED     {name}\n        {UNWRITABLE[name]}\n{kind}: {name}\n"
        expected += "FAILED     document.docx\n        Couldn’t create a temporary workspace.\n"
        self.assertEqual(printed, expected + "".join(f"{name}\n" for name in sorted(FILES)))
        self.assertEqual([path.name for path in self.root.iterdir() if path.name.startswith("nullprint-")],
                         ["nullprint-pdf"])


if __name__ == "__main__":
    unittest.main()
