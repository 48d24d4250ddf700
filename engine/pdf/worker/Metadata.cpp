#include "engine/pdf/worker/Metadata.h"

#include "engine/pdf/worker/Names.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace nullprint::pdf {
namespace {

// ISO 32000-2, table 15. Any other entry is some program's own: checksums of the original, the
// document in another format.
constexpr std::array keptTrailerKeys{"/Root", "/Size", "/Encrypt", "/ID"};

constexpr std::array clearedAnnotationKeys{"/T", "/M", "/CreationDate", "/Subj"};

// ISO 32000-2, 12.5 and 13, without `NM`; of others' there are `Rotate` and `DR`. Editors keep more
// than these with an annotation: its author, times and identifiers once again.
// clang-format off
constexpr auto keptAnnotationKeys = std::to_array<std::string_view>({
    "/3DA", "/3DB", "/3DD", "/3DI", "/3DU", "/3DV", "/A", "/AA", "/AF", "/AP", "/AS",
    "/AnnotStates", "/BE", "/BM", "/BS", "/Border", "/C", "/CA", "/CL", "/CO", "/CP", "/Cap",
    "/Contents", "/CreationDate", "/DA", "/DR", "/DS", "/Dest", "/ExData", "/F", "/FS",
    "/FixedPrint", "/FontFauxing", "/H", "/IC", "/IRT", "/IT", "/InkList", "/L", "/LE", "/LL",
    "/LLE", "/LLO", "/Lang", "/M", "/MK", "/MN", "/Measure", "/Movie", "/Name", "/OC", "/Open",
    "/OverlayText", "/P", "/PA", "/Parent", "/Path", "/Popup", "/Projection", "/Q", "/QuadPoints",
    "/RC", "/RD", "/RO", "/RT", "/Rect", "/Repeat", "/RichMediaContent", "/RichMediaSettings",
    "/Rotate", "/Sound", "/State", "/StateModel", "/StructParent", "/Subj", "/Subtype", "/Sy", "/T",
    "/Type", "/Version", "/Vertices", "/ca",
});
// clang-format on

bool isName(QPDFObjectHandle value, const char* name)
{
    return value.isNameAndEquals(name);
}

void clearAnnotation(QPDFObjectHandle annotation)
{
    if (!annotation.isDictionary() || isWidget(annotation))
        return;
    for (const char* key : clearedAnnotationKeys)
        annotation.replaceKey(key, QPDFObjectHandle::newString(""));
    annotation.removeKey("/NM");
    // What is also a field of a form, though no page shows it as one, has keys of its own; so has a
    // catalogue or page that is called an annotation as well.
    constexpr std::array ownKeys{"/FT", "/Kids", "/Pages", "/MediaBox"};
    if (std::ranges::any_of(ownKeys, [&](const char* key) { return annotation.hasKey(key); }))
        return;
    for (const std::string& key : annotation.getKeys()) {
        if (std::ranges::find(keptAnnotationKeys, key) == keptAnnotationKeys.end())
            annotation.removeKey(key);
    }
}

// No page needs to show an annotation for its author to be in the file, and it need not say that it
// is one.
bool isAnnotation(QPDFObjectHandle dictionary)
{
    QPDFObjectHandle type = dictionary.getKey("/Type");
    QPDFObjectHandle subtype = dictionary.getKey("/Subtype");
    return isName(type, "/Annot") || isName(subtype, "/Popup") ||
           (type.isNull() && subtype.isName() && dictionary.hasKey("/Rect"));
}

// Something else may refer to it, too. A damaged trailer may take part of the document for it.
void emptyInformation(QPDFObjectHandle information)
{
    if (!information.isDictionary() || isName(information.getKey("/Type"), "/Page") ||
        information.hasKey("/Pages") || information.hasKey("/Kids") ||
        information.hasKey("/Parent"))
        return;
    for (const std::string& key : information.getKeys())
        information.removeKey(key);
}

void cleanTrailer(QPDFObjectHandle trailer)
{
    emptyInformation(trailer.getKey("/Info"));
    for (const std::string& key : trailer.getKeys()) {
        if (std::ranges::find(keptTrailerKeys, key) == keptTrailerKeys.end())
            trailer.removeKey(key);
    }
    // The writer puts its own number in the place of the old one, and none where there was none: a
    // copy without it would be a damaged document itself.
    trailer.replaceKey("/Size", QPDFObjectHandle::newInteger(0));
}

// Pages taken from the web tell what was asked of whom (ISO 32000-1, 14.10). Articles have an
// information dictionary of their own (ISO 32000-2, table 162).
void cleanCatalogue(QPDFObjectHandle catalogue)
{
    catalogue.removeKey("/SpiderInfo");
    QPDFObjectHandle names = catalogue.getKey("/Names");
    if (names.isDictionary()) {
        names.removeKey("/IDS");
        names.removeKey("/URLS");
    }
    QPDFObjectHandle threads = catalogue.getKey("/Threads");
    if (!threads.isArray())
        return;
    for (QPDFObjectHandle thread : threads.aitems()) {
        if (thread.isDictionary())
            thread.removeKey("/I");
    }
}

// A form of the XML kind, in one piece: XML with the metadata in it.
void cleanXML(QPDFObjectHandle stream)
{
    constexpr std::string_view start = "<x:xmpmeta";
    constexpr std::string_view end = "</x:xmpmeta>";
    std::shared_ptr<Buffer> content;
    try {
        content = stream.getStreamData(qpdf_dl_generalized);
    } catch (const std::runtime_error&) { // Damaged, or of a kind that is not looked into.
        return;
    }
    const std::string_view text = asText(ByteSpan(content->getBuffer(), content->getSize()));
    std::string kept;
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t next = std::min(text.find(start, from), text.size());
        kept += text.substr(from, next - from);
        const std::size_t close = text.find(end, next);
        from = close == std::string_view::npos ? text.size() : close + end.size();
    }
    const auto none = QPDFObjectHandle::newNull();
    if (kept.size() != text.size())
        stream.replaceStreamData(kept, none, none);
}

// Otherwise it is a list of names and parts. One part is the metadata.
void cleanForm(QPDFObjectHandle form)
{
    QPDFObjectHandle parts =
        form.isDictionary() ? form.getKey("/XFA") : QPDFObjectHandle::newNull();
    if (parts.isStream())
        cleanXML(parts);
    if (!parts.isArray())
        return;
    for (int index = parts.getArrayNItems() - 2; index >= 0; --index) {
        QPDFObjectHandle name = parts.getArrayItem(index);
        if (name.isString() && name.getStringValue() == "xmpmeta") {
            parts.eraseItem(index + 1);
            parts.eraseItem(index);
        }
    }
}

void cleanAnnotations(PDFFile& file)
{
    for (QPDFObjectHandle annotation : file.annotations()) {
        clearAnnotation(annotation);
        clearAnnotation(annotation.getKey("/Popup"));
        clearAnnotation(annotation.getKey("/IRT"));
    }
}

// A name of some company's own begins with four letters that are registered for it (ISO 32000-2,
// annex E). TeX has its own way of writing them.
bool isPrivateKey(const std::string& key)
{
    constexpr std::size_t prefix = 5;
    const auto isCapital = [](char letter) { return letter >= 'A' && letter <= 'Z'; };
    return key.size() > prefix && std::string_view("_:.").find(key[prefix]) != std::string::npos &&
           std::ranges::all_of(std::string_view(key).substr(1, prefix - 1), isCapital);
}

bool hasTypeOf(QPDFObjectHandle dictionary, std::initializer_list<const char*> types)
{
    QPDFObjectHandle type = dictionary.getKey("/Type");
    return std::ranges::any_of(types, [&](const char* name) { return isName(type, name); });
}

bool isDrawn(QPDFObjectHandle dictionary)
{
    QPDFObjectHandle subtype = dictionary.getKey("/Subtype");
    return isName(subtype, "/Form") || isName(subtype, "/Image");
}

// Whether the standard says what all keys are. Elsewhere, in resources for one, they may be names
// that pages refer to.
bool hasStandardKeys(const QPDFObjectHandle& dictionary)
{
    return hasTypeOf(dictionary, {"/Catalog", "/Pages", "/Page", "/Template", "/XObject"}) ||
           isDrawn(dictionary);
}

void addIfDirect(QPDFObjectHandle part, std::vector<QPDFObjectHandle>& parts)
{
    if (!part.isIndirect() && (part.isArray() || part.isDictionary()))
        parts.push_back(part);
}

// Where on earth something drawn is (ISO 32000-2, 12.10).
bool isOfPlaces(const std::string& key, QPDFObjectHandle value)
{
    if (key == "/PtData")
        return value.isDictionary() && value.hasKey("/XPTS");
    return key == "/Measure" && value.isDictionary() &&
           (isName(value.getKey("/Subtype"), "/GEO") || value.hasKey("/GPTS"));
}

// Metadata in whatever dictionary it is (ISO 32000-2, 14.3.2 and 14.5). People give the same names
// to fonts, pictures and states of buttons; as far as these are no streams, they have other values.
bool isMetadata(const std::string& key, QPDFObjectHandle value)
{
    return (key == "/Metadata" && value.isStream()) ||
           (key == "/PieceInfo" && value.isDictionary()) ||
           (key == "/LastModified" && value.isString());
}

// What no page shows, and editors and makers of maps leave anywhere.
bool isHidden(const std::string& key, const QPDFObjectHandle& value)
{
    return key == "/AAPL:AKExtras" || isOfPlaces(key, value);
}

bool isForbidden(const std::string& key)
{
    constexpr std::array keys{"/Metadata", "/PieceInfo", "/LastModified"};
    return isPrivateKey(key) || std::ranges::find(keys, key) != keys.end();
}

// Destinations, roles and classes: all keys of these are names that somebody has chosen.
using ChosenNames = std::array<QPDFObjectHandle, 3>;

ChosenNames chosenNames(QPDFObjectHandle catalogue)
{
    QPDFObjectHandle structure = catalogue.getKey("/StructTreeRoot");
    if (!structure.isDictionary())
        structure = QPDFObjectHandle::newDictionary();
    return {catalogue.getKey("/Dests"),
            structure.getKey("/RoleMap"),
            structure.getKey("/ClassMap")};
}

// Part of an article, which need not say so (ISO 32000-2, tables 162 and 163).
bool isBead(QPDFObjectHandle dictionary)
{
    return dictionary.isDictionary() && ((dictionary.hasKey("/N") && dictionary.hasKey("/V")) ||
                                         isName(dictionary.getKey("/Type"), "/Bead"));
}

// The catalogue need not list an article.
void cleanArticle(QPDFObjectHandle dictionary)
{
    QPDFObjectHandle thread = dictionary.getKey("/T");
    if (thread.isDictionary() && isBead(dictionary))
        thread.removeKey("/I");
    if (dictionary.hasKey("/I") &&
        (hasTypeOf(dictionary, {"/Thread"}) || isBead(dictionary.getKey("/F"))))
        dictionary.removeKey("/I");
}

// Whose layer it is, and what its program keeps with it.
void cleanUsage(QPDFObjectHandle usage)
{
    if (!usage.isDictionary())
        return;
    usage.removeKey("/User");
    usage.removeKey("/CreatorInfo");
}

void cleanByKind(QPDFObjectHandle dictionary)
{
    if (isAnnotation(dictionary))
        clearAnnotation(dictionary);
    cleanArticle(dictionary);
    const bool isPage = hasTypeOf(dictionary, {"/Page", "/Template"});
    if (isPage) { // A small picture of the page, or of what was the page; where it lies on maps.
        dictionary.removeKey("/Thumb");
        dictionary.removeKey("/LGIDict");
    }
    if (isDrawn(dictionary)) // Where the picture was that this one stands for.
        dictionary.removeKey("/OPI");
    if (isPage || isName(dictionary.getKey("/Subtype"), "/Image"))
        dictionary.removeKey("/ID"); // What it was called on the web.
    cleanUsage(dictionary.getKey("/Usage"));
}

// Cleans a dictionary, and adds the arrays and dictionaries that are part of it. Others are visited
// by themselves.
void cleanDictionary(QPDFObjectHandle dictionary,
                     const ChosenNames& names,
                     std::vector<QPDFObjectHandle>& parts)
{
    const bool isStandard = hasStandardKeys(dictionary);
    const auto isSame = [&](const auto& other) { return dictionary.isSameObjectAs(other); };
    const bool keepsAll = !isStandard && std::ranges::any_of(names, isSame);
    // A copy of the entries, from which none vanishes on the way.
    const auto entries = dictionary.getDictAsMap();
    for (const auto& [key, value] : entries) {
        const bool goes =
            (isStandard && isForbidden(key)) || isMetadata(key, value) || isHidden(key, value);
        if (goes && !keepsAll)
            dictionary.removeKey(key);
        else
            addIfDirect(value, parts);
    }
    spellNames(dictionary, entries);
    cleanByKind(dictionary);
}

bool isMetadataStream(QPDFObjectHandle dictionary)
{
    QPDFObjectHandle type = dictionary.getKey("/Type");
    return isName(type, "/Metadata") ||
           (type.isNull() && isName(dictionary.getKey("/Subtype"), "/XML"));
}

// Tables and containers of the original's objects (ISO 32000-2, 7.5.7 and 7.5.8), with its
// identifier and its earlier revisions. The writer makes its own.
bool isOfTheOriginalsStructure(QPDFObjectHandle object)
{
    if (!object.isStream())
        return false;
    QPDFObjectHandle type = object.getDict().getKey("/Type");
    return isName(type, "/XRef") || isName(type, "/ObjStm");
}

// Packed tables have the trailer as their dictionary.
bool isOf(const QPDFObjectHandle& trailer, QPDFObjectHandle object)
{
    return object.isStream() && object.getDict().isSameObjectAs(trailer);
}

void empty(QPDFObjectHandle stream)
{
    const auto none = QPDFObjectHandle::newNull();
    stream.replaceDict(QPDFObjectHandle::newDictionary());
    stream.replaceStreamData("", none, none);
}

void cleanObject(PDFFile& file, const ChosenNames& names, QPDFObjectHandle object)
{
    if (object.isStream()) {
        if (isMetadataStream(object.getDict())) {
            file.document.replaceObject(object.getObjGen(), QPDFObjectHandle::newNull());
            return;
        }
        object = object.getDict();
    }
    if (object.isName()) {
        file.document.replaceObject(object.getObjGen(), spelled(object));
        return;
    }
    std::vector<QPDFObjectHandle> pending{object};
    while (!pending.empty()) {
        QPDFObjectHandle part = pending.back();
        pending.pop_back();
        if (part.isDictionary()) {
            cleanDictionary(part, names, pending);
        } else if (part.isArray()) {
            for (const QPDFObjectHandle& item : part.aitems())
                addIfDirect(item, pending);
            spellNames(part);
        }
    }
}

} // namespace

void removeMetadata(PDFFile& file)
{
    QPDFObjectHandle catalogue = file.document.getRoot();
    const QPDFObjectHandle trailer = file.document.getTrailer();
    cleanTrailer(trailer);
    cleanCatalogue(catalogue);
    cleanForm(catalogue.getKey("/AcroForm"));
    cleanAnnotations(file);
    const ChosenNames names = chosenNames(catalogue);
    const auto objects = file.document.getAllObjects();
    for (const QPDFObjectHandle& object : objects)
        cleanObject(file, names, object);
    // A damaged or made-up trailer has the catalogue in it.
    if (std::ranges::none_of(objects, [&](auto object) { return isOf(trailer, object); }))
        cleanObject(file, names, trailer);
    // By now everything has been taken out of the containers. A damaged document may refer to them.
    for (const QPDFObjectHandle& object : objects) {
        if (isOfTheOriginalsStructure(object))
            empty(object);
    }
}

} // namespace nullprint::pdf
