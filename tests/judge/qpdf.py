"""What qpdf finds in a document: its objects, and how whole it is."""

import json

from process import run_tool

WORST = {0: 0, 3: 1, 2: 2}  # Fine, warnings, errors; anything else is worse.


class Unopenable(Exception):
    pass


def is_locked(path):
    return run_tool("qpdf", "--requires-password", path)[0] == 0


def page_count(path):
    """None when the document cannot be opened. Warnings do not matter."""
    _, output, _ = run_tool("qpdf", "--show-npages", path)
    return int(output) if output.strip().isdigit() else None


def check(path):
    """How bad it is, and what qpdf says of it."""
    status, output, complaints = run_tool("qpdf", "--check", path)
    return WORST.get(status, 3), (output + complaints).decode(errors="replace")


class Document:
    """Every object, as JSON: references are strings like "12 0 R", texts begin with "u:" or "b:"."""

    def __init__(self, path):
        _, output, complaints = run_tool(
            "qpdf", "--json=2", "--json-stream-data=inline", "--decode-level=none", path
        )
        if not output:
            raise Unopenable(complaints.decode(errors="replace"))
        self.facts = json.loads(output)
        self.objects = self.facts["qpdf"][1]
        self.trailer = self.objects["trailer"]["value"]

    def whole(self, value):
        """The object that a reference leads to: {"value": ...} or {"stream": ...}."""
        if isinstance(value, str) and value.endswith(" R"):
            return self.objects.get("obj:" + value, {"value": None})
        return {"value": value}

    def value(self, value):
        """The same, of a stream its dictionary."""
        target = self.whole(value)
        return target["stream"]["dict"] if "stream" in target else target["value"]

    def entry(self, dictionary, *keys):
        for key in keys:
            dictionary = self.value(dictionary)
            dictionary = dictionary.get(key) if isinstance(dictionary, dict) else None
        return self.value(dictionary)

    def identifiers(self):
        """In hexadecimal digits."""
        texts = [self.value(text) for text in self.entry(self.trailer, "/ID") or []]
        return {_bytes_of(text).hex() for text in texts if _bytes_of(text)}

    def all_dictionaries(self):
        """Every dictionary there is, also those inside others."""
        pending = [whole["stream"]["dict"] if "stream" in whole else whole["value"]
                   for key, whole in self.objects.items() if key != "trailer"]
        while pending:
            value = pending.pop()
            if isinstance(value, dict):
                yield value
                pending += value.values()
            elif isinstance(value, list):
                pending += value

    def page_annotations(self):
        for page in self.facts["pages"]:
            for annotation in self.entry(page["object"], "/Annots") or []:
                yield self.value(annotation)


def _bytes_of(value):
    return bytes.fromhex(value[2:]) if value[:2] == "b:" else value[2:].encode("utf-16-be")


def text_of(value):
    """A text string as people read it, or None."""
    if not isinstance(value, str) or value[:2] not in ("u:", "b:"):
        return None
    return value[2:] if value[:2] == "u:" else bytes.fromhex(value[2:]).decode("latin-1")
