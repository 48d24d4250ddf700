"""Whether strace, which makes system calls fail, may do so here: some containers forbid it."""
import os
import subprocess


def may_trace():
    return subprocess.run(["strace", "-qq", "-o", os.devnull, "true"], capture_output=True,
                          check=False).returncode == 0
