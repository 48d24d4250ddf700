#!/usr/bin/env python3
"""Cleans every Office document of a folder and has independent programs look at what came of it.

One line for each file: ok, or what is wrong. The exit status is 0 when every file passed. Takes some
minutes, because LibreOffice opens every document twice; no other test runs this.
"""

import argparse
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import xml.parsers.expat
import zipfile

import exiftool
import frames
import metadata
import office_made
from case import Case, Programs
from judge import MISSING_STATUS, Court, cases_of, tell
from office_rules import LEFT_BY_RULES, cleaned_text, decoded
from process import missing_tools, run_tool

DOCUMENTS = set("docx docm dotx dotm xlsx xlsm xltx xltm pptx pptm ppsx potx".split())
PICTURES = set("jpg jpeg png heic heif tiff tif gif bmp webp".split())
TOOLS = "soffice pdftotext exiftool convert identify pngcheck webpinfo gifsicle tiffinfo djpeg".split()
DOCUMENT_SECONDS = 60
DETAILED = re.compile("Couldn’t open the document \\(.+\\)\\.")
ENCODING = (
    "Part of the document used an encoding Nullprint couldn’t read, so it was left unchanged rather"
    " than reported clean."
)


def extension(name):
    last = name.rpartition("/")[2]
    return last.rpartition(".")[2].lower() if "." in last else ""


def parts_of(path):
    """Contents by name, as a program sees them that unpacks the archive."""
    parts = {}
    with zipfile.ZipFile(path) as archive:
        for entry in archive.infolist():
            name = entry.filename.replace("\\", "/")
            if not name.endswith("/"):
                parts[name] = archive.read(entry)
    return parts


def complaint_about_xml(content):
    """Why this is no well-formed XML, or nothing."""
    try:
        xml.parsers.expat.ParserCreate().Parse(content, True)
    except xml.parsers.expat.ExpatError as error:
        return str(error)
    return ""


class OfficeCase(Case):
    def is_refusal(self, sentence):
        return DETAILED.fullmatch(sentence) is not None or sentence == ENCODING

    def judge(self, programs, launcher, *_):
        """What can be said without other programs."""
        for option in ("--reveal", "--inspect"):
            self._judge_run(launcher.run(*programs.nullprint, option, self.original), programs)
        if not self.copy:
            return
        before, after = parts_of(self.original), parts_of(self.copy)
        if sorted(before) != sorted(after):
            self.blame(f"the parts are not the same: {sorted(before.keys() ^ after.keys())}")
        for name in sorted(before.keys() & after.keys()):
            self._judge_part(name, before[name], after[name])
        self._judge_listing(launcher.run(*programs.nullprint, "--inspect", self.copy).text())
        self._put_pictures_aside(before, after)

    def _judge_part(self, name, before, after):
        kind = extension(name)
        if kind not in ("xml", "rels"):
            if before != after and kind not in PICTURES:
                self.blame(f"{name} was changed")
            return
        text, encoding = decoded(before)
        if text is None:
            self.blame(f"{name} has an encoding that nobody should have guessed")
        elif after != cleaned_text(name, text).encode(encoding):
            self.blame(f"{name} is not what the rules make of it")
        if not complaint_about_xml(before) and complaint_about_xml(after):
            self.blame(f"{name} is not well-formed any more: {complaint_about_xml(after)}")

    def _judge_listing(self, listing):
        for line in listing.splitlines()[1:]:
            finding = re.fullmatch(r"  RESIDUE: (.+?): (\w+)=.*", line)
            if line != "  clean" and not (finding and finding[2] in LEFT_BY_RULES):
                self.blame(f"the copy still holds {line.strip()}")

    # --- Pictures ---

    def _put_pictures_aside(self, before, after):
        self.pictures = []
        for number, name in enumerate(sorted(before.keys() & after.keys())):
            if extension(name) in PICTURES:
                paths = [
                    os.path.join(self.folder, f"{number}-{side}.{extension(name)}")
                    for side in ("before", "after")
                ]
                for path, content in zip(paths, (before[name], after[name])):
                    with open(path, "wb") as file:
                        file.write(content)
                self.pictures.append((name, *paths))

    def judge_pictures(self, programs, tags):
        for name, before, after in getattr(self, "pictures", ()):
            problems = self._picture_problems(tags.get(before, []), tags.get(after, []), before, after)
            if problems and self._cannot_be_cleaned(programs, before, after):
                self.notes.append(f"{name} stays as it is")
            else:
                self.blame(*[f"{name}: {problem}" for problem in problems])

    def _picture_problems(self, was, now, before, after):
        kind = frames.signature(before)
        problems = [f"left: {label}" for label in metadata.leftovers(now, kind)]
        problems += metadata.leaks(was, after, now, kind)
        for verdict in frames.compare(before, after):
            problems += verdict.problems
        return problems

    def _cannot_be_cleaned(self, programs, before, after):
        """Only a picture that is refused by itself may stay in a document as it was."""
        _, output, _ = run_tool(*programs.nullprint, "--scrub", before)
        with open(before, "rb") as first, open(after, "rb") as second:
            return output.startswith(b"FAILED") and first.read() == second.read()


# --- What LibreOffice shows ----------------------------------------------------------------------


class Reader:
    """Texts of documents as LibreOffice lays them out."""

    def __init__(self, folder):
        self.folder = folder
        self.profile = "-env:UserInstallation=file://" + os.path.join(folder, "profile")

    def texts(self, side, paths):
        """By number. Every side gives a document the same name, which may stand in its text."""
        source = os.path.join(self.folder, side)
        os.makedirs(source)
        documents = {}
        for number, path in paths.items():
            documents[number] = os.path.join(source, f"{number:04}.{extension(path)}")
            shutil.copyfile(path, documents[number])
        self._convert(source, list(documents.values()))
        return {number: _text_of(_pdf_of(document)) for number, document in documents.items()}

    def _convert(self, folder, documents):
        """One program for all, until one of them stops it; then another for those behind that."""
        command = ["soffice", self.profile, "--headless", "--convert-to", "pdf", "--outdir", folder]
        while documents:
            soffice = subprocess.Popen(
                command + documents,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                start_new_session=True,
            )
            _wait_while_pdfs_appear(soffice, documents)
            made = [os.path.exists(_pdf_of(document)) for document in documents]
            last = max((index for index, is_made in enumerate(made) if is_made), default=-1)
            if soffice.returncode == 0:
                return
            documents = documents[last + 2 :]


def _wait_while_pdfs_appear(soffice, documents):
    """Ends the program when it works on one document for too long."""
    made, since = 0, time.monotonic()
    while soffice.poll() is None:
        time.sleep(0.5)
        now = sum(os.path.exists(_pdf_of(document)) for document in documents)
        if now > made:
            made, since = now, time.monotonic()
        if time.monotonic() - since > DOCUMENT_SECONDS:
            os.killpg(soffice.pid, signal.SIGKILL)
            soffice.wait()


def _pdf_of(document):
    return document.rpartition(".")[0] + ".pdf"


def _text_of(path):
    if not os.path.exists(path):
        return None
    return run_tool("pdftotext", "-layout", path, "-")[1]


def judge_texts(cases, scratch):
    reader = Reader(os.path.join(scratch, "office"))
    tried = {case.number: case for case in cases if case.copy and not case.is_bad}
    before = reader.texts("before", {number: case.original for number, case in tried.items()})
    after = reader.texts("after", {number: case.copy for number, case in tried.items()})
    for number, case in tried.items():
        if before[number] is None:
            case.notes.append("LibreOffice does not open the original")
        elif before[number] != after[number]:
            case.blame("LibreOffice shows another text: " + _first_change(before[number], after[number]))
        else:
            case.notes.append(f"{len(before[number].split())} words")


def _first_change(before, after):
    if after is None:
        return "none"
    lines = zip(before.splitlines() + [b""], after.splitlines() + [b""])
    return next((f"{was!r} became {now!r}" for was, now in lines if was != now), "more or fewer lines")


# --- The trial -----------------------------------------------------------------------------------


def judge(cases, programs, scratch):
    court = Court(programs, os.cpu_count() or 1)
    try:
        for case in cases:
            case.prepare()
        court.each(lambda case, launcher: case.clean(programs, launcher), cases)
        court.each(lambda case, launcher: case.judge(programs, launcher), cases)
    finally:
        court.close()
    pictures = [path for case in cases for _, *paths in getattr(case, "pictures", ()) for path in paths]
    tags = exiftool.read_all(pictures)
    for case in cases:
        case.judge_pictures(programs, tags)
    judge_texts(cases, scratch)


def options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nullprint", required=True, help="the program under test")
    parser.add_argument("--self-check", action="store_true", help="show that the judge can fail")
    parser.add_argument("folder", nargs="?", help="documents; without it, one is made")
    return parser.parse_args()


def self_check(nullprint, scratch):
    """Stand-ins that do wrong, each in one way, must be found out, and the program itself not."""
    stand_in = os.path.join(os.path.dirname(os.path.abspath(__file__)), "office_stand_in.py")
    folder = office_made.make_documents(os.path.join(scratch, "made"))
    missed = 0
    for way, sentence in {**office_made.WRONGS, "": None}.items():
        cleaner = [sys.executable, stand_in, way, nullprint] if way else None
        here = os.path.join(scratch, way or "honest")
        cases = cases_of(folder, DOCUMENTS, here, OfficeCase)
        judge(cases, Programs(nullprint, cleaner), here)
        for case in cases:
            said = [problem for problem in case.problems if sentence and sentence in problem]
            is_right = said if sentence else not case.problems
            missed += not is_right
            print(f"{way or 'the program itself'}, {case.name}: {'ok' if is_right else case.problems}")
    return 1 if missed else 0


def main():
    chosen = options()
    missing = missing_tools(TOOLS)
    if missing:
        print("These programs are needed and not installed: " + ", ".join(missing))
        return MISSING_STATUS
    nullprint = os.path.abspath(chosen.nullprint)
    scratch = tempfile.mkdtemp(prefix="judge-office-")
    try:
        if chosen.self_check:
            return self_check(nullprint, scratch)
        folder = chosen.folder or office_made.make_documents(os.path.join(scratch, "made"))
        cases = cases_of(folder, DOCUMENTS, os.path.join(scratch, "cases"), OfficeCase)
        judge(cases, Programs(nullprint), scratch)
        return tell(cases)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    sys.exit(main())
