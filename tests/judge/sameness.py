"""Whether a copy is the document that its original is: both are walked side by side from their
catalogues, and what differs is told unless it is on the short list of what has to go."""

DROPPED = {"/Metadata", "/PieceInfo", "/LastModified"}
DROPPED_OF_CATALOGUE = {"/SpiderInfo"}
EMPTIED = {"/XRef", "/ObjStm"}  # Tables and containers of the original's objects.
CLEARED = ("/T", "/M", "/CreationDate", "/Subj")
# What annotations are about. Other entries of theirs may go.
KEPT_OF_ANNOTATIONS = set(
    "/Type /Subtype /Rect /Contents /RC /AP /AS /A /AA /Dest /QuadPoints /InkList /Vertices /L /FS"
    " /Popup /Parent /P /IRT /C /IC /CA /F /Border /BS /BE /Name /State /StateModel /Open /DA /OC"
    " /StructParent".split()
)


class _Walk:
    def __init__(self, original, copy):
        self.original = original
        self.copy = copy
        self.problems = []
        self.seen = set()
        self.pending = [("catalogue", original.trailer["/Root"], copy.trailer["/Root"])]

    def run(self):
        while self.pending and len(self.problems) < 5:
            self._pair(*self.pending.pop())
        return self.problems

    def _pair(self, place, was, now):
        if _is_reference(was):
            if (was, str(now)) in self.seen:
                return
            self.seen.add((was, str(now)))
        was_whole, now_whole = self.original.whole(was), self.copy.whole(now)
        if ("stream" in was_whole) != ("stream" in now_whole):
            self._tell(place, was_whole, now_whole)
        elif "stream" in was_whole:
            self._stream(place, was_whole["stream"], now_whole["stream"])
        else:
            self._values(place, was_whole["value"], now_whole["value"])

    def _stream(self, place, was, now):
        if self.original.value(was["dict"].get("/Type")) in EMPTIED:
            if now["dict"].keys() - {"/Length"} or now.get("data"):
                self.problems.append(f"{place} is not empty")
            return
        was_picture = "/DCTDecode" in _listed(self.original.value(was["dict"].get("/Filter")))
        ignored = {"/Length"} | ({"/Filter", "/DecodeParms"} if was_picture else set())
        if not was_picture and was.get("data") != now.get("data"):
            self.problems.append(f"the data of {place} changed")
        strip = lambda entries: {k: v for k, v in entries.items() if k not in ignored}
        self._values(place, strip(was["dict"]), strip(now["dict"]))

    def _values(self, place, was, now):
        if isinstance(was, dict) and isinstance(now, dict):
            self._dictionaries(place, was, now)
        elif place.endswith("/XFA") and isinstance(was, list) and "u:xmpmeta" in was:
            part = was.index("u:xmpmeta")
            self._values(place, was[:part] + was[part + 2 :], now)
        elif isinstance(was, list) and isinstance(now, list) and len(was) == len(now):
            self.pending += [(f"{place}[{i}]", w, n) for i, (w, n) in enumerate(zip(was, now))]
        elif was != now and not _same_number(was, now):
            self._tell(place, was, now)

    def _dictionaries(self, place, was, now):
        is_annotation = self._is_annotation(was, now)
        for key in sorted(was.keys() | now.keys()):
            if is_annotation and key in CLEARED:
                continue  # Another judge looks at these.
            inner = f"{place}{key}"
            if key in now and key not in was:
                self._tell(inner, None, now[key])
            elif key not in now:
                if not self._may_go(place, key, was, is_annotation):
                    self._tell(inner, was[key], None)
            else:
                self.pending.append((inner, was[key], now[key]))

    def _is_annotation(self, was, now):
        """The copy's four empty strings show that it took this for one; it must have had reason."""
        if self.original.value(was.get("/Subtype")) == "/Widget":
            return False
        return "/Rect" in was or self.original.value(was.get("/Type")) == "/Annot" or all(
            now.get(key) == "u:" for key in CLEARED
        ) and "/Kids" not in was

    def _may_go(self, place, key, was, is_annotation):
        if key in DROPPED or self.original.value(was[key]) is None:
            return True
        if is_annotation:
            return key not in KEPT_OF_ANNOTATIONS
        kind = self.original.value(was.get("/Type"))
        if kind == "/Catalog" and key in DROPPED_OF_CATALOGUE:
            return True
        if kind == "/Page" and key in ("/Thumb", "/ID"):
            return True
        if place.endswith("catalogue/Names") and key in ("/IDS", "/URLS"):
            return True
        return _is_private(key) or (key == "/I" and "/F" in was)

    def _tell(self, place, was, now):
        self.problems.append(f"{place}: {str(was)[:60]!r} became {str(now)[:60]!r}")


def _is_reference(value):
    return isinstance(value, str) and value.endswith(" R")


def _listed(value):
    return value if isinstance(value, list) else [value]


def _same_number(was, now):
    return isinstance(was, (int, float)) and isinstance(now, (int, float)) and float(was) == float(now)


def _is_private(key):
    """Names that companies have registered, and TeX's."""
    return len(key) > 5 and key[5] in "_:." and key[1:5].isalpha() and key[1:5].isupper()


def differences(original, copy):
    """Sentences on what of the original is not in the copy, or not as it was."""
    return _Walk(original, copy).run()
