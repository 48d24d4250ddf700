#!/usr/bin/env python3
"""Cleans every picture or document of a folder and has independent programs look at what came of it.

One line for each file: ok, or what is wrong. The exit status is 0 when every file passed.
"""

import argparse
import concurrent.futures
import dataclasses
import os
import queue
import shutil
import sys
import tempfile

import exiftool
import made
import made_documents
import plant
import plant_documents
import selfcheck
from case import Case, Programs
from document_case import DocumentCase
from process import Launcher, missing_tools


@dataclasses.dataclass
class Family:
    """A kind of files: how they are found, tried, made when there are none, and planted."""

    extensions: set
    tools: list
    case: type
    make: callable
    plant: callable
    self_check: callable


PICTURES = Family(
    extensions=set("jpg jpeg png gif webp tiff tif bmp heic heif".split()),
    tools=(
        "exiftool exiv2 identify convert pngcheck webpinfo webpmux dwebp tiffinfo tiffcp gifsicle"
        " djpeg heif-convert heif-info"
    ).split(),
    case=Case,
    make=made.make_pictures,
    plant=plant.planted,
    self_check=selfcheck.PICTURES,
)
DOCUMENTS = Family(
    extensions={"pdf"},
    tools="exiftool qpdf pdfinfo pdftotext pdftoppm".split(),
    case=DocumentCase,
    make=made_documents.make_documents,
    plant=plant_documents.planted,
    self_check=selfcheck.DOCUMENTS,
)
MISSING_STATUS = 77  # As CTest is told, so that it says that the test was left out.


def files_in(folder, extensions):
    """Paths relative to the folder, sorted."""
    found = []
    for parent, _, names in os.walk(folder):
        for name in names:
            if name.rpartition(".")[2].lower() in extensions:
                found.append(os.path.relpath(os.path.join(parent, name), folder))
    return sorted(found)


class Court:
    """Tries cases, several at once, each worker with a launcher of its own."""

    def __init__(self, programs, workers):
        self.programs = programs
        self.launchers = queue.Queue()
        for _ in range(workers):
            self.launchers.put(Launcher())
        self.workers = workers

    def each(self, step, cases):
        """Runs `step(case, launcher)` on each case."""

        def run(case):
            launcher = self.launchers.get()
            try:
                step(case, launcher)
            except Exception as error:  # A judge that stumbles has not acquitted anybody.
                case.blame(f"the judge stumbled: {type(error).__name__}: {error}")
            finally:
                self.launchers.put(launcher)

        with concurrent.futures.ThreadPoolExecutor(self.workers) as pool:
            list(pool.map(run, cases))

    def close(self):
        while not self.launchers.empty():
            self.launchers.get().close()

    def judge(self, cases):
        for case in cases:
            case.prepare()
        self.each(lambda case, launcher: case.clean(self.programs, launcher), cases)
        originals, copies = self._tags(cases)
        self.each(
            lambda case, launcher: case.judge(
                self.programs, launcher, originals.get(case.original, []), copies.get(case.copy, [])
            ),
            cases,
        )

    def _tags(self, cases):
        originals = [case.original for case in cases]
        copies = [case.copy for case in cases if case.copy]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            return tuple(pool.map(exiftool.read_all, (originals, copies)))


def cases_of(folder, extensions, scratch, kind=Case):
    names = files_in(folder, extensions)
    return [
        kind(os.path.join(folder, name), name, os.path.join(scratch, f"{index:04}"), index)
        for index, name in enumerate(names)
    ]


def tell(cases):
    failed = 0
    for case in cases:
        failed += bool(case.problems)
        notes = f" ({'; '.join(case.notes)})" if case.notes else ""
        print(f"{case.label}: {'; '.join(case.problems) if case.problems else 'ok'}{notes}")
    print(f"{len(cases) - failed} passed, {failed} failed")
    return 1 if failed or not cases else 0


def options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nullprint", required=True, help="the program under test")
    parser.add_argument(
        "--documents", action="store_true", help="judge PDF documents in place of pictures"
    )
    parser.add_argument("--plant", action="store_true", help="plant metadata before judging")
    parser.add_argument("--self-check", action="store_true", help="show that the judge can fail")
    parser.add_argument(
        "--sanitized", action="store_true", help="the program keeps freed memory: allow for that"
    )
    parser.add_argument("--keep", metavar="DIR", help="leave originals and copies in DIR")
    parser.add_argument(
        "folders",
        nargs="*",
        metavar="FOLDER",
        help="the first that holds such files is judged; when none does, some are made",
    )
    return parser.parse_args()


def chosen_folder(folders, family, scratch):
    for folder in folders:
        if files_in(folder, family.extensions):
            return folder
    return family.make(os.path.join(scratch, "made"))


def main():
    chosen = options()
    family = DOCUMENTS if chosen.documents else PICTURES
    missing = missing_tools(family.tools)
    if missing:
        print("These programs are needed and not installed: " + ", ".join(missing))
        return MISSING_STATUS
    nullprint = os.path.abspath(chosen.nullprint)
    if chosen.self_check:
        return selfcheck.check(nullprint, Court, family)
    court = Court(Programs(nullprint, is_sanitized=chosen.sanitized), os.cpu_count() or 1)
    scratch = os.path.abspath(chosen.keep) if chosen.keep else tempfile.mkdtemp(prefix="judge-")
    try:
        folder = chosen_folder(chosen.folders, family, scratch)
        cases = cases_of(folder, family.extensions, os.path.join(scratch, "cases"), family.case)
        if chosen.plant:
            cases = family.plant(cases)
        court.judge(cases)
        return tell(cases)
    finally:
        court.close()
        if not chosen.keep:
            shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())
