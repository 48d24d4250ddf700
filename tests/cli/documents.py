#!/usr/bin/env python3
"""Documents, and the process that works on them: where it is found, what happens when it fails, and
what crafted files may cost.

Wants NULLPRINT, the program, and NP_FAULTY_WRITES, the library made of FaultyWrites.cpp.
"""
import os
import pathlib
import resource
import shutil
import signal
import struct
import subprocess
import time
import unittest
import zlib

from scratch import NO_WORKER, PDF_WORKER, ScratchTest, preloadable

FAULTY_WRITES = preloadable(os.environ["NP_FAULTY_WRITES"])
COPY = "letter (scrubbed).pdf"
UNOPENABLE = "Couldn’t open the PDF (it may be damaged or password-protected)."
UNWRITABLE = "Couldn’t write the cleaned PDF."
MEGABYTE = 1 << 20

CATALOGUE = b"<</Type/Catalog/Pages 2 0 R/X 9 0 R>>"
PAGES = b"<</Type/Pages/Count 1/Kids[3 0 R]>>"
PAGE = b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]>>"


def stream(entries, data):
    return b"<<%s/Length %d>>\nstream\n%s\nendstream" % (entries, len(data), data)


def packed_pdf(objects, packed, rows=None):
    """A PDF with a packed table. `packed` tells which stream an object that is not here stands in;
    `rows` are the table's content when they are not to be what they should."""
    file = bytearray(b"%PDF-1.5\n")
    table = {number: (2, container, 0) for number, container in packed.items()}
    for number, body in objects.items():
        table[number] = (1, len(file), 0)
        file += b"%d 0 obj\n%s\nendobj\n" % (number, body)
    last = max(table) + 1
    table[last] = (1, len(file), 0)
    if rows is None:
        rows = zlib.compress(b"".join(
            struct.pack(">BIH", *table.get(number, (0, 0, 0))) for number in range(last + 1)))
    entries = b"/Type/XRef/W[1 4 2]/Root 1 0 R/Filter/FlateDecode/Size %d" % (last + 1)
    body = stream(entries, rows)
    return bytes(file) + b"%d 0 obj\n%s\nendobj\nstartxref\n%d\n%%%%EOF\n" % (last, body, len(file))


def deflated_zeros(megabytes):
    packer = zlib.compressobj(9)
    return b"".join(packer.compress(bytes(MEGABYTE)) for _ in range(megabytes)) + packer.flush()


def object_bomb():
    """An object in a stream that unpacks to four gigabytes."""
    bomb = zlib.compress(deflated_zeros(4096), 9)
    entries = b"/Type/ObjStm/N 1/First 10/Filter[/FlateDecode/FlateDecode]"
    return packed_pdf({1: CATALOGUE, 2: PAGES, 3: PAGE, 10: stream(entries, bomb)}, {9: 10})


def text_bomb():
    """A small file with a text of as many bytes as a copy of it may not have."""
    packer = zlib.compressobj(9)
    text = packer.compress(b"9 0 (") + b"".join(packer.compress(b"a" * MEGABYTE) for _ in range(72))
    text += packer.compress(b")") + packer.flush()
    entries = b"/Type/ObjStm/N 1/First 4/Filter/FlateDecode"
    return packed_pdf({1: CATALOGUE, 2: PAGES, 3: PAGE, 10: stream(entries, text)}, {9: 10})


def table_bomb():
    """A table of forty million objects."""
    packer = zlib.compressobj(9)
    row = struct.pack(">BIH", 1, 9, 0) * 100000
    rows = b"".join(packer.compress(row) for _ in range(400)) + packer.flush()
    return packed_pdf({1: CATALOGUE, 2: PAGES, 3: PAGE}, {}, rows)


def length_chain(links=20000):
    """A stream whose length is in another stream, and so on: the library follows by recursion."""
    objects = {1: CATALOGUE, 2: PAGES, 3: PAGE, 9: b"<</Length 20 0 R>>\nstream\nx\nendstream"}
    packed = {}
    for number in range(20, 20 + 2 * links, 2):
        packed[number] = number + 1
        head = b"%d 0 " % number
        objects[number + 1] = b"<</Type/ObjStm/N 1/First %d/Length %d 0 R>>\nstream\n%s1\nendstream" % (
            len(head), number + 2, head)
    objects[20 + 2 * links] = b"7"
    return packed_pdf(objects, packed)


def many_annotations(count=100000):
    """One page with as many comments as there are people."""
    first = 20
    objects = {first + number: b"<</Subtype/Text/Rect[0 0 9 9]/T(planted %d)>>" % number
               for number in range(count)}
    page = b"<</Type/Page/Parent 2 0 R/MediaBox[0 0 9 9]/Annots[%s]>>"
    return packed_pdf({1: CATALOGUE, 2: PAGES, 3: page % b" ".join(b"%d 0 R" % n for n in objects),
                       **objects}, {})


def picture_bomb():
    """A packed JPEG that unpacks to two gigabytes, which no picture has."""
    picture = stream(b"/Subtype/Image/Filter[/FlateDecode/FlateDecode/DCTDecode]",
                     zlib.compress(deflated_zeros(2048), 9))
    return packed_pdf({1: CATALOGUE, 2: PAGES, 3: PAGE, 9: picture}, {})


class Documents(ScratchTest):
    def setUp(self):
        super().setUp()
        self.before = self.names()
        self.original = (self.folder / "letter.pdf").read_bytes()

    def entry(self, name, **options):
        """What cleaning comes to: CLEANED or a sentence."""
        run = self.run_program("--scrub", name, **options)
        self.assertEqual(run.returncode, 0)
        word, message = run.stdout.decode().split("\n")[:2]
        return "CLEANED" if word.startswith("CLEANED") else message.strip()

    def expect_nothing_new(self):
        self.assertEqual(self.names(), self.before)
        self.assertEqual((self.folder / "letter.pdf").read_bytes(), self.original)

    def test_without_the_worker_no_document_opens(self):
        (self.root / PDF_WORKER).unlink()
        self.assertEqual(self.entry("letter.pdf", complaint=NO_WORKER), UNOPENABLE)
        self.expect_nothing_new()

    def test_the_worker_is_found_where_it_is_installed(self):
        for folder in ("bin", "lib/nullprint"):
            (self.root / folder).mkdir(parents=True)
        self.program = pathlib.Path(shutil.move(self.program, self.root / "bin"))
        shutil.move(self.root / PDF_WORKER, self.root / "lib/nullprint")
        self.assertEqual(self.entry("letter.pdf"), "CLEANED")

    def test_ended_processes_may_be_ignored(self):
        def ignore():
            signal.signal(signal.SIGCHLD, signal.SIG_IGN)
        self.assertEqual(self.entry("letter.pdf", preexec_fn=ignore), "CLEANED")

    def test_standard_streams_may_be_closed(self):
        command = f"'{self.program}' --scrub letter.pdf <&- >&- 2>&-"
        subprocess.run(["sh", "-c", command], cwd=self.folder, check=False)
        copy = (self.folder / COPY).read_bytes()
        (self.folder / COPY).unlink()
        self.assertEqual(self.entry("letter.pdf"), "CLEANED")
        self.assertEqual((self.folder / COPY).read_bytes(), copy)

    def test_a_failing_step_leaves_no_copy(self):
        self.assertEqual(self.entry("letter.pdf"), "CLEANED")
        whole = (self.folder / COPY).read_bytes()
        (self.folder / COPY).unlink()
        failed = 0
        for step in range(1, 12):
            for extra in ({}, {"NP_FAULT_NAMED": "1"}):
                environment = {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), **extra}
                outcome = self.entry("letter.pdf", env=environment)
                if outcome == "CLEANED":
                    self.assertEqual((self.folder / COPY).read_bytes(), whole)
                    (self.folder / COPY).unlink()
                else:
                    self.assertEqual(outcome, UNWRITABLE)
                    failed += 1
                self.expect_nothing_new()
        self.assertGreaterEqual(failed, 4)
        self.assertEqual(outcome, "CLEANED")

    def test_a_full_disk_leaves_no_copy(self):
        def small_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        self.assertEqual(self.entry("letter.pdf", preexec_fn=small_files), UNWRITABLE)
        self.expect_nothing_new()

    def test_crafted_files_have_a_price(self):
        for name, document in (("objects", object_bomb()), ("table", table_bomb()),
                               ("lengths", length_chain())):
            with self.subTest(name):
                path = self.folder / f"{name}.pdf"
                path.write_bytes(document)
                self.before = self.names()
                start = time.monotonic()
                self.assertEqual(self.entry(path.name), UNOPENABLE)
                self.run_program("--reveal", path.name)
                self.assertLess(time.monotonic() - start, 30)
                self.expect_nothing_new()
        self.expect_bounded_memory()

    def test_a_copy_has_a_bound(self):
        (self.folder / "text.pdf").write_bytes(text_bomb())
        self.before = self.names()
        self.assertEqual(self.entry("text.pdf"), UNWRITABLE)
        self.expect_nothing_new()
        self.expect_bounded_memory()

    def test_a_copy_is_looked_over_in_little_memory(self):
        """By a worker whose copy is long, and has a mark of metadata (see Outcome.h)."""
        def little_memory():
            resource.setrlimit(resource.RLIMIT_DATA, (128 * MEGABYTE, 128 * MEGABYTE))
        worker = self.root / PDF_WORKER
        worker.unlink()
        worker.write_text("#!/bin/sh\nprintf '/Metadata 1 0 R/Other'\n"
                          f"truncate -s {256 * MEGABYTE} /dev/stdout\nexit 2\n")
        worker.chmod(0o755)
        self.assertEqual(self.entry("letter.pdf", preexec_fn=little_memory), "CLEANED")
        with open(self.folder / COPY, "rb") as copy:
            self.assertEqual(copy.read(21), b" " * 15 + b"/Other")

    def test_large_documents_are_cleaned_within_bounds(self):
        for name, document in (("annotations", many_annotations()), ("picture", picture_bomb())):
            path = self.folder / f"{name}.pdf"
            path.write_bytes(document)
            self.assertEqual(self.entry(path.name), "CLEANED")
            self.assertNotIn(b"planted", (self.folder / f"{name} (scrubbed).pdf").read_bytes())
        self.expect_bounded_memory()

    def expect_bounded_memory(self):
        used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
        self.assertLess(used, 1024 * MEGABYTE)


if __name__ == "__main__":
    unittest.main()
