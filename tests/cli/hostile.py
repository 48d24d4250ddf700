#!/usr/bin/env python3
"""Archives that were made to do harm: cleaned or refused in the right words, with bounded time,
memory and disk, with nothing left behind and nothing touched outside. Wants NULLPRINT, the program,
and what office.py wants.
"""
import dataclasses
import os
import resource
import struct
import unittest
import zipfile
import zlib

from office import COPY, CORE, MIB, Office, archive

SECONDS = 30
MEBIBYTES = 512
DAMAGED = "Couldn’t open the document (it is damaged or cut short)."
PART_DAMAGED = "Couldn’t open the document (a part of it is damaged)."
ENCRYPTED = "Couldn’t open the document (a part of it is encrypted)."
UNSUPPORTED = "Couldn’t open the document (a part of it is packed in an unsupported way)."
UNSAFE = "Couldn’t open the document (a part of it has an unsafe name)."
LINK = 0xA1FF0000
STORED, DEFLATED = 0, 8


@dataclasses.dataclass
class Entry:
    """What an archive tells of an entry is right unless it is set here."""

    name: bytes
    content: bytes = b""
    method: int = DEFLATED
    flags: int = 0
    attributes: int = 0
    checksum: int | None = None
    size: int | None = None
    packed_size: int | None = None
    offset: int | None = None
    has_descriptor: bool = False
    is_wide: bool = False

    def packed(self):
        if self.method != DEFLATED:
            return self.content
        packer = zlib.compressobj(9, zlib.DEFLATED, -15)
        return packer.compress(self.content) + packer.flush()

    def records(self, place):
        """The entry as it stands at a place, and its header in the directory."""
        packed = self.packed()
        told = lambda value, right: right if value is None else value
        checksum = told(self.checksum, zlib.crc32(self.content))
        sizes = (told(self.packed_size, len(packed)), told(self.size, len(self.content)))
        flags = self.flags | (8 if self.has_descriptor else 0)
        offset = told(self.offset, place)
        extra = b""
        if self.is_wide:
            extra = struct.pack("<HHQQQ", 1, 24, sizes[1], sizes[0], offset)
            sizes, offset = (0xFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFF
        own = (0, 0, 0) if self.has_descriptor else (checksum, *sizes)
        head = struct.pack("<4sHHHI", b"PK\3\4", 45, flags, self.method, 33 << 16)
        head += struct.pack("<IIIHH", *own, len(self.name), len(extra)) + self.name + extra
        data = head + packed
        if self.has_descriptor:
            data += struct.pack("<4sIII", b"PK\7\x08", checksum, *sizes)
        header = struct.pack("<4sHHHHI", b"PK\1\2", 45, 45, flags, self.method, 33 << 16)
        header += struct.pack("<IIIHHHHHII", checksum, *sizes, len(self.name), len(extra), 0, 0, 0,
                              self.attributes, offset)
        return data, header + self.name + extra


def packed(*entries, is_wide=False):
    body, directory = bytearray(), bytearray()
    for each in entries:
        data, header = each.records(len(body))
        body += data
        directory += header
    count, length, start = len(entries), len(directory), len(body)
    end = b""
    if is_wide:
        end = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, count, count, length, start)
        end += struct.pack("<4sIQI", b"PK\6\7", 0, start + length, 1)
        count, length, start = 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF
    end += struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, count, count, length, start, 0)
    return bytes(body + directory + end)


BEFORE = CORE % b"Jane Roe"
AFTER = CORE % b""
PLAIN = Entry(b"docProps/core.xml", BEFORE)
NOISE = os.urandom(5000)


def overlapping(count):
    """Entries that all have the same bytes: small, and enormous when it is unpacked."""
    content = bytes(MIB)
    kernel = Entry(b"word/media/0.bin", content)
    others = {"packed_size": len(kernel.packed()), "size": MIB, "checksum": zlib.crc32(content), "offset": 0}
    return packed(kernel, *(Entry(b"word/media/%d.bin" % n, **others) for n in range(1, count)))


class Bounded(Office):
    def setUp(self):
        super().setUp()
        self.outside = self.root / "outside.xml"
        self.outside.write_bytes(BEFORE)

    def everything(self):
        """All files of the test's own folder, where every path of an archive that leads out ends."""
        files = (path for path in self.root.rglob("*") if path.is_file())
        return {str(path): (path.stat().st_mtime_ns, path.read_bytes()) for path in files
                if path.name not in ("nullprint", "nullprint-pdf")}

    def limits(self):
        most = len(self.original) + 100_000  # Not what is in the archive: that may be any size.

        def set_limits():
            resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))
            resource.setrlimit(resource.RLIMIT_AS, (MEBIBYTES * MIB, MEBIBYTES * MIB))
            resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))

        return {"preexec_fn": set_limits, "timeout": 10 * SECONDS, "env": self.environment()}

    def look(self, option):
        """The lines of a report or a listing."""
        run = self.run_program(option, "document.docx", **self.limits())
        self.assertEqual(run.returncode, 0)
        return run.stdout.decode().splitlines()

    def expect(self, content, sentence):
        """Cleans, reveals and lists it, and compares all there is before and after."""
        self.put(content)
        before = self.everything()
        self.look("--inspect")
        report = self.look("--reveal")
        self.assertEqual("  Couldn’t open this document." in report, sentence != "")
        self.assertEqual(self.clean(**self.limits()), sentence)
        after = self.everything()
        copy = after.pop(str(self.folder / COPY), None)
        self.assertEqual(copy is None, sentence != "")
        self.assertEqual(after, before)
        (self.folder / COPY).unlink(missing_ok=True)

    def expect_parts(self, content, parts):
        self.expect(content, "")
        self.put(content)
        self.assertEqual(self.parts_of_copy(), parts)
        (self.folder / COPY).unlink()


class Hostile(Bounded):
    def test_names_that_lead_out(self):
        absolute = str(self.outside).encode()
        for name in (b"../outside.xml", b"word/../../outside.xml", b"..\\outside.xml", absolute,
                     b"//" + absolute, b"C:\\outside.xml", b"\\\\server\\outside.xml", b"..", b"word/..",
                     b"a.bin\0.xml", b"", b"./"[:1]):
            with self.subTest(name):
                self.expect(packed(PLAIN, Entry(name, b"<harm/>")), UNSAFE)

    def test_a_file_that_is_a_folder(self):
        inside = Entry(b"word/document.xml", BEFORE)
        for first, second in ((Entry(b"word", b"x"), inside), (inside, Entry(b"word", b"x"))):
            self.expect(packed(PLAIN, first, second), UNSAFE)
        # The trick behind it: a link in the place of the folder.
        link = Entry(b"word", str(self.root).encode(), STORED, attributes=LINK)
        self.expect(packed(link, Entry(b"word/outside.xml", b"<harm/>")), UNSAFE)

    def test_links_lead_nowhere(self):
        target = str(self.outside).encode()
        self.expect_parts(
            packed(PLAIN, Entry(b"word/document.xml", target, STORED, attributes=LINK),
                   Entry(b"word/media/a.jpg", target, STORED, attributes=LINK)),
            {"docProps/core.xml": AFTER, "word/document.xml": target, "word/media/a.jpg": target})

    def test_names_that_are_only_strange(self):
        deep = b"folder/" * 1000 + b"core.xml"
        self.expect_parts(
            packed(Entry(b"docProps\\core.xml", BEFORE), Entry(deep, BEFORE), Entry(b".hidden.xml", BEFORE)),
            {"docProps/core.xml": AFTER, deep.decode(): AFTER, ".hidden.xml": AFTER})
        control = Entry(b"word/\x1b[2J\n\x7f.xml", BEFORE)
        self.expect(packed(control), "")

    def test_of_several_with_one_name_the_last_counts(self):
        self.expect_parts(
            packed(Entry(b"a.xml", b"<old/>"), PLAIN, Entry(b"./a.xml", b"<new/>")),
            {"docProps/core.xml": AFTER, "a.xml": b"<new/>"})

    def test_entries_that_share_bytes(self):
        self.expect(packed(PLAIN, Entry(b"b.xml", BEFORE, offset=0)), DAMAGED)
        self.expect(overlapping(20000), DAMAGED)
        inner = packed(PLAIN)
        self.expect(packed(Entry(b"a.bin", inner[:60], STORED, packed_size=len(inner), size=len(inner)), PLAIN),
                    DAMAGED)

    def test_sizes_and_checksums_that_are_wrong(self):
        for name in (b"a.xml", b"a.bin", b"a.png"):
            self.expect(packed(Entry(name, NOISE, size=5001)), PART_DAMAGED)
            self.expect(packed(Entry(name, NOISE, size=4999)), PART_DAMAGED)
            self.expect(packed(Entry(name, NOISE, STORED, size=4999)), PART_DAMAGED)
            self.expect(packed(Entry(name, b"x" * 5000, size=0xFFFFFFFE)), PART_DAMAGED)
            self.expect(packed(Entry(name, NOISE, packed_size=0x7FFFFFFF)), DAMAGED)
            self.expect(packed(Entry(name, NOISE, packed_size=1 << 62, size=1 << 62, is_wide=True)), DAMAGED)

    def test_a_wrong_checksum(self):
        for name in (b"a.xml", b"a.bin", b"a.png", b"_rels/a.rels"):
            self.expect(packed(PLAIN, Entry(name, b"<text/>", checksum=1)), PART_DAMAGED)

    def test_what_cannot_be_unpacked(self):
        for flags in (0x0001, 0x0041, 0x2000):
            self.expect(packed(PLAIN, Entry(b"a.xml", b"<text/>", flags=flags)), ENCRYPTED)
        for method in (1, 6, 9, 12, 14, 93, 95, 99):
            self.expect(packed(PLAIN, Entry(b"a.xml", b"<text/>", method)), UNSUPPORTED)

    def test_ways_of_writing_that_are_only_rare(self):
        parts = {"docProps/core.xml": AFTER, "a.bin": NOISE}
        for is_wide in (False, True):
            for has_descriptor in (False, True):
                document = packed(
                    dataclasses.replace(PLAIN, is_wide=is_wide, has_descriptor=has_descriptor and not is_wide),
                    Entry(b"a.bin", NOISE, STORED, is_wide=is_wide), is_wide=is_wide)
                self.expect_parts(document, parts)
                self.expect_parts(b"MZ before\n" * 100 + document, parts)
                self.expect_parts(document + b"behind\n" * 100, parts)

    def test_cut_short_anywhere(self):
        whole = packed(PLAIN, Entry(b"a.bin", NOISE), is_wide=True)
        for length in range(40, len(whole) - 22, len(whole) // 20):
            self.expect(whole[:length], DAMAGED)


class Enormous(Bounded):
    """What there is too much of. Reports and listings may show its beginning."""

    def expect_bounded(self, parts, shown, found):
        """Cleans it, and looks for the beginnings of lines in report and listing."""
        self.put(archive(parts))
        for lines, beginnings in ((self.look("--reveal"), shown), (self.look("--inspect"), found)):
            for beginning in beginnings:
                self.assertTrue(any(line.startswith(beginning) for line in lines), beginning)
            self.assertLess(sum(map(len, lines)), 64 * MIB)
        self.assertEqual(self.clean(**self.limits()), "")

    def test_millions_of_editors(self):
        count = 100 * MIB // 24
        names = b"".join(b'<a b:author="%07d"/>\n' % number for number in range(count))
        others = names.replace(b'author="', b'userId="u')
        self.expect_bounded(
            [("word/comments.xml", names), ("word/people.xml", others)],
            ["  💬 Other editors (comments / tracked changes): 0000000, 0000001, "],
            ["  RESIDUE: word/comments.xml: author=0000000", "  RESIDUE: word/people.xml: userId=u0000000"])

    def test_enormous_values(self):
        value = b"x" * (120 * MIB)
        self.expect_bounded(
            ((name, start + value + end) for name, start, end in (
                ("docProps/core.xml", b"<dc:creator>", b"</dc:creator>"),
                ("docProps/app.xml", b"<Company>", b"</Company>"),
                ("docProps/custom.xml", b"<vt:lpwstr>", b"</vt:lpwstr>"),
                ("word/comments.xml", b'<a b:author="', b'"/>'))),
            ["  👤 Author: x", "  🏢 Company: x", "  🗃 Custom properties: x", "  💬 Other editors"],
            ["  RESIDUE: docProps/core.xml: creator=x", "  RESIDUE: word/comments.xml: author=x"])

    def test_parts_that_all_have_something_to_list(self):
        all_of_it = (BEFORE + b'<a b:author="A" /><a b:date="D"/><a b:initials="I"/><a b:userId="U"/>'
                     b"<Company>C</Company><Manager>M</Manager><vt:lpwstr>V</vt:lpwstr>")
        folder = "f" * 2000
        self.expect_bounded(
            ((f"{folder}/{number}.xml", all_of_it) for number in range(20000)),
            ["  💬 Other editors (comments / tracked changes): A, U"],
            [f"  RESIDUE: {folder}/0.xml: creator=Jane Roe"])

    def test_a_picture_that_is_too_large_to_be_cleaned(self):
        picture = b"\xff\xd8\xff\xe0" + bytes(200 * MIB)
        self.put(archive([("word/media/image1.jpg", picture), ("docProps/core.xml", BEFORE)]))
        self.assertEqual(self.clean(**self.limits()), "")
        with zipfile.ZipFile(self.folder / COPY) as document:
            self.assertEqual(document.getinfo("word/media/image1.jpg").CRC, zlib.crc32(picture))
            self.assertEqual(document.read("docProps/core.xml"), AFTER)


if __name__ == "__main__":
    unittest.main()
