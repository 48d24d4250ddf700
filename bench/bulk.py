#!/usr/bin/env python3
"""Cleans a tree of photos as README.md shows it, on one core and on all; interrupts and repeats it.

Prints photos a second and for each core, megabytes a second, and the peak memory of a process. Ends
with 1 when a photo has no copy or more than one, or a copy is not what one call makes.
"""

import argparse
import filecmp
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

sys.dont_write_bytecode = True

import inputs

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PHOTOS_A_FOLDER = 250


def shown_command():
    with open(os.path.join(ROOT, "README.md")) as file:
        return re.search(r"^```sh\n(find Pictures .*?)^```$", file.read(), re.MULTILINE | re.DOTALL)[1]


class Tree:
    """Photos in folders, which are links to one, so that reading them is no measure of the disk."""

    def __init__(self, build, count, megabytes):
        self.work = os.path.join(build, "bench", "bulk")
        shutil.rmtree(self.work, ignore_errors=True)
        os.makedirs(self.work)
        made = inputs.picture(self.work, "jpg", megabytes)
        self.photo = os.path.join(self.work, "photo.jpg")
        os.rename(made, self.photo)
        self.bytes = os.path.getsize(self.photo)
        self.program = os.path.join(build, "nullprint")
        subprocess.run([self.program, "--scrub", self.photo], check=True, stdout=subprocess.DEVNULL)
        self.copy = os.path.join(self.work, "photo (scrubbed).jpg")
        self.count = count
        for number in range(count):
            folder = os.path.join(self.work, "Pictures", f"{number // PHOTOS_A_FOLDER:03} roll")
            os.makedirs(folder, exist_ok=True)
            os.link(self.photo, os.path.join(folder, f"IMG {number:05}.jpg"))

    def files(self):
        for folder, _, names in os.walk(os.path.join(self.work, "Pictures")):
            yield from (os.path.join(folder, name) for name in names)

    def copies(self):
        return [path for path in self.files() if " (scrubbed" in path]

    def remove_copies(self):
        for path in self.copies():
            os.remove(path)

    def start(self, cores):
        command = shown_command().replace("$(nproc)", str(cores))
        path = os.path.dirname(self.program) + os.pathsep + os.environ["PATH"]
        return subprocess.Popen(["sh", "-c", command], cwd=self.work, start_new_session=True,
                                env={**os.environ, "PATH": path})

    def faults(self):
        """What is wrong with a tree that is said to be cleaned."""
        files = set(self.files())
        originals = {path for path in files if " (scrubbed" not in path}
        expected = originals | {path.replace(".jpg", " (scrubbed).jpg") for path in originals}
        for path in files ^ expected:
            yield f"{path} is there, or missing"
        for path in files - originals:
            if not filecmp.cmp(path, self.copy, shallow=False):
                yield f"{path} is not the copy of its photo"
        if len(originals) != self.count:
            yield f"{len(originals)} photos of {self.count} are left"


def processor_seconds():
    spent = resource.getrusage(resource.RUSAGE_CHILDREN)
    return spent.ru_utime + spent.ru_stime


def measure(tree, cores):
    tree.remove_copies()
    os.sync()
    began, spent = time.monotonic(), processor_seconds()
    tree.start(cores).wait()
    seconds, spent = time.monotonic() - began, processor_seconds() - spent
    rate = tree.count / seconds
    print(f"{cores} cores: {seconds:.1f} s, {rate:.0f} photos/s, {rate / cores:.0f} a core, "
          f"{rate * tree.bytes / 1e6:.0f} MB/s; {spent / tree.count * 1e3:.2f} ms of processor a photo",
          flush=True)
    return seconds


def peak_memory(tree, photos):
    """Of one process that cleans as many, in bytes. Stopwatch.cpp says why it is asked."""
    originals = sorted(path for path in tree.files() if " (scrubbed" not in path)[:photos]
    stopwatch = os.path.join(os.path.dirname(tree.program), "nullprint-stopwatch")
    command = [stopwatch, "1", os.devnull, tree.program, "--scrub", *originals]
    answer = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return int(answer.split()[2]) * 1024


def interrupt_and_repeat(tree, cores, seconds):
    """Ends the whole group of processes at once, as a terminal does, and then as a crash does."""
    tree.remove_copies()
    for sent in (signal.SIGINT, signal.SIGKILL):
        process = tree.start(cores)
        time.sleep(seconds / 4)
        os.killpg(process.pid, sent)
        process.wait()
        print(f"interrupted by {sent.name}: {len(tree.copies())} copies", flush=True)
    tree.start(cores).wait()
    print(f"repeated: {len(tree.copies())} copies", flush=True)
    tree.start(cores).wait()
    print(f"and once more: {len(tree.copies())} copies", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", default="build", help="where the program is, optimised")
    parser.add_argument("--photos", type=int, default=10000)
    parser.add_argument("--megabytes", type=float, default=1)
    chosen = parser.parse_args()
    tree = Tree(os.path.abspath(chosen.build), chosen.photos, chosen.megabytes)
    print(f"{tree.count} photos of {tree.bytes / 1e6:.2f} MB")
    cores = os.cpu_count()
    for used in (1, cores):
        seconds = measure(tree, used)
    faults = list(tree.faults())
    tree.remove_copies()
    print(f"peak memory of a process: {peak_memory(tree, 50) / 2**20:.1f} MiB")
    interrupt_and_repeat(tree, cores, seconds)
    faults += tree.faults()
    print("\n".join(faults[:20]) or "nothing lost, nothing cleaned twice")
    shutil.rmtree(tree.work)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
