#!/usr/bin/env python3
"""Cleaning when something goes wrong: an original stays as it is, and there is a whole copy or none.

Wants NULLPRINT, the program, and NP_FAULTY_WRITES, the library made of FaultyWrites.cpp.
"""
import os
import pathlib
import resource
import signal
import subprocess
import unittest

from scratch import ScratchTest, large_png, preloadable

FAULTY_WRITES = preloadable(os.environ["NP_FAULTY_WRITES"])
NOBODY = 65534
COPY = "large (scrubbed).png"


def as_nobody():
    """Permissions mean nothing to root; tests about them run as somebody else."""
    if os.getuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)


class Faults(ScratchTest):
    def setUp(self):
        super().setUp()
        self.original = large_png()
        (self.folder / "large.png").write_bytes(self.original)
        self.before = self.names()

    def copy(self):
        return (self.folder / COPY).read_bytes()

    def reference(self):
        self.assertEqual(self.scrub("large.png"), "CLEANED")
        content = self.copy()
        (self.folder / COPY).unlink()
        return content

    def expect_nothing_new(self):
        self.assertEqual(self.names(), self.before)
        self.assertEqual((self.folder / "large.png").read_bytes(), self.original)

    def fail_each_step(self, **extra):
        """Fails the first step, the second and so on, until none is left to fail."""
        whole = self.reference()
        for step in range(1, 200):
            environment = {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), **extra}
            run = self.run_program("--scrub", "large.png", env=environment)
            self.assertEqual(run.returncode, 0)
            if run.stdout.startswith(b"CLEANED"):
                self.assertEqual(self.copy(), whole)
                (self.folder / COPY).unlink()
                if step > self.steps_of(**extra):
                    return step
                continue
            self.assertEqual(
                run.stdout.decode(),
                "FAILED     large.png\n        Couldn’t write the cleaned image.\n")
            self.expect_nothing_new()
        self.fail("the steps do not end")
        return 0

    def steps_of(self, **extra):
        """How many steps a cleaning takes: the first that is not reached."""
        low, high = 0, 200
        while low < high:
            middle = (low + high + 1) // 2
            environment = {
                "LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(middle),
                "NP_FAULT_KILLS": "1", **extra}
            run = self.run_program("--scrub", "large.png", env=environment)
            for left in set(self.names()) - set(self.before):
                (self.folder / left).unlink()
            if run.returncode == -signal.SIGKILL:
                low = middle
            else:
                high = middle - 1
        return low

    def test_a_failing_step_leaves_no_copy(self):
        self.assertGreater(self.fail_each_step(), 6)

    def test_a_failing_step_leaves_no_named_temporary_file(self):
        named = {"NP_FAULT_NAMED": "1"}
        self.assertGreater(self.fail_each_step(**named), 6)
        self.assertGreater(self.fail_each_step(**named, NP_FAULT_OLD="1"), 6)
        self.assertGreater(self.fail_each_step(**named, NP_FAULT_OLD="1", NP_FAULT_NO_LINKS="1"), 6)

    def test_a_kill_at_any_step_leaves_no_copy(self):
        for step in range(1, self.steps_of() + 1):
            environment = {
                "LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), "NP_FAULT_KILLS": "1"}
            run = self.run_program("--scrub", "large.png", env=environment)
            self.assertEqual(run.returncode, -signal.SIGKILL)
            self.expect_nothing_new()

    def test_a_kill_leaves_no_partial_copy_where_files_need_names(self):
        whole = self.reference()
        named = {"NP_FAULT_NAMED": "1"}
        old = {**named, "NP_FAULT_OLD": "1"}
        # Without links, an empty file holds the name for the moment before the copy gets it.
        for kind, found in ((named, (whole,)), (old, (whole,)), ({**old, "NP_FAULT_NO_LINKS": "1"}, (whole, b""))):
            for step in range(1, self.steps_of(**kind) + 1):
                environment = {
                    "LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), "NP_FAULT_KILLS": "1", **kind}
                self.run_program("--scrub", "large.png", env=environment)
                # A hidden file may stay; under the copy's name there is a copy or nothing.
                for name in set(self.names()) - set(self.before):
                    if name == COPY:
                        self.assertIn(self.copy(), found)
                    else:
                        self.assertTrue(name.startswith(".nullprint-"), name)
                    (self.folder / name).unlink()
                self.expect_nothing_new()

    def test_a_file_too_large_for_the_system_is_a_failure(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))

        # With and without the signal for it ignored, as Python has it.
        for restores in (True, False):
            word = self.scrub("large.png", preexec_fn=limit, restore_signals=restores)
            self.assertEqual(word, "FAILED")
            self.expect_nothing_new()

    def test_a_folder_that_may_not_be_written(self):
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o755)
        run = self.run_program("--scrub", "large.png", "photo.jpg", preexec_fn=as_nobody)
        self.assertEqual(
            run.stdout.decode(),
            "FAILED     large.png\n        Couldn’t write the cleaned image.\n"
            "FAILED     photo.jpg\n        Couldn’t write the cleaned image.\n")
        self.expect_nothing_new()

    def test_a_file_that_may_not_be_read(self):
        (self.folder / "photo.jpg").chmod(0o000)
        self.folder.chmod(0o777)
        run = self.run_program("--scrub", "photo.jpg", preexec_fn=as_nobody)
        self.assertEqual(
            run.stdout.decode(), "FAILED     photo.jpg\n        Couldn’t read the image.\n")
        self.expect_nothing_new()

    def test_a_read_only_original_has_a_read_only_copy(self):
        for user in (None, as_nobody):
            with self.subTest(user=user):
                self.folder.chmod(0o777)
                (self.folder / "large.png").chmod(0o444)
                self.assertEqual(self.scrub("large.png", preexec_fn=user), "CLEANED")
                self.assertEqual((self.folder / COPY).stat().st_mode & 0o777, 0o444)
                (self.folder / COPY).unlink()
                self.expect_nothing_new()

    def test_a_name_that_leaves_no_room(self):
        longest = "n" * 239 + ".png"  # With " (scrubbed)" it has 254 bytes.
        for name, word in ((longest, "CLEANED"), ("nn" + longest, "FAILED"), ("n" * 246 + ".png", "FAILED")):
            with self.subTest(length=len(name)):
                (self.folder / name).write_bytes(self.original)
                before = self.names()
                self.assertEqual(self.scrub(name), word)
                self.assertEqual(len(self.names()), len(before) + (word == "CLEANED"))

    def test_times_and_bytes_of_the_original_stay(self):
        path = self.folder / "photo.jpg"
        os.utime(path, ns=(1_000_000_000, 2_000_000_000))
        before = (path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_ctime_ns)
        for option in ("--scrub", "--inspect", "--reveal"):
            self.run_program(option, "photo.jpg")
        self.assertEqual((path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_ctime_ns), before)

    def test_twenty_at_once_make_twenty_copies(self):
        whole = self.reference()
        runs = [
            subprocess.Popen([self.program, "--scrub", "large.png"], cwd=self.folder,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            for _ in range(20)]
        printed = [run.communicate(timeout=60) for run in runs]
        self.assertEqual({errors for _, errors in printed}, {b""})
        told = {output.decode().split("-> ")[1].strip() for output, _ in printed}
        copies = {str(self.folder / name) for name in set(self.names()) - set(self.before)}
        self.assertEqual(len(copies), 20)
        self.assertEqual(told, copies)
        for copy in copies:
            self.assertEqual(pathlib.Path(copy).read_bytes(), whole)

    def test_a_reader_that_goes_away(self):
        reader, writer = os.pipe()
        os.close(reader)
        subprocess.run([self.program, "--scrub", "large.png"], cwd=self.folder, stdout=writer,
                       timeout=60, check=False)
        os.close(writer)
        self.assertEqual(set(self.names()) - set(self.before), {COPY})


if __name__ == "__main__":
    unittest.main()
