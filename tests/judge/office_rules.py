"""The rules for the XML parts of Office documents once more, for an engine that is not the program's."""

import codecs
import re

TAG = r"(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:"
EVERYWHERE = [
    *[(TAG + name + '=")[^"]*(")', r"\1\2") for name in ("author", "date", "initials", "userId")],
    *[
        (f"(<{name}>)[^<]*(</{name}>)", r"\1\2")
        for name in ("dc:creator", "cp:lastModifiedBy")
    ],
    *[
        (rf"<{name}\b[^>]*>[^<]*</{name}>", "")
        for name in ("dcterms:created", "dcterms:modified", "cp:revision", "cp:lastPrinted")
    ],
    *[(f"(<{name}>)[^<]*(</{name}>)", r"\1\2") for name in ("Company", "Manager")],
    (r"<TotalTime\b[^>]*>[^<]*</TotalTime>", ""),
    (r"<w15:docId\b[^>]*/>", ""),
    (r"<w:rsids>[\s\S]*?</w:rsids>", ""),
    (r'\s[A-Za-z0-9]+:rsid[A-Za-z]*="[^"]*"', ""),
]
CUSTOM = [("(<vt:lpwstr>)[^<]*(</vt:lpwstr>)", r"\1\2")]
RELATIONSHIPS = [(r'(Target=")(file:[^"]*|\\\\[^"]*|[A-Za-z]:\\[^"]*)(")', r"\1removed\3")]

# What a listing may find in a copy: identifiers of styles; texts in other parts than custom
# properties; targets in other parts than relationships.
LEFT_BY_RULES = ("rsid", "customProp", "extTarget")


def decoded(content):
    """Text with its mark, and the encoding to write it in; nothing for what is neither."""
    marks = ((codecs.BOM_UTF16_LE, "utf-16-le"), (codecs.BOM_UTF16_BE, "utf-16-be"))
    encoding = next((name for mark, name in marks if content.startswith(mark)), "utf-8")
    try:
        return content.decode(encoding), encoding
    except UnicodeDecodeError:
        return None, encoding


def cleaned_text(name, text):
    last = name.rpartition("/")[2].lower()
    rules = EVERYWHERE + (CUSTOM if last == "custom.xml" else [])
    rules += RELATIONSHIPS if last.endswith(".rels") else []
    for pattern, replacement in rules:
        text = re.sub(pattern, replacement, text)
    return text
