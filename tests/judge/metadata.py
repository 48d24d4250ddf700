"""What exiftool may find in a copy, what it must find still, and what must be nowhere in it."""

import re

import exiftool
from process import run_tool

# --- What a copy may hold ------------------------------------------------------------------------

# Facts about the file and sums of other tags; no file holds them.
OUTSIDE_GROUPS = {"ExifTool", "System"}

ALLOWED_FILE = """FileType FileTypeExtension MIMEType ExifByteOrder ImageWidth ImageHeight
    EncodingProcess BitsPerSample ColorComponents YCbCrSubSampling
    BMPVersion Planes BitDepth Compression ImageLength PixelsPerMeterX PixelsPerMeterY NumColors
    NumImportantColors RedMask GreenMask BlueMask AlphaMask ColorSpace RedEndpoint GreenEndpoint
    BlueEndpoint GammaRed GammaGreen GammaBlue RenderingIntent ProfileDataOffset ProfileSize
    EmbeddedJPG EmbeddedPNG"""

# An Exif block that is not a TIFF file's own directory.
ALLOWED_EXIF = "Orientation XResolution YResolution ResolutionUnit"

# Each describes samples, where they are, their colours, resolution or which page they are.
ALLOWED_TIFF = """SubfileType OldSubfileType ImageWidth ImageHeight BitsPerSample Compression
    PhotometricInterpretation Thresholding CellWidth CellLength FillOrder StripOffsets Orientation
    SamplesPerPixel RowsPerStrip StripByteCounts MinSampleValue MaxSampleValue XResolution
    YResolution PlanarConfiguration XPosition YPosition GrayResponseUnit GrayResponseCurve T4Options
    T6Options ResolutionUnit PageNumber TransferFunction Predictor WhitePoint PrimaryChromaticities
    ColorMap HalftoneHints TileWidth TileLength TileOffsets TileByteCounts InkSet NumberofInks
    DotRange ExtraSamples SampleFormat SMinSampleValue SMaxSampleValue TransferRange JPEGTables
    JPEGProc JPEGInterchangeFormat JPEGInterchangeFormatLength JPEGRestartInterval
    JPEGLosslessPredictors JPEGPointTransforms JPEGQTables JPEGDCTables JPEGACTables
    YCbCrCoefficients YCbCrSubSampling YCbCrPositioning ReferenceBlackWhite BadFaxLines
    CleanFaxData ConsecutiveBadFaxLines ImageDepth TileDepth Decode DefaultImageColor
    ThumbnailOffset ThumbnailLength PreviewImageStart PreviewImageLength OtherImageStart
    OtherImageLength JpgFromRawStart JpgFromRawLength ThumbnailImage PreviewImage OtherImage
    JpgFromRaw"""

ALLOWED = {
    "JFIF": "JFIFVersion ResolutionUnit XResolution YResolution",
    "Adobe": "DCTEncodeVersion APP14Flags0 APP14Flags1 ColorTransform",
    "PNG": """ImageWidth ImageHeight BitDepth ColorType Compression Filter Interlace Palette
        Transparency SRGBRendering ProfileName AnimationFrames AnimationPlays ColorPrimaries
        TransferCharacteristics MatrixCoefficients VideoFullRangeFlag""",
    "PNG-pHYs": "PixelsPerUnitX PixelsPerUnitY PixelUnits",
    "PNG-cICP": "ColorPrimaries TransferCharacteristics MatrixCoefficients VideoFullRangeFlag",
    "GIF": """GIFVersion ImageWidth ImageHeight HasColorMap ColorResolutionDepth BitsPerPixel
        BackgroundColor PixelAspectRatio AnimationIterations FrameCount Duration
        TransparentColor""",
    "RIFF": """VP8Version ImageWidth ImageHeight HorizontalScale VerticalScale WebP_Flags
        BackgroundColor AnimationLoopCount FrameCount Duration AlphaPreprocessing AlphaFiltering
        AlphaCompression AlphaIsUsed""",
    # An HEIF file's brands, codec configuration and item properties; exiftool knows no other group.
    "QuickTime": """MajorBrand MinorVersion CompatibleBrands HandlerType HEVCConfigurationVersion
        GeneralProfileSpace GeneralTierFlag GeneralProfileIDC GenProfileCompatibilityFlags
        ConstraintIndicatorFlags GeneralLevelIDC MinSpatialSegmentationIDC ParallelismType
        ChromaFormat BitDepthLuma BitDepthChroma AverageFrameRate ConstantFrameRate
        NumTemporalLayers TemporalIDNested AV1ConfigurationVersion ChromaSamplePosition
        ImageSpatialExtent ImagePixelDepth Rotation Mirroring CleanAperture PixelAspectRatio
        ColorProfiles ColorPrimaries TransferCharacteristics MatrixCoefficients VideoFullRangeFlag
        AuxiliaryImageType SeqProfile SeqLevelIdx0
        SeqTier0 HighBitDepth TwelveBit InitialDelaySamples MediaDataSize MediaDataOffset MediaData
        Unknown_imir Unknown_uncC Unknown_cmpd""",
    "Meta": "PrimaryItemReference MetaImageSize",
    "Composite": "ImageSize Megapixels Rotation",
}
ALLOWED = {group: set(names.split()) for group, names in ALLOWED.items()}
ALLOWED["File"] = set(ALLOWED_FILE.split())
ALLOWED_EXIF, ALLOWED_TIFF = set(ALLOWED_EXIF.split()), set(ALLOWED_TIFF.split())

# Tags that a TIFF page may hold without having to: where things stand, and hints.
MOVABLE = set(
    """ExifByteOrder WebP_Flags StripOffsets StripByteCounts TileOffsets TileByteCounts Thresholding
    JPEGTables JPEGInterchangeFormat JPEGInterchangeFormatLength JPEGQTables JPEGDCTables
    JPEGACTables CellWidth CellLength XPosition YPosition GrayResponseUnit GrayResponseCurve
    HalftoneHints DotRange Decode DefaultImageColor BadFaxLines CleanFaxData ConsecutiveBadFaxLines
    ProfileDataOffset ThumbnailOffset ThumbnailLength ThumbnailImage PreviewImageStart
    PreviewImageLength PreviewImage OtherImageStart OtherImageLength OtherImage JpgFromRawStart
    JpgFromRawLength JpgFromRaw TransferFunction TransferRange JFIFVersion ImageLength
    EmbeddedJPG EmbeddedPNG Orientation ResolutionUnit XResolution YResolution""".split()
)
# A BMP's profile in another file is named by its path, which goes, and the link with it.
UNLINKED = (("File:ColorSpace", ["sRGB"]), ("File:ProfileSize", None))
# A single frame has no loop count and no duration.
ANIMATION = {"AnimationIterations", "AnimationLoopCount", "Duration", "FrameCount"}


def is_allowed(entry, kind):
    if entry.group in OUTSIDE_GROUPS or entry.group.startswith("ICC"):
        return True
    if entry.is_embedded and kind != "heif":  # There, each item is a document to exiftool.
        return False
    if re.fullmatch(r"IFD\d+", entry.group):
        return entry.name in (ALLOWED_TIFF if kind == "tiff" else ALLOWED_EXIF)
    return entry.name in ALLOWED.get(entry.group, ())


def leftovers(copy_entries, kind):
    """Labels of what exiftool finds in a copy and no copy may hold."""
    return [e.label() for e in copy_entries if not is_allowed(e, kind)]


# --- What a copy must hold still -----------------------------------------------------------------


def _structure(entries, kind):
    """What describes the picture itself, as a list of values for each tag."""
    facts = {}
    for entry in entries:
        is_page = re.fullmatch(r"IFD\d+", entry.group) is not None
        is_outside = entry.group in OUTSIDE_GROUPS or entry.group.startswith(("Composite", "ICC"))
        if entry.is_embedded or is_outside or entry.name in MOVABLE or (is_page and kind != "tiff"):
            continue
        if is_allowed(entry, kind):
            facts.setdefault(entry.label(), []).extend(entry.values)
    return facts


def lost_structure(original_entries, copy_entries, kind, frames):
    """Sentences on structure that changed: size, depth, colour type, compression, animation. An
    HEIF file loses the structure of thumbnails, too; its decoders tell what is left."""
    if kind == "heif":
        return []
    before, after = _structure(original_entries, kind), _structure(copy_entries, kind)
    is_linked = any(entry.name == "LinkedProfileName" for entry in original_entries)
    problems = []
    for label in sorted(before.keys() | after.keys()):
        was, now = before.get(label), after.get(label)
        is_animation = label.split(":")[1] in ANIMATION
        if was == now or (is_animation and frames == 1 and now is None):
            continue
        if is_linked and (label, now) in UNLINKED:
            continue
        problems.append(f"{label} was {_short(was)}, is {_short(now)}")
    return problems


def _short(values):
    return "absent" if values is None else str(values)[:60]


def orientation(entries, kind):
    """Which way is up, by the picture's own Exif or TIFF fields; the normal way when unsaid. In
    HEIF a property turns the picture, whatever Exif says, and decoders apply it."""
    if kind == "heif":
        return "1"
    for entry in entries:
        if entry.group == "IFD0" and entry.name == "Orientation" and not entry.is_embedded:
            return entry.values[0] if entry.values[0] in list("2345678") else "1"
    return "1"


def _numbers(entries, group, names):
    found = {}
    for entry in entries:
        if entry.group == group and entry.name in names and not entry.is_embedded:
            found.setdefault(entry.name, entry.values[0])
    return tuple(found.get(name) for name in names)


def resolution(entries, kind):
    """Samples per length as a viewer takes them: (x, y, unit), or nothing when the file is silent.

    JPEG: what JFIF says, unless it gives no unit and Exif does better; otherwise what Exif says.
    TIFF: the fields of every page. PNG and BMP have fields of their own, which count alone.
    """
    names = ("XResolution", "YResolution", "ResolutionUnit")
    if kind == "jpeg":
        return _jpeg_resolution(entries, names)
    if kind == "tiff":
        pages = sorted({e.group for e in entries if re.fullmatch(r"IFD\d+", e.group)})
        return [_numbers(entries, page, names) for page in pages]
    if kind == "png":
        return _numbers(entries, "PNG-pHYs", ("PixelsPerUnitX", "PixelsPerUnitY", "PixelUnits"))
    if kind == "bmp":
        return _numbers(entries, "File", ("PixelsPerMeterX", "PixelsPerMeterY"))
    return None


def _jpeg_resolution(entries, names):
    exif = _positive(_numbers(entries, "IFD0", names), {"1": None, "2": "inch", "3": "cm"}, "2")
    jfif = _positive(_numbers(entries, "JFIF", names), {"0": None, "1": "inch", "2": "cm"}, "0")
    if jfif and jfif[2]:
        return jfif
    if exif and exif[2]:
        return exif
    # Without a unit only the proportion of height to width counts.
    either = jfif or exif
    return ("proportion", round(either[0] / either[1], 4)) if either else None


def _positive(numbers, units, default):
    try:
        x, y = float(numbers[0]), float(numbers[1])
    except (TypeError, ValueError):
        return None
    unit = units.get(numbers[2] or default, units[default])
    return (round(x, 3), round(y, 3), unit) if x > 0 and y > 0 else None


def same_profiles(was, now, kind):
    """An HEIF file has one for each item, thumbnails among them."""
    if kind == "heif":
        return set(now) <= set(was) and bool(now) == bool(was)
    return was == now


def same_resolution(was, now):
    """Silence means square samples."""
    square = (None, ("proportion", 1.0))
    return was == now or (was in square and now in square)


# --- What other programs say about it ------------------------------------------------------------

CRITICS = {
    "jpeg": [("exiv2", "-pS")],
    "png": [("pngcheck", "-q"), ("exiv2", "-pS")],
    "gif": [("gifsicle", "--info", "-o", "/dev/null")],
    "webp": [("webpinfo", "-quiet"), ("exiv2", "-pS")],
    "tiff": [("tiffinfo",), ("exiv2", "-pS")],
    "heif": [("heif-info",)],
}


def _complaints(command, path):
    """What a program complains of, without names, places and lengths, which differ by right."""
    status, output, errors = run_tool(*command, path)
    text = errors.decode("utf-8", "replace")
    if command[0] in ("pngcheck", "webpinfo"):
        text += output.decode("utf-8", "replace")
    text = text.replace(path, "")
    lines = {re.sub(r"\d+", "#", line).strip(" :") for line in text.splitlines()}
    return {line for line in lines if line} | ({f"exit status {status}"} if status else set())


def new_complaints(original, copy, kind):
    """What independent readers say of the copy and did not say of the original."""
    problems = []
    for command in CRITICS.get(kind, ()):
        for line in sorted(_complaints(command, copy) - _complaints(command, original)):
            problems.append(f"{command[0]} complains of the copy: {line[:120]}")
    return problems


def new_warnings(original_entries, copy_entries):
    new = exiftool.messages(copy_entries) - exiftool.messages(original_entries)
    return [f"exiftool warns of the copy: {line}" for line in sorted(new)]


# --- What must be nowhere in it ------------------------------------------------------------------

LEAST_BYTES = 5
PROBE_BYTES = 64
PROBE_VARIETY = 40


def hidden_values(original_entries, kind):
    """Label and byte sequences of all that exiftool finds and cleaning has to drop."""
    for entry in original_entries:
        is_sum = entry.group in ("ExifTool", "System", "Composite")
        if is_sum or is_allowed(entry, kind) or entry.name in ("ICC_Profile", "MIMEType"):
            continue
        for value in entry.values:
            yield from ((entry.label(), needle) for needle in _needles(value))


def _needles(value):
    if isinstance(value, bytes):
        return _probes(value)
    texts = {value, *value.splitlines()}
    needles = set()
    for text in texts:
        needles |= {_encoded(text.strip(), code) for code in ("utf-8", "latin-1")}
        if len(text.strip()) >= LEAST_BYTES:
            needles |= {_encoded(text.strip(), code) for code in ("utf-16-le", "utf-16-be")}
    return [n for n in needles if _is_telling(n)]


def _encoded(text, code):
    return text.encode(code, "ignore")


def _probes(binary):
    """All of a short one; of a long one (a preview) three stretches of its second half, because
    pictures of one maker begin with the same tables. Even areas look alike in any picture."""
    if len(binary) <= 4 * PROBE_BYTES:
        return [binary] if _is_telling(binary) else []
    starts = [len(binary) * part // 10 for part in (6, 7, 9)]
    probes = [binary[start : start + PROBE_BYTES] for start in starts]
    return [probe for probe in probes if len(set(probe)) >= PROBE_VARIETY]


def _is_telling(needle):
    """Long enough, and neither a run of one byte nor a ramp, as samples have them."""
    steps = {b - a for a, b in zip(needle, needle[1:])}
    return len(needle) >= LEAST_BYTES and len(set(needle)) >= 3 and len(steps) > 1


def without_kept_texts(data, kind, profiles):
    """The copy's bytes with profiles and the format's own words blanked: these are kept."""
    for profile in profiles:
        data = data.replace(profile, bytes(len(profile)))
    if kind == "jpeg":
        data = _blanked(data, rb"\xff\xe2(..)ICC_PROFILE\0")
        data = data.replace(b"\xff\xee\0\x0eAdobe", bytes(9))
    if kind == "gif":
        data = data.replace(b"NETSCAPE2.0", bytes(11)).replace(b"ANIMEXTS1.0", bytes(11))
        data = _without_gif_profile(data)
    if kind == "png":
        data = _blanked(data, rb"(?<=..)(..)iCCP")
    return data


def _blanked(data, pattern):
    """With the stretches blanked that begin with `pattern`, whose group is a 16-bit length."""
    out = bytearray(data)
    for match in re.finditer(pattern, data, re.S):
        length = int.from_bytes(match.group(1), "big")
        begin = match.start(1) + 2
        end = min(len(out), begin + length + 4)
        out[begin:end] = bytes(end - begin)
    return bytes(out)


def _without_gif_profile(data):
    begin = data.find(b"\x21\xff\x0bICCRGBG1012")
    if begin < 0:
        return data
    end = begin + 14
    while end < len(data) and data[end]:
        end += 1 + data[end]
    return data[:begin] + bytes(end - begin) + data[end:]


def leaks(original_entries, copy_path, copy_entries, kind):
    """Sentences on metadata values of the original that stand in the copy's bytes."""
    with open(copy_path, "rb") as file:
        data = without_kept_texts(file.read(), kind, exiftool.profiles(copy_entries))
    found = {}
    for label, needle in hidden_values(original_entries, kind):
        if needle in data:
            found.setdefault(label, needle)
    return [f"the copy holds {label} = {needle[:40]!r}" for label, needle in found.items()]
