#!/usr/bin/env python3
"""Every system call of the application's log that can fail fails once, and every one is the last: the
log has whole lines, what it had is there or in the old generation, and nobody notices.

Wants NP_LOG_LINES, the program made of LogLines.cpp, and strace, which makes the calls fail.
"""
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest

from tracing import may_trace

PROGRAM = os.environ["NP_LOG_LINES"]
SECONDS = 60
LINE = rb"\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] %s\n"
BEFORE = b"[2026-01-02 03:04:05] before\n"
LARGE = BEFORE * (5242880 // len(BEFORE) + 1)
OLDER = b"older\n"
# Of threads and memory; and one that cannot fail.
LEFT_OUT = {"mmap", "munmap", "mprotect", "madvise", "brk", "futex", "set_robust_list", "rseq", "rt_sigprocmask",
            "gettid", "exit"}


@unittest.skipUnless(may_trace(), "strace may not trace here")
class LogFaults(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="nullprint-log-")
        self.addCleanup(holder.cleanup)
        self.trace = pathlib.Path(holder.name) / "trace"
        self.folder = pathlib.Path(holder.name) / "log"
        self.folder.mkdir()
        self.log = self.folder / "Nullprint.log"
        self.old = self.folder / "Nullprint.log.old"

    def run_traced(self, content, options):
        """Writes two lines behind this content; the status, and what is in the folder then."""
        for path in self.folder.iterdir():
            path.unlink()
        for path, data in content.items():
            path.write_bytes(data)
        program = subprocess.Popen([PROGRAM, self.log, "one", "two"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(program.stdout.readline(), b"ready\n")  # What starts a program is over, and not counted.
        strace = subprocess.Popen(["strace", "-f", "-o", self.trace, *options, "-p", str(program.pid)],
                                  stderr=subprocess.PIPE)
        self.assertIn(b"attached", strace.stderr.readline())
        program.send_signal(signal.SIGUSR1)
        _, said = program.communicate(timeout=SECONDS)
        strace.communicate(timeout=SECONDS)
        self.assertEqual(said, b"")
        return program.returncode, {path.name: path.read_bytes() for path in self.folder.iterdir()}

    def calls(self, content):
        """Name and number of each call of the thread that writes."""
        status, whole = self.run_traced(content, ())
        self.assertEqual(status, 0)
        calls, counts, first = [], {}, None
        for line in self.trace.read_text(errors="replace").splitlines():
            thread, name = re.match(r"(\d+) +(\w+)?", line).groups()
            first = first or thread
            if thread == first or not name or f"{name}(" not in line or name in LEFT_OUT:
                continue
            counts[name] = counts.get(name, 0) + 1
            calls.append((name, counts[name]))
        return calls, whole

    def expect_whole(self, content, files, lost=()):
        """Nothing but whole lines, and what was in front of them, unless these names may be gone."""
        lines = rb"\A(%s)?(%s)?\Z" % (LINE % b"one", LINE % b"two")
        before = content.get(self.log, b"")
        now, old = files.pop(self.log.name, b""), files.pop(self.old.name, b"")
        if old not in (b"", content.get(self.old, b"")):  # The log has taken its place.
            self.assertTrue(old.startswith(before), "the old generation is something else")
            self.assertRegex(old[len(before):], lines)
        elif not now.startswith(before):
            self.assertIn("before", lost)
        self.assertRegex(now.removeprefix(before)[:1000], lines)
        for name in files:  # Who may not remove a hidden file leaves it behind.
            self.assertIn("hidden", lost, name)
            self.assertRegex(name, r"^\.nullprint-")

    def fail_each(self, content):
        calls, whole = self.calls(content)
        self.assertIn(b"] two\n", whole[self.log.name])
        self.expect_whole(content, whole)
        for name, number in calls:
            for fault in ("error=EIO", "error=ENOSPC", "error=EINTR", "signal=KILL"):
                with self.subTest(f"{name} {number}, {fault}"):
                    status, files = self.run_traced(
                        content, ("-e", "trace=" + name, "-e", f"inject={name}:{fault}:when={number}"))
                    self.assertIn("INJECTED" if "error" in fault else "KILL", self.trace.read_text(errors="replace"))
                    self.assertEqual(status, -signal.SIGKILL if fault == "signal=KILL" else 0)
                    lost = set()
                    if name == "openat" and "error" in fault:
                        lost.add("before")  # Where the log cannot be opened, a new one takes its place.
                    if fault == "signal=KILL" or name.startswith("unlink"):
                        lost.add("hidden")
                    self.expect_whole(content, files, lost)
        return {name for name, _ in calls}

    def test_a_first_line(self):
        calls = self.fail_each({})
        self.assertLessEqual({"openat", "write", "close"}, calls)
        self.assertTrue(calls & {"rename", "renameat", "renameat2"})

    def test_a_line_behind_others(self):
        self.assertLessEqual({"openat", "write", "close"}, self.fail_each({self.log: BEFORE}))

    def test_a_line_behind_too_many(self):
        calls = self.fail_each({self.log: LARGE, self.old: OLDER})
        self.assertTrue(calls & {"unlink", "unlinkat", "remove"})


if __name__ == "__main__":
    unittest.main()
