"""A small colour profile, made from the numbers of sRGB (ICC.1:2010, clauses 7 and 9)."""

import struct

# Each as a tag type, four zero bytes, and its content.
XYZ = {
    b"wtpt": (0.9505, 1.0, 1.0891),
    b"rXYZ": (0.4361, 0.2225, 0.0139),
    b"gXYZ": (0.3851, 0.7169, 0.0971),
    b"bXYZ": (0.1431, 0.0606, 0.7141),
}
NAME = b"A profile of tests\0"


def _fixed(number):
    return struct.pack(">i", round(number * 65536))


def _tags():
    name = struct.pack(">I", len(NAME)) + NAME + bytes(78)
    curve = struct.pack(">IH", 1, round(2.2 * 256)) + bytes(2)
    tags = {b"desc": b"desc" + bytes(4) + name, b"cprt": b"text" + bytes(4) + b"Nobody's\0"}
    tags |= {key: b"XYZ " + bytes(4) + b"".join(map(_fixed, xyz)) for key, xyz in XYZ.items()}
    return tags | {key: b"curv" + bytes(4) + curve for key in (b"rTRC", b"gTRC", b"bTRC")}


def make_profile():
    tags = {key: content + bytes(-len(content) % 4) for key, content in _tags().items()}
    offset = 128 + 4 + 12 * len(tags)
    table, contents = struct.pack(">I", len(tags)), b""
    for key, content in tags.items():
        table += key + struct.pack(">II", offset + len(contents), len(content))
        contents += content
    white = b"".join(map(_fixed, (0.9642, 1.0, 0.8249)))
    head = struct.pack(">I4sI", offset + len(contents), b"none", 0x02100000)
    head += b"mntrRGB XYZ "
    head += struct.pack(">6H4s", 2024, 1, 1, 0, 0, 0, b"acsp") + bytes(28) + white
    return head.ljust(128, b"\0") + table + contents
