"""Everything that exiftool finds in a set of files, read by one process."""

import base64
import json
import os
import tempfile

from process import run_tool

# All values as stored, duplicates, unknown tags, embedded files, and the profile as one block.
OPTIONS = ["-j", "-b", "-n", "-a", "-G1:3:4", "-u", "-ee", "-all", "-ICC_Profile"]


class Entry:
    """One tag: its group (such as IFD0), whether it is of a file within the file, name, values."""

    def __init__(self, key, value):
        parts = key.split(":")
        self.group = parts[0]
        self.name = parts[-1]
        self.is_embedded = any(part.startswith("Doc") for part in parts[1:-1])
        self.values = [_decoded(v) for v in _flat(value)]

    def label(self):
        return f"{self.group}:{self.name}"


def _flat(value):
    if isinstance(value, dict):
        return [leaf for part in value.values() for leaf in _flat(part)]
    if isinstance(value, list):
        return [leaf for part in value for leaf in _flat(part)]
    return [value]


def _decoded(value):
    """Text, or bytes where exiftool had to wrap what is not text."""
    if isinstance(value, str) and value.startswith("base64:"):
        return base64.b64decode(value[len("base64:") :])
    return value if isinstance(value, str) else str(value)


def read_all(paths):
    """The entries of each file, in the order in which they stand in it."""
    if not paths:
        return {}
    with tempfile.NamedTemporaryFile("w", suffix=".args") as names:
        names.write("\n".join(OPTIONS + paths) + "\n")
        names.flush()
        _, output, complaints = run_tool("exiftool", "-@", names.name)
    if not output:
        raise RuntimeError("exiftool says nothing: " + complaints.decode(errors="replace"))
    reports = json.loads(output.decode("utf-8", "replace"), parse_int=str, parse_float=str)
    return {
        os.path.abspath(report["SourceFile"]): [
            Entry(key, value) for key, value in report.items() if key != "SourceFile"
        ]
        for report in reports
    }


def profiles(entries):
    """The ICC profiles of the picture itself, as bytes."""
    blocks = [e for e in entries if e.name == "ICC_Profile" and not e.is_embedded]
    return [v if isinstance(v, bytes) else v.encode() for e in blocks for v in e.values]


def messages(entries):
    return {v for e in entries if e.name in ("Warning", "Error") for v in e.values}
