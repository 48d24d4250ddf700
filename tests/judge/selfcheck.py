"""Shows that the judge can fail: cleaners that do wrong, each in one way, must be found out."""

import os
import shutil
import sys
import tempfile

import made
from case import Case, Programs

# How a stand-in cleans, and the beginnings of sentences that must be said of each of its copies.
WRONGS = {
    "copy": (
        "left in the copy: IFD0:Artist",
        "the copy holds GPS:GPSMapDatum",
        "revealing the copy",
    ),
    "pixels": ("frame 0: pixels changed",),
    "profile": ("the colour profile changed",),
    "harm": ("the original was changed: bytes",),
}
PICTURES = ("photo.jpg", "profiled.png")


def check(nullprint, court_of):
    """Judges each stand-in, and the program itself, which must be found to do none of this."""
    scratch = tempfile.mkdtemp(prefix="judge-self-check-")
    try:
        folder = made.make_pictures(os.path.join(scratch, "made"), PICTURES)
        missed = sum(
            _missed(way, sentences, nullprint, court_of, folder, scratch)
            for way, sentences in {**WRONGS, "": ()}.items()
        )
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return 1 if missed else 0


def _missed(way, sentences, nullprint, court_of, folder, scratch):
    stand_in = os.path.join(os.path.dirname(os.path.abspath(__file__)), "stand_in.py")
    cleaner = [sys.executable, stand_in, way] if way else None
    cases = [
        Case(os.path.join(folder, name), name, os.path.join(scratch, way or "honest", name), index)
        for index, name in enumerate(PICTURES)
    ]
    court = court_of(Programs(nullprint, cleaner), 2)
    court.judge(cases)
    court.close()
    missed = 0
    for case in cases:
        unsaid = [s for s in sentences if not any(p.startswith(s) for p in case.problems)]
        wrong = unsaid or (case.problems if not way else [])
        missed += bool(wrong)
        verdict = _told(unsaid, case) if wrong else "ok"
        print(f"{way or 'the program itself'}, {case.name}: {verdict}")
    return missed


def _told(unsaid, case):
    return f"the judge says {case.problems}" + (f" and not {unsaid}" if unsaid else "")
