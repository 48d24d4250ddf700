#!/usr/bin/env python3
"""Runs the command-line tests: each *.cmd beside this file is a shell script, and the *.stdout of
the same name is what it must print, byte for byte.

A script runs in a fresh copy of files/, with $NULLPRINT as the program. The path of that folder is
printed as SCRATCH. A line `# status: 1` sets the exit status that is expected, a line `# stderr: …`
a line of standard error; without them the status is 0 and standard error is empty. A script with
`# needs: name` is left out when there is no such file beside the program. Whatever a
script does, the files it started with must be what they were, and no temporary file may stay.

  run.py --program build/nullprint [--rewrite] [name…]
"""
import argparse
import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SECONDS = 60


def contents(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}


def expectation(script, word):
    return [line for line in re.findall(rf"^# {word}: (.*)$", script, re.MULTILINE)]


def run_script(script, program, scratch):
    """Yields standard output and a list of what else is wrong."""
    files = scratch / "files"
    temporary = scratch / "tmp"
    shutil.copytree(HERE / "files", files)
    temporary.mkdir()
    before = contents(files)
    environment = {
        "PATH": os.environ["PATH"],
        "HOME": str(scratch),
        "TMPDIR": str(temporary),
        "LC_ALL": "C.UTF-8",
        "NULLPRINT": str(program),
    }
    run = subprocess.run(
        ["sh", "-c", script], cwd=files, env=environment, stdin=subprocess.DEVNULL,
        capture_output=True, timeout=SECONDS, check=False)

    wrong = []
    status = int((expectation(script, "status") or ["0"])[0])
    if run.returncode != status:
        wrong.append(f"exit status {run.returncode}, not {status}")
    errors = "".join(line + "\n" for line in expectation(script, "stderr"))
    if run.stderr.decode(errors="replace") != errors:
        wrong.append(f"standard error holds {run.stderr!r}")
    after = contents(files)
    wrong += [f"{name} was changed or removed" for name in before if after.get(name) != before[name]]
    left = [path.name for path in temporary.iterdir()]
    left += [name for name in after if name.startswith(".nullprint")]
    if left:
        wrong.append(f"left behind: {left}")
    return run.stdout.replace(bytes(files), b"SCRATCH"), wrong


def difference(expected, printed):
    lines = [text.decode(errors="backslashreplace").splitlines() for text in (expected, printed)]
    return "\n".join(difflib.unified_diff(*lines, "expected", "printed", lineterm=""))


def run_test(command, program, rewrite):
    """Yields what is wrong: nothing for a test that passes."""
    with tempfile.TemporaryDirectory(prefix="nullprint-cli-") as scratch:
        # Resolved, so that the program prints it as it is written here.
        printed, wrong = run_script(command.read_text(), program, pathlib.Path(scratch).resolve())
    output = command.with_suffix(".stdout")
    if rewrite:
        output.write_bytes(printed)
    if not output.exists():
        return wrong + [f"there is no {output.name}"]
    if output.read_bytes() != printed:
        wrong.append(difference(output.read_bytes(), printed) or "line ends differ")
    return wrong


def lacks(command, program):
    return [name for name in expectation(command.read_text(), "needs")
            if not program.with_name(name).exists()]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--program", required=True, type=pathlib.Path)
    parser.add_argument("--rewrite", action="store_true", help="take what is printed as right")
    parser.add_argument("names", nargs="*", help="tests to run; all without any")
    options = parser.parse_args()

    commands = sorted(HERE.glob("*.cmd"))
    if options.names:
        commands = [command for command in commands if command.stem in options.names]
    left_out = [command for command in commands if lacks(command, options.program)]
    commands = [command for command in commands if command not in left_out]
    failures = 0
    for command in left_out:
        print(f"left out  {command.stem}")
    for command in commands:
        wrong = run_test(command, options.program.resolve(), options.rewrite)
        print(f"{'FAILED' if wrong else 'passed'}  {command.stem}")
        for each in wrong:
            print("    " + each.replace("\n", "\n    "))
        failures += bool(wrong)
    print(f"{len(commands) - failures} of {len(commands)} command-line tests passed")
    return 1 if failures or not commands else 0


if __name__ == "__main__":
    sys.exit(main())
