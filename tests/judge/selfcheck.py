"""Shows that the judge can fail: cleaners that do wrong, each in one way, must be found out."""

import dataclasses
import os
import shutil
import sys
import tempfile

import made
import made_documents
from case import Case, Programs


@dataclasses.dataclass
class Wrongs:
    """How stand-ins clean these files, and the beginnings of sentences that must be said of each of
    their copies."""

    made: callable
    ways: dict


PICTURES = Wrongs(
    made=lambda folder: made.make_pictures(folder, ("photo.jpg", "profiled.png")),
    ways={
        "copy": (
            "left in the copy: IFD0:Artist",
            "the copy holds GPS:GPSMapDatum",
            "revealing the copy",
        ),
        "pixels": ("frame 0: pixels changed",),
        "profile": ("the colour profile changed",),
        "harm": ("the original was changed: bytes",),
    },
)
DOCUMENTS = Wrongs(
    made=lambda folder: made_documents.make_documents(folder, ("letter.pdf", "packed.pdf")),
    ways={
        "copy": (
            "left in the copy: PDF:Author",
            "pdfinfo finds 'Author",
            "pdfinfo finds a metadata stream",
            "the copy has an information dictionary",
            "the copy has an identifier of the original",
            "the copy has /PieceInfo",
            "an annotation has /T",
            "an annotation has /NM",
            "revealing the copy",
            "the listing of the copy",
            "the planted secret is in the copy",
        ),
        "document-author": ("an annotation has /T 'u:Ann'", "revealing the copy"),
        "document-pixel": ("pixels changed on page 1", "the data of catalogue"),
        "document-text": ("the text changed",),
        "document-value": ("catalogue/Pages/Kids[0]/Annots[1]/V",),
        "document-remark": ("catalogue/Pages/Kids[0]/Annots[0]/Contents",),
        "document-attachment": ("attachments changed",),
        "document-broken": ("qpdf finds the copy worse than the original",),
        "document-harm": ("the original was changed: bytes",),
    },
)


def check(nullprint, court_of, family):
    """Judges each stand-in, and the program itself, which must be found to do none of this."""
    scratch = tempfile.mkdtemp(prefix="judge-self-check-")
    try:
        folder = os.path.join(scratch, "made")
        family.self_check.made(folder)
        names = sorted(n for n in os.listdir(folder) if n.rpartition(".")[2] in family.extensions)
        missed = sum(
            _missed(way, sentences, family, (nullprint, court_of), [os.path.join(folder, n) for n in names])
            for way, sentences in {**family.self_check.ways, "": ()}.items()
        )
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return 1 if missed else 0


def _missed(way, sentences, family, tried, paths):
    nullprint, court_of = tried
    stand_in = os.path.join(os.path.dirname(os.path.abspath(__file__)), "stand_in.py")
    cleaner = [sys.executable, stand_in, way, nullprint] if way else None
    cases = []
    for index, path in enumerate(paths):
        name = os.path.basename(path)
        folder = os.path.join(os.path.dirname(path), "..", way or "honest", name)
        cases.append(family.case(path, name, os.path.abspath(folder), index))
        cases[-1].secret = getattr(family.case, "made_secret", None)
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
