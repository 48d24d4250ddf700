#!/usr/bin/env python3
"""Office documents as other programs pack them, hostile ones among them, and what may go wrong.

Wants NULLPRINT, the program, and NP_FAULTY_WRITES, the library made of FaultyWrites.cpp.
"""
import io
import os
import pathlib
import resource
import shutil
import signal
import struct
import unittest
import zipfile
import zlib

from scratch import ScratchTest, large_png, preloadable

FAULTY_WRITES = preloadable(os.environ["NP_FAULTY_WRITES"])
SHARED_MEMORY = pathlib.Path("/dev/shm")  # A file system of its own, nearly everywhere.
NOBODY = 65534
MIB = 1024 * 1024
COPY = "document (scrubbed).docx"
CORE = b"<cp:coreProperties><dc:creator>%s</dc:creator></cp:coreProperties>"
STAGES = (
    "Couldn’t create a temporary workspace.",
    "Couldn’t rebuild the document (the copy could not be written).",
    "Couldn’t save the cleaned document.",
)


def as_nobody():
    """Permissions mean nothing to root; tests about them run as somebody else."""
    if os.getuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)


def archive(parts):
    """The bytes of an archive with parts of given names and contents, all deflated."""
    packed = io.BytesIO()
    with zipfile.ZipFile(packed, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as document:
        for name, content in parts:
            document.writestr(name, content)
    return packed.getvalue()


def archive_of_zeros(name, size):
    """An honest archive whose one part is `size` zeros, put together without making them."""
    block = 16 * MIB
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    piece = packer.compress(bytes(block)) + packer.flush(zlib.Z_FULL_FLUSH)
    packed = piece * (size // block) + b"\x03\x00"
    checksum = 0
    for _ in range(size // block):
        checksum = zlib.crc32(ZEROS, checksum)
    wide = struct.pack("<HHQQ", 1, 16, size, len(packed))
    told = struct.pack("<HHHHIIIHH", 0, 8, 0, 33, checksum, 0xFFFFFFFF, 0xFFFFFFFF, len(name), len(wide))
    header = b"PK\3\4" + struct.pack("<H", 45) + told + name + wide
    directory = b"PK\1\2" + struct.pack("<HH", 45, 45) + told + bytes(14) + name + wide
    start = len(header) + len(packed)
    end = b"PK\5\6" + struct.pack("<HHHHIIH", 0, 0, 1, 1, len(directory), start, 0)
    return header + packed + directory + end


ZEROS = bytes(16 * MIB)


class Office(ScratchTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.root / "temporary"
        self.temporary.mkdir()
        self.temporary.chmod(0o777)

    def tearDown(self):
        self.assertEqual(list(self.temporary.iterdir()), [])

    def put(self, content):
        (self.folder / "document.docx").write_bytes(content)
        self.before = self.names()
        self.original = content

    def environment(self, **more):
        return {**os.environ, "TMPDIR": str(self.temporary), **more}

    def clean(self, **options):
        """The sentence for the document, or "" when it was cleaned."""
        options = {"env": self.environment(), **options}
        run = self.run_program("--scrub", "document.docx", **options)
        self.assertEqual(run.returncode, 0)
        first, second = run.stdout.decode().splitlines()
        self.assertEqual(second.startswith("        -> "), first.startswith("CLEANED"))
        return "" if first.startswith("CLEANED") else second.strip()

    def expect_nothing_new(self):
        self.assertEqual(self.names(), self.before)
        self.assertEqual((self.folder / "document.docx").read_bytes(), self.original)

    def parts_of_copy(self):
        self.assertEqual(self.clean(), "")
        with zipfile.ZipFile(self.folder / COPY) as document:
            self.assertIsNone(document.testzip())
            return {part.filename: document.read(part) for part in document.infolist()}


class Packers(Office):
    def test_an_archive_that_was_written_as_a_stream(self):
        class Stream(io.BytesIO):
            def seekable(self):
                return False

            def seek(self, *_):
                raise io.UnsupportedOperation

            def tell(self):
                raise io.UnsupportedOperation

        packed = Stream()
        with zipfile.ZipFile(packed, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as document:
            with document.open("docProps/core.xml", "w", force_zip64=True) as part:
                part.write(CORE % b"Jane Roe")
            document.writestr("word/document.xml", b"<w:document/>")
        self.put(packed.getvalue())
        self.assertEqual(
            self.parts_of_copy(),
            {"docProps/core.xml": CORE % b"", "word/document.xml": b"<w:document/>"})

    def test_other_methods_are_refused(self):
        for method in (zipfile.ZIP_BZIP2, zipfile.ZIP_LZMA):
            packed = io.BytesIO()
            with zipfile.ZipFile(packed, "w", method) as document:
                document.writestr("a.xml", b"text")
            self.put(packed.getvalue())
            self.assertEqual(
                self.clean(),
                "Couldn’t open the document (a part of it is packed in an unsupported way).")
            self.expect_nothing_new()

    def test_a_copy_tells_nothing_of_its_making(self):
        self.put(archive([("docProps/core.xml", CORE % b"Jane Roe"), ("a.bin", b"unchanged" * 9)]))
        self.parts_of_copy()
        with zipfile.ZipFile(self.folder / COPY) as document:
            self.assertEqual(document.comment, b"")
            for part in document.infolist():
                self.assertEqual(part.date_time, (1980, 1, 1, 0, 0, 0))
                self.assertEqual(
                    (part.extra, part.comment, part.external_attr, part.internal_attr, part.create_system),
                    (b"", b"", 0, 0, 0))


class Bounds(Office):
    def clean_within(self, seconds, mebibytes):
        """Cleans with so much processor time and address space; with more, the program would end."""
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
            resource.setrlimit(resource.RLIMIT_AS, (mebibytes * MIB, mebibytes * MIB))

        return self.clean(preexec_fn=limit, timeout=20 * seconds)

    def test_ten_gigabytes_in_ten_megabytes(self):
        for name in (b"word/document.xml", b"word/media/image1.bmp", b"word/vbaProject.bin"):
            self.put(archive_of_zeros(name, 10240 * MIB))
            self.assertEqual(
                self.clean_within(2, 64), "Couldn’t open the document (it is larger than it may be).")
            self.expect_nothing_new()

    def test_a_part_that_is_only_copied_is_never_in_memory(self):
        self.put(archive_of_zeros(b"word/embeddings/a.bin", 1024 * MIB))
        self.assertEqual(self.clean_within(20, 64), "")
        self.assertLessEqual((self.folder / COPY).stat().st_size, len(self.original))

    def test_65000_tiny_parts(self):
        self.put(archive((f"customXml/item{number}.xml", CORE % b"Jane Roe") for number in range(65000)))
        self.assertEqual(self.clean_within(20, 128), "")
        with zipfile.ZipFile(self.folder / COPY) as document:
            self.assertEqual(len(document.infolist()), 65000)
            self.assertEqual(document.read("customXml/item64999.xml"), CORE % b"")

    def test_a_part_of_one_enormous_start_tag(self):
        self.put(archive([("word/document.xml", b"<w:p " + b'w:rsidR="00112233" ' * (200 * MIB // 19) + b"/>")]))
        self.assertEqual(
            self.clean_within(2, 64),
            "Couldn’t open the document (a part of it is larger than it may be).")
        self.expect_nothing_new()

    def test_the_largest_start_tag_that_may_be(self):
        for filling in (b'w:rsidR="00112233" ', b'w15:author="', b"x" * 19, b":author=" + b"x" * 11):
            tag = b"<w:p " + filling * ((128 * MIB - 7) // len(filling)) + b"/>"
            self.put(archive([("word/document.xml", tag)]))
            self.assertEqual(self.clean_within(60, 512), "", filling[:9])
            (self.folder / COPY).unlink()

    def test_the_largest_part_in_sixteen_bits(self):
        for text in ("<w:p>" + "あ" * 1000 + "</w:p>", "<w:p w:author=\"Jane Roe\">" + "x" * 1000 + "</w:p>"):
            part = b"\xff\xfe" + (text * (64 * MIB // len(text) - 1)).encode("utf-16-le")
            self.put(archive([("word/document.xml", part)]))
            self.assertEqual(self.clean_within(60, 512), "")
            (self.folder / COPY).unlink()

    def test_the_largest_picture(self):
        picture = large_png()
        end = picture[-12:]
        chunk = struct.pack(">I", 120 * MIB) + b"IDAT" + os.urandom(MIB) * 120
        chunk += struct.pack(">I", zlib.crc32(chunk[4:]))
        self.put(archive([("word/media/image1.png", picture[:-12] + chunk + end)]))
        self.assertEqual(self.clean_within(60, 512), "")
        self.assertLess((self.folder / COPY).stat().st_size, len(picture) + 121 * MIB)


class Faults(Office):
    def setUp(self):
        super().setUp()
        noise = os.urandom(700_000)
        self.put(archive([
            ("[Content_Types].xml", b"<Types/>"), ("docProps/core.xml", CORE % b"Jane Roe"),
            ("word/media/image1.png", large_png()), ("word/vbaProject.bin", noise)]))

    def whole_copy(self):
        self.assertEqual(self.clean(), "")
        whole = (self.folder / COPY).read_bytes()
        (self.folder / COPY).unlink()
        return whole

    def fail_each_step(self, **more):
        """Fails the first step, the second and so on; returns the sentences that were given."""
        whole = self.whole_copy()
        told = []
        for step in range(1, 100):
            faults = {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), **more}
            sentence = self.clean(env=self.environment(**faults))
            if sentence:
                self.assertIn(sentence, STAGES)
                self.expect_nothing_new()
            else:
                self.assertEqual((self.folder / COPY).read_bytes(), whole)
                (self.folder / COPY).unlink()
            told.append(sentence)
            if told[-5:] == [""] * 5:
                return told
        self.fail("the steps do not end")
        return []

    def test_a_failing_step_leaves_no_copy_and_no_workspace(self):
        told = self.fail_each_step()
        self.assertGreater(len([sentence for sentence in told if sentence]), 3)
        self.assertIn(STAGES[1], told)
        self.assertIn(STAGES[2], told)

    def test_a_failing_step_leaves_nothing_where_files_need_names(self):
        told = self.fail_each_step(NP_FAULT_NAMED="1")
        self.assertEqual({sentence for sentence in told if sentence}, set(STAGES))

    def test_a_failing_step_leaves_nothing_on_either_file_system(self):
        if not SHARED_MEMORY.is_dir() or SHARED_MEMORY.stat().st_dev == self.folder.stat().st_dev:
            self.skipTest("there is only one file system")
        elsewhere = SHARED_MEMORY / self.root.name
        elsewhere.mkdir()
        self.addCleanup(elsewhere.rmdir)
        for named in ({}, {"NP_FAULT_NAMED": "1"}):
            told = self.fail_each_step(TMPDIR=str(elsewhere), **named)
            self.assertIn(STAGES[2], told)
            self.assertEqual(list(elsewhere.iterdir()), [])

    def test_a_kill_leaves_no_copy_and_no_content(self):
        for step in range(1, 100):
            faults = {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), "NP_FAULT_KILLS": "1"}
            run = self.run_program("--scrub", "document.docx", env=self.environment(**faults))
            if run.returncode == 0:
                break
            self.assertEqual(run.returncode, -signal.SIGKILL)
            self.expect_nothing_new()
            for workspace in self.temporary.iterdir():
                workspace.rmdir()  # It is empty.
        self.assertGreater(step, 3)

    def test_a_document_too_large_for_the_system_is_a_failure(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))

        # Without `restore_signals` the program ignores SIGXFSZ, as Python does.
        self.assertEqual(self.clean(preexec_fn=limit, restore_signals=False), STAGES[1])
        self.expect_nothing_new()

    def test_a_folder_that_may_not_be_written(self):
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o755)
        self.assertEqual(self.clean(preexec_fn=as_nobody), STAGES[2])
        self.expect_nothing_new()

    def test_a_temporary_folder_that_may_not_be_written(self):
        self.temporary.chmod(0o555)
        self.assertEqual(self.clean(preexec_fn=as_nobody), STAGES[0])
        self.expect_nothing_new()

    def test_a_temporary_folder_that_is_none(self):
        for place in (self.folder / "document.docx", self.folder / "document.docx" / "in it", "/proc/nowhere",
                      self.root / ("n" * 300)):
            self.assertEqual(self.clean(env=self.environment(TMPDIR=str(place))), STAGES[0])
            self.expect_nothing_new()

    def test_a_temporary_folder_of_any_kind(self):
        made = self.root / "made" / "when it is needed"
        relative = os.path.relpath(self.temporary, self.folder)
        link = self.root / "link"
        link.symlink_to(self.temporary)
        for place in (made, relative, link, f"{self.temporary}///"):
            self.assertEqual(self.clean(env=self.environment(TMPDIR=str(place))), "")
            (self.folder / COPY).unlink()
            self.expect_nothing_new()
        self.assertEqual(list(made.iterdir()), [])

    def test_a_kill_where_files_need_names_leaves_a_workspace_at_the_most(self):
        for step in range(1, 100):
            faults = {"LD_PRELOAD": str(FAULTY_WRITES), "NP_FAULT_AT": str(step), "NP_FAULT_KILLS": "1",
                      "NP_FAULT_NAMED": "1"}
            run = self.run_program("--scrub", "document.docx", env=self.environment(**faults))
            if run.returncode == 0:
                break
            self.expect_nothing_new()
            (workspace,) = self.temporary.iterdir()
            self.assertEqual(workspace.stat().st_mode & 0o777, 0o700)
            self.assertIn([path.name for path in workspace.iterdir()], ([], ["rebuilt.zip"]))
            shutil.rmtree(workspace)
        self.assertGreater(step, 3)

    def test_a_workspace_that_is_nobody_elses_business(self):
        watch = self.environment(LD_PRELOAD=str(FAULTY_WRITES), NP_FAULT_AT="2", NP_FAULT_KILLS="1",
                                 NP_FAULT_NAMED="1")
        self.run_program("--scrub", "document.docx", env=watch)
        (workspace,) = self.temporary.iterdir()
        self.assertRegex(workspace.name, r"^nullprint-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
        self.assertEqual(workspace.stat().st_mode & 0o777, 0o700)
        self.assertEqual([path.name for path in workspace.iterdir()], ["rebuilt.zip"])
        (workspace / "rebuilt.zip").unlink()
        workspace.rmdir()


if __name__ == "__main__":
    unittest.main()
