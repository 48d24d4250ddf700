#!/usr/bin/env python3
"""The first transcript of README.md, run as it stands there.

Wants NULLPRINT, the program.
"""
import re
import shutil
import subprocess
import unittest

from scratch import HERE, ScratchTest

ROOT = HERE.parents[1]


class Readme(ScratchTest):
    def test_the_transcript_is_what_is_printed(self):
        readme = (ROOT / "README.md").read_text()
        transcript = re.search(r"^```console\n(.*?)^```$", readme, re.MULTILINE | re.DOTALL)[1]
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


if __name__ == "__main__":
    unittest.main()
