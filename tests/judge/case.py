"""One picture on trial: it is cleaned, and what came of it is looked at from all sides."""

import hashlib
import os
import shutil
import stat

import exiftool
import frames
import metadata
import reveal

MOST_SECONDS = 5
MEMORY_FLOOR = 64 << 20
SANITIZED_FLOOR = 512 << 20
MEMORY_FACTOR = 3
REFUSALS = ("Couldn’t read the image.", "Couldn’t write the cleaned image.")
# Copies must take over the permissions whatever they are, so originals take turns at these.
MODES = (0o644, 0o600, 0o640, 0o444)


class Programs:
    """The program under test. `cleaner` stands in for it at cleaning when the judge is tested."""

    def __init__(self, nullprint, cleaner=None, is_sanitized=False):
        self.nullprint = [nullprint]
        self.cleaner = cleaner or self.nullprint
        self.memory_floor = SANITIZED_FLOOR if is_sanitized else MEMORY_FLOOR


class Case:
    def __init__(self, source, label, folder, number):
        self.label = label
        self.is_bad = "bad" in label.split(os.sep)[:-1]
        self.folder = folder
        self.name = os.path.basename(source)
        self.original = os.path.join(folder, self.name)
        self.copy = None
        self.secret = None
        self.problems = []
        self.notes = []
        self.number = number
        os.makedirs(folder)
        shutil.copyfile(source, self.original)
        shutil.copystat(source, self.original)
        os.chmod(self.original, 0o644)

    def blame(self, *problems):
        self.problems += problems

    def prepare(self):
        """The last step before the trial: planting may have rewritten the file."""
        os.chmod(self.original, MODES[self.number % len(MODES)])

    # --- Cleaning ---

    def clean(self, programs, launcher):
        before = _snapshot(self.original)
        outcome = launcher.run(*programs.cleaner, "--scrub", self.original)
        self._judge_run(outcome, programs)
        self._judge_output(outcome)
        if _snapshot(self.original) != before:
            self.blame("the original was changed: " + _difference(before, _snapshot(self.original)))
        expected = {self.name} | ({os.path.basename(self.copy)} if self.copy else set())
        if set(os.listdir(self.folder)) != expected:
            self.blame(f"other files appeared: {sorted(set(os.listdir(self.folder)) - expected)}")
        if self.copy and _mode(self.copy) != _mode(self.original):
            self.blame(f"permissions {_mode(self.original):o} became {_mode(self.copy):o}")
        if self.copy:
            self._clean_again(programs, launcher)

    def _judge_run(self, outcome, programs):
        if outcome.status != 0:
            self.blame(f"the program ended with status {outcome.status}")
        if outcome.complaints:
            self.blame(f"standard error is not empty: {outcome.complaints[:120]!r}")
        if outcome.seconds >= MOST_SECONDS:
            self.blame(f"took {outcome.seconds:.1f} s")
        most = programs.memory_floor + MEMORY_FACTOR * os.path.getsize(self.original)
        if outcome.peak_bytes > most:
            self.blame(f"took {outcome.peak_bytes >> 20} MiB of memory")

    def _judge_output(self, outcome):
        base, extension = os.path.splitext(self.original)
        copy = f"{base} (scrubbed){extension}"
        text = outcome.text()
        if text == f"CLEANED    {self.original}\n        -> {copy}\n" and os.path.isfile(copy):
            self.copy = copy
            return
        before = f"FAILED     {self.original}\n        "
        refusal = text.removeprefix(before).removesuffix("\n")
        if text != before + refusal + "\n" or not self.is_refusal(refusal):
            self.blame(f"the two lines of output are wrong: {text!r}")
        elif self.is_bad:
            self.notes.append("refused: " + refusal)
        else:
            self.blame("not cleaned: " + refusal)

    def is_refusal(self, sentence):
        return sentence in REFUSALS

    def _clean_again(self, programs, launcher):
        folder = os.path.join(self.folder, "again")
        os.mkdir(folder)
        path = os.path.join(folder, self.name)
        shutil.copyfile(self.copy, path)
        launcher.run(*programs.cleaner, "--scrub", path)
        base, extension = os.path.splitext(path)
        again = f"{base} (scrubbed){extension}"
        if not os.path.isfile(again):
            self.blame("the copy cannot be cleaned again")
        elif not self._same_again(again):
            self.blame("cleaning the copy again changes it")

    def _same_again(self, again):
        return _digest(again) == _digest(self.copy)

    # --- Looking at the copy ---

    def judge(self, programs, launcher, original_entries, copy_entries):
        self._judge_reports(programs, launcher, original_entries)
        if not self.copy:
            return
        kind = frames.signature(self.original)
        count = self._judge_frames(kind)
        left = metadata.leftovers(copy_entries, kind)
        self.blame(*[f"left in the copy: {label}" for label in left])
        self.blame(*metadata.lost_structure(original_entries, copy_entries, kind, count))
        self.blame(*metadata.new_warnings(original_entries, copy_entries))
        self.blame(*metadata.new_complaints(self.original, self.copy, kind))
        self.blame(*metadata.leaks(original_entries, self.copy, copy_entries, kind))
        self._judge_appearance(original_entries, copy_entries, kind)
        self._judge_secret()
        self._judge_silence(programs, launcher)

    def _judge_frames(self, kind):
        verdicts = frames.compare(self.original, self.copy)
        if not self.is_bad and not any(verdict.frames for verdict in verdicts):
            self.blame("no judge can decode the picture")
        for verdict in verdicts:
            self.blame(*verdict.problems)
        self.notes.append("pixels by " + ", ".join(v.judge for v in verdicts))
        return max((v.frames for v in verdicts), default=0)

    def _judge_appearance(self, original_entries, copy_entries, kind):
        was, now = (exiftool.profiles(e) for e in (original_entries, copy_entries))
        if not metadata.same_profiles(was, now, kind):
            sizes = [[len(profile) for profile in profiles] for profiles in (was, now)]
            self.blame(f"the colour profile changed: {sizes[0]} bytes became {sizes[1]}")
        was, now = (metadata.orientation(e, kind) for e in (original_entries, copy_entries))
        if was != now:
            self.blame(f"the orientation was {was}, is {now}")
        was, now = (metadata.resolution(e, kind) for e in (original_entries, copy_entries))
        if not metadata.same_resolution(was, now):
            self.blame(f"the resolution was {was}, is {now}")

    def _judge_secret(self):
        if self.secret is None:
            return
        with open(self.copy, "rb") as file:
            data = file.read()
        for code in ("ascii", "utf-16-le", "utf-16-be"):
            if self.secret.encode(code) in data:
                self.blame(f"the planted secret is in the copy ({code})")

    def _judge_silence(self, programs, launcher):
        name = os.path.basename(self.copy)
        report = launcher.run(*programs.nullprint, "--reveal", self.copy)
        shown, problem = reveal.shown_items(report.text(), name)
        if problem or shown:
            self.blame(f"revealing the copy shows {problem or shown}")
        listing = launcher.run(*programs.nullprint, "--inspect", self.copy)
        if listing.text() != f"== {name} ==\n  clean\n":
            self.blame(f"the listing of the copy is not clean: {listing.text()!r}")

    # --- Looking at what is told of the original ---

    def _judge_reports(self, programs, launcher, entries):
        with open(self.original, "rb") as file:
            data = file.read()
        report = launcher.run(*programs.nullprint, "--reveal", self.original)
        listing = launcher.run(*programs.nullprint, "--inspect", self.original)
        self._judge_run(report, programs)
        self._judge_run(listing, programs)
        if self.is_bad:  # What can be told of a damaged file is nobody's promise.
            return
        self.blame(*reveal.check_report(report.text(), self.name, entries, data))
        self.blame(*reveal.check_listing(listing.text(), self.name, entries, data))


def _mode(path):
    return stat.S_IMODE(os.stat(path).st_mode)


def _digest(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def _snapshot(path):
    """All that must stay as it is; the time of the last access may change by being read."""
    facts = os.stat(path)
    return {
        "bytes": _digest(path),
        "mode": facts.st_mode,
        "owner": (facts.st_uid, facts.st_gid),
        "inode": facts.st_ino,
        "links": facts.st_nlink,
        "time of change": facts.st_mtime_ns,
        "time of status change": facts.st_ctime_ns,
        "attributes": sorted((a, os.getxattr(path, a)) for a in os.listxattr(path)),
    }


def _difference(before, after):
    return ", ".join(key for key in before if before[key] != after[key])
