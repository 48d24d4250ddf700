#!/usr/bin/env python3
"""Every system call that can fail fails once: the program's own and the PDF worker's, while files are
cleaned, revealed and inspected. Then every one is the last, and those that may be interrupted are.

Wants NULLPRINT, the program, NP_FAULTY_WRITES, the library made of FaultyWrites.cpp, and strace,
which makes the calls fail.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import unittest

from documents import CATALOGUE, PAGE, PAGES, packed_pdf, stream
from scratch import NO_WORKER, PDF_WORKER, ScratchTest, large_png, preloadable
from tracing import may_trace

FAULTY_WRITES = preloadable(os.environ["NP_FAULTY_WRITES"])
SHARED_MEMORY = pathlib.Path("/dev/shm")  # A file system of its own, nearly everywhere.

# The first calls that are our own: what comes before loads the program.
FIRST_CALL, FIRST_CALL_OF_WORKER = "rt_sigaction(SIGCHLD", "RLIMIT_CORE"
# Memory that runs out ends the program, on purpose; the others cannot fail.
LEFT_OUT = {"brk", "mmap", "munmap", "mremap", "mprotect", "madvise", "futex", "exit_group",
            "rt_sigaction", "rt_sigprocmask", "restart_syscall", "rt_sigreturn"}
# Without these a report or a copy is the same, or there is none to be seen.
INTERRUPTIBLE = {"pread64", "write", "pwrite64", "copy_file_range", "wait4", "read"}

# Without what stands in brackets.
SENTENCES = {
    "large.png": {"Couldn’t read the image.", "Couldn’t write the cleaned image."},
    "photo.jpg": {"Couldn’t read the image.", "Couldn’t write the cleaned image."},
    "document.docx": {"Couldn’t create a temporary workspace.", "Couldn’t open the document.",
                      "Couldn’t rebuild the document.", "Couldn’t save the cleaned document."},
    "letter.pdf": {"Couldn’t open the PDF.", "Couldn’t write the cleaned PDF."},
}
# What a report or a listing may say instead of what there is to say.
INSTEAD = {"  ✓ No hidden metadata found — nothing to remove.", "  clean", "Office document: document.docx",
           "  Couldn’t open this document.",
           "  Couldn’t open this PDF (it may be damaged or password-protected)."}
# What removes a workspace that is not empty: when it fails, there is nothing more to be done.
REMOVING = {"openat", "newfstatat", "fcntl", "getdents64", "unlink", "unlinkat", "rmdir", "close"}


def beginnings(text):
    """The lines without their values: one may be told in part."""
    return {re.split("[:=] ?", line)[0] if line.startswith("  ") else line for line in text.splitlines()}


@unittest.skipUnless(may_trace(), "strace may not trace here")
class SystemCalls(ScratchTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.root / "temporary"
        self.temporary.mkdir()
        self.environment = {**os.environ, "TMPDIR": str(self.temporary)}
        (self.folder / "large.png").write_bytes(large_png())
        shutil.copy(self.folder / "Report.docx", self.folder / "document.docx")
        self.log = self.root / "log"
        self.real_worker = self.root / "real-worker"
        self.statuses = {0}
        self.step = "no call"
        self.before = self.content()

    def _formatMessage(self, msg, standardMsg):
        return f"{super()._formatMessage(msg, standardMsg)} [at {self.step}]"

    def expect_called(self, expected, calls):
        """Newer machines have fewer calls: `unlinkat` for `unlink` and `rmdir`, and so on."""
        for name in expected:
            names = {name, name + "at", "f" + name + "at"} | ({"unlinkat"} if name == "rmdir" else set())
            self.assertTrue(names & calls, f"{name} is not among {sorted(calls)}")

    def content(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def new(self):
        """What has come into the folder, taken out again; all else is as it was."""
        now = self.content()
        for name in self.before:
            self.assertEqual(now.pop(name), self.before[name])
        for name in now:
            (self.folder / name).unlink()
        return now

    def trace(self, *options, words):
        """Runs the program under strace with these options, and its worker without."""
        if self.real_worker.exists():
            self.real_worker.rename(self.root / PDF_WORKER)
        return subprocess.run(["strace", "-qq", "-o", self.log, *options, self.program, *words],
                              cwd=self.folder, env=self.environment, capture_output=True, timeout=60,
                              check=False)

    def trace_worker(self, *options, words):
        """Runs the program with its worker under strace."""
        worker, real = self.root / PDF_WORKER, self.real_worker
        if not real.exists():
            worker.rename(real)
        told = " ".join(f"'{option}'" for option in options)
        worker.write_text(f"#!/bin/sh\nexec strace -qq -o '{self.log}' {told} '{real}' \"$@\"\n")
        worker.chmod(0o755)
        return subprocess.run([self.program, *words], cwd=self.folder, env=self.environment,
                              capture_output=True, timeout=60, check=False)

    def calls(self, trace, words):
        """Name and number of each system call of a run, and what the run printed."""
        run = trace(words=words)
        self.assertEqual(run.returncode, 0)
        first = FIRST_CALL if trace == self.trace else FIRST_CALL_OF_WORKER
        counts, calls, is_ours = {}, [], False
        for line in self.log.read_text(errors="replace").splitlines():
            name = re.match(r"(\w+)\(", line)
            if not name:
                continue
            name = name.group(1)
            counts[name] = counts.get(name, 0) + 1
            is_ours = is_ours or first in line
            if is_ours and name not in LEFT_OUT:
                calls.append((name, counts[name]))
        self.assertGreater(len(calls), 3)
        return calls, run.stdout.decode()

    def with_each_call(self, trace, words, faults):
        """Each call of the run with each of the faults: what was printed and what is new."""
        calls, printed = self.calls(trace, words)
        yield None, None, printed, self.new()
        for name, number in calls:
            for fault in faults:
                if fault == "error=EINTR" and name not in INTERRUPTIBLE:
                    continue
                run = trace("-e", "trace=" + name, "-e", f"inject={name}:{fault}:when={number}", words=words)
                self.step = f"{name} {number}, {fault}"
                killed = fault.startswith("signal=") and trace == self.trace
                self.assertIn(run.returncode, {-signal.SIGKILL} if killed else self.statuses)
                self.assertIn(run.stderr, (b"", NO_WORKER))
                yield name, fault, run.stdout.decode(), self.new()

    def fail_cleaning(self, trace, file, may_stay=()):
        """Fails each call of cleaning a file; the calls that were, and the sentences."""
        calls, told, whole = set(), set(), None
        for name, fault, printed, new in self.with_each_call(
                trace, ("--scrub", file), ("error=EIO", "error=ENOSPC", "error=EINTR")):
            if name is None:
                (copy, whole), = new.items()
                continue
            calls.add(name)
            new = {key: value for key, value in new.items() if (name[:6], key[:11]) not in may_stay}
            if printed.startswith("FAILED"):
                sentence = re.sub(r" \(.*\)\.$", ".", printed.splitlines()[1].strip())
                told.add(sentence)
                self.assertIn(sentence, SENTENCES[file])
                self.assertNotEqual(fault, "error=EINTR")
                self.assertEqual(new, {})
            else:
                # Printing, too, is a call that may fail.
                self.assertTrue(printed.startswith("CLEANED") or (name, printed) == ("write", ""), printed)
                self.assertEqual(new, {copy: whole})
            self.expect_no_workspace(name)
        return calls, told

    def expect_no_workspace(self, _):
        self.assertEqual(list(self.temporary.iterdir()), [])

    def test_cleaning_a_picture(self):
        calls, told = self.fail_cleaning(self.trace, "large.png")
        self.expect_called({"openat", "newfstatat", "pread64", "copy_file_range", "write", "fchmod",
                              "linkat", "close", "getcwd"}, calls)
        self.assertEqual(told, SENTENCES["large.png"])

    def test_cleaning_a_picture_where_files_need_names(self):
        self.environment |= {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_NAMED": "1"}
        calls, told = self.fail_cleaning(self.trace, "photo.jpg")
        self.expect_called({"renameat2", "getrandom"}, calls)
        self.assertEqual(told, SENTENCES["photo.jpg"])

    def test_cleaning_a_picture_where_renaming_may_replace(self):
        self.environment |= {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_NAMED": "1", "NP_FAULT_OLD": "1"}
        # Who cannot remove a hidden file leaves it behind.
        calls, _ = self.fail_cleaning(self.trace, "photo.jpg", {("unlink", ".nullprint-")})
        self.expect_called({"link", "unlink"}, calls)
        self.environment["NP_FAULT_NO_LINKS"] = "1"
        calls, _ = self.fail_cleaning(self.trace, "photo.jpg")
        self.expect_called({"rename"}, calls)

    def test_cleaning_an_office_document(self):
        calls, told = self.fail_cleaning(self.trace, "document.docx")
        self.expect_called({"mkdir", "rmdir", "openat", "pread64", "write", "linkat"}, calls)
        self.assertEqual(told, SENTENCES["document.docx"])

    def test_cleaning_an_office_document_with_a_workspace_elsewhere(self):
        if not SHARED_MEMORY.is_dir() or SHARED_MEMORY.stat().st_dev == self.folder.stat().st_dev:
            self.skipTest("there is only one file system")
        self.temporary = SHARED_MEMORY / self.root.name
        self.temporary.mkdir()
        self.addCleanup(self.temporary.rmdir)
        self.environment["TMPDIR"] = str(self.temporary)
        for named in ({}, {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_NAMED": "1"}):
            self.environment |= named
            _, told = self.fail_cleaning(self.trace, "document.docx")
            self.assertIn("Couldn’t save the cleaned document.", told)

    def test_cleaning_a_pdf(self):
        calls, told = self.fail_cleaning(self.trace, "letter.pdf")
        self.expect_called({"fcntl", "readlink", "access", "clone3", "wait4", "linkat"}, calls)
        self.assertEqual(told, SENTENCES["letter.pdf"])

    def test_cleaning_a_pdf_when_the_worker_fails(self):
        calls, told = self.fail_cleaning(self.trace_worker, "letter.pdf")
        self.expect_called({"prlimit64", "prctl", "newfstatat", "pread64", "write"}, calls)
        self.assertEqual(told, SENTENCES["letter.pdf"])

    def test_blanking_a_pdf(self):
        # What looks like metadata in a page's text is blanked in the copy, and when that fails, it is not.
        text = b"/Metadata 12 0 R"
        (self.folder / "marked.pdf").write_bytes(packed_pdf(
            {1: CATALOGUE, 2: PAGES, 3: PAGE, 9: stream(b"", b"(%s) Tj" % text)}, {}))
        self.before = self.content()
        kept = set()
        for name, _, printed, new in self.with_each_call(
                self.trace, ("--scrub", "marked.pdf"), ("error=EIO", "error=EINTR")):
            if name is None:
                (copy, whole), = new.items()
                self.assertNotIn(text, whole)
            elif new:
                self.assertEqual(list(new), [copy])
                self.assertEqual(new[copy].replace(text, b" " * len(text)), whole)
                kept |= {name} if text in new[copy] else set()
            else:
                self.assertTrue(printed.startswith("FAILED"), printed)
        self.expect_called({"pwrite64", "newfstatat"}, kept)

    def fail_looking(self, trace, option, file):
        """Fails each call of a report or a listing: it has the lines that it should have, or fewer."""
        lines, seen = set(), set()
        for name, fault, printed, new in self.with_each_call(trace, (option, file), ("error=EIO", "error=EINTR")):
            self.assertEqual(new, {})
            self.assertEqual(list(self.temporary.iterdir()), [])
            if name is None:
                whole, lines = printed, beginnings(printed)
                continue
            seen.add(name)
            self.assertLessEqual(beginnings(printed), lines | INSTEAD)
            if fault == "error=EINTR":
                self.assertEqual(printed, whole)
        return seen

    def test_looking(self):
        for option in ("--reveal", "--inspect"):
            for file in ("photo.jpg", "document.docx", "letter.pdf"):
                self.expect_called({"openat", "newfstatat", "write"}, self.fail_looking(self.trace, option, file))
            self.assertIn("write", self.fail_looking(self.trace_worker, option, "letter.pdf"))

    def test_the_self_test(self):
        self.statuses = {0, 1}
        failed = set()
        for name, _, printed, new in self.with_each_call(self.trace, ("--selftest",), ("error=EIO",)):
            self.assertEqual(new, {})
            if name == "write" and not printed.endswith("\n\n✓ ALL CHECKS PASSED\n"):
                continue
            self.assertRegex(printed, "\n\n(✓ ALL CHECKS PASSED|✗ CHECKS FAILED)\n$")
            self.assertEqual("FAIL" in printed, "✗ CHECKS FAILED" in printed)
            failed |= {name} if "FAIL" in printed else set()
            for workspace in self.temporary.iterdir():
                self.assertIn(name, REMOVING)
                shutil.rmtree(workspace)
        self.expect_called({"mkdir", "fchmod", "pread64"}, failed)

    def kill_cleaning(self, trace, file):
        """Ends the program, or its worker, at each call. What stays is a whole copy or nothing."""
        whole, copies = None, 0
        for name, _, _, new in self.with_each_call(trace, ("--scrub", file), ("signal=KILL",)):
            if name is None:
                (copy, whole), = new.items()
                continue
            self.assertIn(new, ({}, {copy: whole}))
            copies += new != {}
            for workspace in self.temporary.iterdir():  # A folder has a name; there is nothing in it.
                workspace.rmdir()
        return copies

    def test_being_killed(self):
        for file in ("large.png", "document.docx", "letter.pdf"):
            self.assertGreater(self.kill_cleaning(self.trace, file), 0)

    def test_a_killed_worker(self):
        self.kill_cleaning(self.trace_worker, "letter.pdf")


if __name__ == "__main__":
    unittest.main()
