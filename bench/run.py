#!/usr/bin/env python3
"""Measures the program against what does part of its work, and prints ratios and their targets."""

import argparse
import csv
import os
import subprocess
import sys

sys.dont_write_bytecode = True

import inputs

ROUNDS = 21
# What is cleaned, its size in megabytes, and how many times the time of cp it may take.
CLEANED = (
    ("tif", 100, 1.5),
    ("png", 30, 1.7),
    ("jpg", 40, 2.5),
    ("webp", 40, None),
    ("gif", 40, None),
    ("bmp", 40, None),
    ("heic", 3, 5.0),
)
PHOTOS, PHOTO_MEGABYTES, PHOTOS_TARGET = 200, 3, 1.8
VERSION_TARGET = 6
QPDF_SETTINGS = (
    "--stream-data=preserve",
    "--object-streams=disable",
    "--newline-before-endstream",
    "--static-id",
)
DOCUMENT_TARGET, REVEAL_TARGET = 1.2, 0.6
PACKAGES = (
    ("docx, 100 KB", inputs.letter, (), 0.8),
    ("docx, 60,000 paragraphs", inputs.novel, (60_000,), 1.5),
    ("pptx, 90 photos of 1 MB", inputs.slides, (90,), 0.25),
)
PACKAGE_ROUNDS = 11
# What unzips and zips is a shell, like whoever would do it by hand.
REPACK = 'unzip -q "$1" -d "$2" && cd "$2" && zip -q -r -X ../repacked.zip .'
PACKAGE_REVEAL_TARGET = 0.8  # Of cp.
SIZES = (1, 10, 100, 1000)
LARGE_ROUNDS = 5  # From 1000 MB on, and of 10,000 files.
COUNTS = (1, 100, 10_000)


class Bench:
    def __init__(self, build, rounds):
        self.program = os.path.join(build, "nullprint")
        self.stopwatch = os.path.join(build, "nullprint-stopwatch")
        self.in_process = os.path.join(build, "nullprint-bench")
        self.folder = os.path.join(build, "bench", "inputs")
        self.copies = os.path.join(self.folder, "copies")
        self.rounds = rounds
        os.makedirs(self.copies, exist_ok=True)

    def time(self, *commands, removed=(), rounds=None, folder=None):
        """For each command: median seconds, least seconds, peak bytes."""
        removed_list = os.path.join(self.folder, "removed.txt")
        with open(removed_list, "w") as file:
            file.writelines(path + "\n" for path in removed)
        words = [str(rounds or self.rounds), removed_list]
        for index, command in enumerate(commands):
            words += [":::"] * (index > 0) + list(command)
        answer = subprocess.run(
            [self.stopwatch, *words], check=True, capture_output=True, text=True, cwd=folder
        ).stdout
        rows = [line.split() for line in answer.splitlines()]
        return [(float(row[0]), float(row[1]), int(row[2]) * 1024) for row in rows]

    def against_copying(self, originals):
        """Seconds of cleaning and of cp, of the same files, with outputs on the same disk."""
        cleaned = [f"{base} (scrubbed){ext}" for base, ext in map(os.path.splitext, originals)]
        copied = [os.path.join(self.copies, os.path.basename(path)) for path in originals]
        clean, copy = self.time(
            [self.program, "--scrub", *originals],
            ["cp", *originals, self.copies],
            removed=cleaned + copied,
        )
        return clean[0], copy[0]


def row(what, ours, theirs, target):
    ratio = f"{ours / theirs:.2f}"
    wanted = f"{target:g}" if target else "-"
    print(f"{what:<42}{ours * 1e3:>10.1f}{theirs * 1e3:>10.1f}{ratio:>8}{wanted:>8}", flush=True)


def heading(title, *columns):
    print("\n" + f"{title:<42}" + "".join(columns))


def cleaning(bench):
    heading("Cleaning", f"{'ms':>10}{'cp, ms':>10}{'ratio':>8}{'target':>8}")
    for extension, megabytes, target in CLEANED:
        path = inputs.picture(bench.folder, extension, megabytes)
        name = f"{extension}, {os.path.getsize(path) / 1e6:.0f} MB"
        row(name, *bench.against_copying([path]), target)
    photos = inputs.photos(bench.folder, PHOTOS, PHOTO_MEGABYTES)
    name = f"{PHOTOS} photos of {PHOTO_MEGABYTES} MB, one call"
    row(name, *bench.against_copying(photos), PHOTOS_TARGET)


def revealing(bench):
    """Against ExifTool, which also starts for each file."""
    heading("Revealing", f"{'ms':>10}{'exif, ms':>10}{'ratio':>8}{'target':>8}")
    made = [inputs.picture(bench.folder, e, m) for e, m, _ in CLEANED]
    for path in (*made, inputs.letter(bench.folder), inputs.scan(bench.folder, 50)):
        reveal, exiftool = bench.time(
            [bench.program, "--reveal", path],
            ["exiftool", path],
            rounds=min(bench.rounds, PACKAGE_ROUNDS),
        )
        row(os.path.basename(path), reveal[0], exiftool[0], None)


def documents(bench):
    """Against QPDF with the settings that ours is written with."""
    heading("Documents", f"{'ms':>10}{'qpdf, ms':>10}{'ratio':>8}{'target':>8}")
    made = (
        ("scan, 50 MB", inputs.scan(bench.folder, 50)),
        ("scan, 50 MB, even sizes", inputs.even_scan(bench.folder, 50)),
        ("text, 5000 pages", inputs.text(bench.folder, 5000)),
    )
    for name, path in made:
        copy = os.path.join(bench.copies, "copy.pdf")
        clean, reveal, qpdf = bench.time(
            [bench.program, "--scrub", path],
            [bench.program, "--reveal", path],
            ["qpdf", *QPDF_SETTINGS, path, copy],
            removed=[path.removesuffix(".pdf") + " (scrubbed).pdf", copy],
        )
        row(name, clean[0], qpdf[0], DOCUMENT_TARGET)
        row(f"{name}, reveal", reveal[0], qpdf[0], REVEAL_TARGET)


def packages(bench):
    """Against unpacking into a folder and packing that."""
    heading("Office documents", f"{'ms':>10}{'zip, ms':>10}{'ratio':>8}{'target':>8}")
    folder = os.path.join(bench.copies, "unpacked")
    repacked = os.path.join(bench.copies, "repacked.zip")
    for name, make, arguments, target in PACKAGES:
        path = make(bench.folder, *arguments)
        base, extension = os.path.splitext(path)
        clean, repack = bench.time(
            [bench.program, "--scrub", path],
            ["sh", "-c", REPACK, "sh", path, folder],
            removed=[f"{base} (scrubbed){extension}", repacked, folder],
            rounds=min(bench.rounds, PACKAGE_ROUNDS),
        )
        row(name, clean[0], repack[0], target)
    copy = os.path.join(bench.copies, "copy.pptx")
    reveal, copying = bench.time(
        [bench.program, "--reveal", path], ["cp", path, copy], removed=[copy]
    )
    row(f"{name}, reveal against cp", reveal[0], copying[0], PACKAGE_REVEAL_TARGET)


def starting(bench):
    heading("Starting", f"{'ms':>10}{'true, ms':>10}{'ratio':>8}{'target':>8}")
    ours, theirs = bench.time([bench.program, "--version"], ["true"], rounds=301)
    row("--version", ours[0], theirs[0], VERSION_TARGET)


def sizes(bench, extensions):
    columns = (f"{option + ', ms':>12}{'MiB':>7}" for option in ("reveal", "clean", "list"))
    heading("By size, with peak memory", *columns)
    for extension in extensions:
        for megabytes in SIZES:
            path = inputs.picture(bench.folder, extension, megabytes)
            base, suffix = os.path.splitext(path)
            times = bench.time(
                *([bench.program, option, path] for option in ("--reveal", "--scrub", "--inspect")),
                removed=[f"{base} (scrubbed){suffix}"],
                rounds=min(bench.rounds, LARGE_ROUNDS) if megabytes >= 1000 else None,
            )
            cells = "".join(f"{t * 1e3:>12.2f}{peak / 2**20:>7.1f}" for t, _, peak in times)
            print(f"{extension + ', ' + str(megabytes) + ' MB':<42}{cells}", flush=True)


def counts(bench):
    """Photos of 100 KB in one call, per photo: what growing lists would show."""
    columns = (f"{what:>12}" for what in ("reveal, ms", "clean, ms", "cp, ms", "peak, MiB"))
    heading("By count, per photo of 100 KB", *columns)
    for count in COUNTS:
        folder, names = inputs.small_photos(bench.folder, count)
        copies = [os.path.join(bench.copies, name) for name in names]
        times = bench.time(
            [bench.program, "--reveal", *names],
            [bench.program, "--scrub", *names],
            ["cp", *names, bench.copies],
            removed=[name.replace(".jpg", " (scrubbed).jpg") for name in names] + copies,
            rounds=min(bench.rounds, LARGE_ROUNDS) if count >= 10_000 else None,
            folder=folder,
        )
        cells = "".join(f"{seconds * 1e3 / count:>12.3f}" for seconds, _, _ in times)
        peak = max(bytes for _, _, bytes in times[:2]) / 2**20
        print(f"{count:<42,}{cells}{peak:>12.1f}", flush=True)


def within(bench):
    """The engine without starting a process: the picture library alone, and both front doors."""
    print("\nIn one process, median of five", flush=True)
    files = [inputs.picture(bench.folder, e, m) for e, m, _ in CLEANED]
    files += [inputs.letter(bench.folder), inputs.text(bench.folder, 5000)]
    command = (bench.in_process, *files, "--benchmark_format=csv", "--benchmark_repetitions=5",
               "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.05")
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    for cells in csv.DictReader(lines):
        if cells["name"].endswith("_median"):
            name = cells["name"].removesuffix("_median")
            print(f"{name:<42}{float(cells['real_time']) / 1e6:>10.3f} ms", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", default="build", help="where the programs are, optimised")
    parser.add_argument("--rounds", type=int, default=ROUNDS)
    parser.add_argument("--in-process", action="store_true", help="only what is measured without starting a process")
    chosen = parser.parse_args()
    bench = Bench(os.path.abspath(chosen.build), chosen.rounds)
    if chosen.in_process:
        within(bench)
        return 0
    cleaning(bench)
    revealing(bench)
    documents(bench)
    packages(bench)
    starting(bench)
    sizes(bench, ("tif", "jpg"))
    counts(bench)
    within(bench)
    return 0


if __name__ == "__main__":
    sys.exit(main())
