"""One document on trial. How it is cleaned is judged as a picture's cleaning is; what came of it is
a document's own: pages as text and as pixels, fields, comments, attachments, and what it tells."""

import hashlib
import os
import re
import tempfile

import document_reports as reports
import made_documents
import qpdf
import sameness
from case import Case
from process import run_tool

LOCKED = "The PDF is password-protected. Unlock it first, then scrub."
UNOPENABLE = "Couldn’t open the PDF (it may be damaged or password-protected)."

# What exiftool may find in a copy; anything else tells where the document comes from. What it finds
# inside pictures on pages is judged by their own list.
KEPT_TAGS = set(
    "PDFVersion Linearized PageCount PageMode PageLayout HasXFA UserAccess Encryption Language"
    " TaggedPDF SigningDate SigningReason SigningAuthority SigningLocation ModificationPermissions"
    " MarkInfo Warning AnnotationUsageRights FormUsageRights".split()
)
KEPT_GROUPS = {"System", "File", "ExifTool", "Composite", "ICC", "ICC-view", "ICC-meas", "ICC_Profile"}
PICTURE_TAGS = re.compile(r"EmbeddedImage\w*|DCTEncodeVersion|APP14Flags\d|ColorTransform|JFIFVersion"
                          r"|ResolutionUnit|[XY]Resolution")
# What pdfinfo may find in a copy.
KEPT_FACTS = set(
    "Custom Metadata|Metadata Stream|Tagged|UserProperties|Suspects|Form|JavaScript|Pages|Encrypted"
    "|Page size|Page rot|File size|Optimized|PDF version".split("|")
)
DOTS_PER_INCH = "60"
# What documents have that are to have none.
ANYBODYS_IDENTIFIERS = {bytes(16).hex(), "31415926535897932384626433832795"}


class DocumentCase(Case):
    made_secret = made_documents.HIDDEN.decode()

    def _judge_output(self, outcome):
        """What a document must come to is known from what qpdf makes of it."""
        sentence = None
        if qpdf.is_locked(self.original):
            sentence = LOCKED
        elif qpdf.page_count(self.original) is None:
            sentence = UNOPENABLE
        if sentence is None:
            super()._judge_output(outcome)
        elif outcome.text() != f"FAILED     {self.original}\n        {sentence}\n":
            self.blame(f"this has to be said: {sentence!r}, and not {outcome.text()!r}")
        else:
            self.notes.append("refused: " + sentence)

    def _same_again(self, again):
        """Encrypting takes random numbers."""
        if "/Encrypt" not in qpdf.Document(self.copy).trailer:
            return super()._same_again(again)
        return not sameness.differences(qpdf.Document(self.copy), qpdf.Document(again))

    def judge(self, programs, launcher, original_entries, copy_entries):
        if not self.copy:
            self._judge_refusal(programs, launcher)
            return
        original, copy = qpdf.Document(self.original), qpdf.Document(self.copy)
        self._judge_reports_of(original, programs, launcher)
        self._judge_wholeness()
        self._judge_pages()
        self.blame(*sameness.differences(original, copy))
        self._judge_comments(copy)
        self._judge_encryption(original, copy)
        self._judge_information(original, copy)
        self._judge_tags(copy_entries)
        self._judge_attachments()
        self._judge_secret()
        self._judge_quiet(programs, launcher)

    # --- The document that stayed ---

    def _judge_wholeness(self):
        was, now = qpdf.check(self.original), qpdf.check(self.copy)
        if now[0] > was[0]:
            self.blame(f"qpdf finds the copy worse than the original: {now[1][-200:]!r}")
        was, now = qpdf.page_count(self.original), qpdf.page_count(self.copy)
        if was != now:
            self.blame(f"{was} pages became {now}")

    def _judge_pages(self):
        was, now = (run_tool("pdftotext", "-layout", path, "-") for path in (self.original, self.copy))
        if was[:2] != now[:2]:
            self.blame("the text changed")
        was, now = (_pixels(path) for path in (self.original, self.copy))
        changed = [number for number in sorted(was.keys() | now.keys()) if was.get(number) != now.get(number)]
        if changed:
            self.blame(f"pixels changed on page {', '.join(changed[:5])}")
        self.notes.append(f"{len(was)} pages by pdftoppm")

    def _judge_attachments(self):
        was, now = (_attachments(path) for path in (self.original, self.copy))
        if was != now:
            self.blame(f"attachments changed: {sorted(was)} became {sorted(now)}")

    # --- What went ---

    def _judge_comments(self, copy):
        for annotation in copy.page_annotations():
            if not isinstance(annotation, dict) or copy.entry(annotation, "/Subtype") == "/Widget":
                continue
            for key in sameness.CLEARED:
                if annotation.get(key) != "u:":
                    self.blame(f"an annotation has {key} {annotation.get(key)!r}")
            if "/NM" in annotation:
                self.blame(f"an annotation has /NM {annotation['/NM']!r}")

    def _judge_encryption(self, original, copy):
        """With these, passwords and permissions are what they were."""
        was, now = (document.entry(document.trailer, "/Encrypt") or {} for document in (original, copy))
        changed = [key for key in ("/V", "/R", "/O", "/P") if was.get(key) != now.get(key)]
        if changed:
            self.blame(f"encryption changed: {changed}")

    def _judge_information(self, original, copy):
        if "/Info" in copy.trailer:
            self.blame("the copy has an information dictionary")
        shared = original.identifiers() & copy.identifiers() - ANYBODYS_IDENTIFIERS
        if shared:
            self.blame(f"the copy has an identifier of the original: {sorted(shared)}")
        for dictionary in copy.all_dictionaries():
            for key in ("/Metadata", "/PieceInfo"):
                if key in dictionary:
                    self.blame(f"the copy has {key}")
            if copy.entry(dictionary, "/Type") == "/Metadata":
                self.blame("the copy has a metadata stream")
        _, output, _ = run_tool("pdfinfo", self.copy)
        for line in output.decode(errors="replace").splitlines():
            if line.partition(":")[0] not in KEPT_FACTS:
                self.blame(f"pdfinfo finds {line!r}")
        if run_tool("pdfinfo", "-meta", self.copy)[1].strip():
            self.blame("pdfinfo finds a metadata stream")

    def _judge_tags(self, entries):
        for entry in entries:
            if entry.group in KEPT_GROUPS or entry.group.startswith("ICC"):
                continue
            kept = entry.is_embedded and PICTURE_TAGS.fullmatch(entry.name)
            if not kept and not (entry.group == "PDF" and entry.name in KEPT_TAGS):
                self.blame(f"left in the copy: {entry.label()} = {entry.values[:1]}")

    def _judge_secret(self):
        if self.secret is not None and self.holds_secret(self.copy):
            self.blame("the planted secret is in the copy")

    def holds_secret(self, path):
        """Also when it is packed, encrypted or written in hexadecimal digits."""
        with tempfile.NamedTemporaryFile(suffix=".pdf") as plain:
            run_tool("qpdf", "--qdf", "--decrypt", "--object-streams=disable", path, plain.name)
            data = plain.read()
        with open(path, "rb") as file:
            data += file.read()
        data = data.lower()
        secrets = [self.secret.lower().encode(code) for code in ("ascii", "utf-16-be")]
        digits = [self.secret.encode(code).hex().encode() for code in ("ascii", "utf-16-be")]
        return any(secret in data for secret in secrets + digits)

    # --- What is told ---

    def _told(self, programs, launcher, option, path):
        outcome = launcher.run(*programs.nullprint, option, path)
        self._judge_run(outcome, programs)
        return outcome.text()

    def _expect(self, told, expected, what):
        if told != expected:
            self.blame(f"{what}: {told!r}, and not {expected!r}")

    def _judge_reports_of(self, original, programs, launcher):
        with open(self.original, "rb") as file:
            data = file.read()
        report = self._told(programs, launcher, "--reveal", self.original)
        self._expect(report, reports.expected_report(self.name, original, data), "revealing shows")
        listing = reports.expected_listing(self.name, original)
        if listing is not None:
            told = self._told(programs, launcher, "--inspect", self.original)
            self._expect(told, listing, "the listing is")

    def _judge_refusal(self, programs, launcher):
        report = self._told(programs, launcher, "--reveal", self.original)
        self._expect(report, reports.unopened_report(self.name), "revealing shows")
        listing = self._told(programs, launcher, "--inspect", self.original)
        self._expect(listing, f"== {self.name} ==\n  clean\n", "the listing is")

    def _judge_quiet(self, programs, launcher):
        name = os.path.basename(self.copy)
        report = self._told(programs, launcher, "--reveal", self.copy)
        self._expect(report, reports.silent_report(name), "revealing the copy shows")
        listing = self._told(programs, launcher, "--inspect", self.copy)
        self._expect(listing, f"== {name} ==\n  clean\n", "the listing of the copy is")


def _pixels(path):
    """The number of each page, and a hash of its pixels."""
    with tempfile.TemporaryDirectory(prefix="judge-pages-") as folder:
        run_tool("pdftoppm", "-r", DOTS_PER_INCH, path, os.path.join(folder, "page"))
        hashes = {}
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), "rb") as file:
                number = name.removesuffix(".ppm").rpartition("-")[2]
                hashes[number] = hashlib.file_digest(file, "sha256").hexdigest()
        return hashes


def _attachments(path):
    """The name of each attachment, and a hash of its content."""
    _, output, _ = run_tool("qpdf", "--list-attachments", path)
    names = re.findall(r"^(.*) -> \d+,\d+$", output.decode(errors="replace"), flags=re.M)
    return {
        name: hashlib.sha256(run_tool("qpdf", f"--show-attachment={name}", path)[1]).hexdigest()
        for name in names
    }
