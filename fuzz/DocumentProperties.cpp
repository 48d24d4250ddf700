#include "fuzz/DocumentProperties.h"

#include "engine/pdf/worker/PDFFile.h"
#include "engine/pdf/worker/Work.h"
#include "fuzz/Require.h"
#include "fuzz/StrictSource.h"

#include <algorithm>
#include <optional>
#include <qpdf/Buffer.hh>

namespace nullprint::fuzz {
namespace {

using pdf::Outcome;

std::optional<Bytes> clean(ByteSpan bytes)
{
    StrictSource source(bytes);
    MemorySink copy;
    if (pdf::Work(source).writeClean(copy) != Outcome::done)
        return std::nullopt;
    return std::move(copy.content);
}

pdf::DocumentFacts mustDescribe(ByteSpan bytes)
{
    StrictSource source(bytes);
    pdf::DocumentFacts facts;
    require(pdf::Work(source).describe(facts) == Outcome::done, "what is cleaned can be opened");
    return facts;
}

// A document that can be opened, as the library sees it.
class Document {
public:
    explicit Document(ByteSpan bytes)
        : source(bytes)
        , file(source)
    {
    }

    QPDF& library() { return file.document; }

private:
    StrictSource source;
    pdf::PDFFile file;
};

// Nothing when it is damaged, or is one that goes or is a picture, which has rules of its own.
std::optional<Bytes> dataOf(QPDFObjectHandle stream)
{
    QPDFObjectHandle dictionary = stream.getDict();
    QPDFObjectHandle type = dictionary.getKey("/Type");
    constexpr std::array removed{"/Metadata", "/XRef", "/ObjStm"};
    if (std::ranges::any_of(removed,
                            [&](const char* name) { return type.isNameAndEquals(name); }) ||
        dictionary.getKey("/Subtype").isNameAndEquals("/XML") ||
        dictionary.getKey("/Filter").unparseResolved().find("/DCT") != std::string::npos)
        return std::nullopt;
    try {
        const auto data = stream.getRawStreamData();
        const ByteSpan bytes(data->getBuffer(), data->getSize());
        return Bytes(bytes.begin(), bytes.end());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::vector<QPDFObjectHandle> contentsOf(QPDFObjectHandle page)
{
    QPDFObjectHandle contents = page.getKey("/Contents");
    return contents.isArray() ? contents.getArrayAsVector() : std::vector{contents};
}

// Whether it is the form as well, of which the metadata goes.
bool isForm(QPDF& document, const QPDFObjectHandle& stream)
{
    QPDFObjectHandle form = document.getRoot().getKey("/AcroForm");
    return form.isDictionary() && stream.isIndirect() &&
           form.getKey("/XFA").getObjGen() == stream.getObjGen();
}

void checkPage(QPDF& document, const QPDFObjectHandle& original, const QPDFObjectHandle& copy)
{
    const auto before = contentsOf(original);
    const auto after = contentsOf(copy);
    require(before.size() == after.size(), "a page has as many pieces as in its original");
    for (std::size_t piece = 0; piece < before.size(); ++piece) {
        QPDFObjectHandle stream = before[piece];
        const bool isKept = stream.isStream() && !isForm(document, stream);
        const auto data = isKept ? dataOf(stream) : std::nullopt;
        QPDFObjectHandle copied = after[piece];
        require(!data || (copied.isStream() && dataOf(copied) == data),
                "a page is drawn as in its original");
    }
}

void checkPages(ByteSpan original, ByteSpan copy)
{
    Document before(original);
    Document after(copy);
    const auto& pages = before.library().getAllPages();
    const auto& copied = after.library().getAllPages();
    require(pages.size() == copied.size(), "a copy has the pages of its original");
    for (std::size_t page = 0; page < pages.size(); ++page)
        checkPage(before.library(), pages[page], copied[page]);
}

bool isNamed(QPDFObjectHandle value, std::initializer_list<const char*> names)
{
    return std::ranges::any_of(names,
                               [&](const char* name) { return value.isNameAndEquals(name); });
}

// Where metadata may be in no form, as the standard says what all keys are.
bool hasStandardKeys(QPDFObjectHandle dictionary)
{
    return isNamed(dictionary.getKey("/Type"),
                   {"/Catalog", "/Pages", "/Page", "/Template", "/XObject"}) ||
           isNamed(dictionary.getKey("/Subtype"), {"/Form", "/Image"});
}

// Whether all its keys are names that somebody has chosen, whatever they are.
bool hasChosenKeys(QPDF& document, QPDFObjectHandle dictionary)
{
    QPDFObjectHandle catalogue = document.getRoot();
    QPDFObjectHandle structure = catalogue.getKey("/StructTreeRoot");
    std::vector<QPDFObjectHandle> chosen{catalogue.getKey("/Dests")};
    if (structure.isDictionary()) {
        chosen.push_back(structure.getKey("/RoleMap"));
        chosen.push_back(structure.getKey("/ClassMap"));
    }
    return std::ranges::any_of(chosen, [&](const QPDFObjectHandle& other) {
        return dictionary.isSameObjectAs(other);
    });
}

// Elsewhere, a key may be the name of a font, a picture or a style, the value of which is of
// another kind; a picture with such a name goes.
bool hasMetadata(QPDF& document, QPDFObjectHandle dictionary)
{
    QPDFObjectHandle metadata = dictionary.getKey("/Metadata");
    QPDFObjectHandle pieces = dictionary.getKey("/PieceInfo");
    QPDFObjectHandle date = dictionary.getKey("/LastModified");
    if (hasStandardKeys(dictionary))
        return !metadata.isNull() || !pieces.isNull() || !date.isNull();
    return (metadata.isStream() || pieces.isDictionary() || date.isString()) &&
           !hasChosenKeys(document, dictionary);
}

// Looks at what is in one object, and at nothing that has a number of its own.
void checkObject(QPDF& document, QPDFObjectHandle object)
{
    std::vector<QPDFObjectHandle> pending{object.isStream() ? object.getDict() : object};
    while (!pending.empty()) {
        QPDFObjectHandle part = pending.back();
        pending.pop_back();
        std::vector<QPDFObjectHandle> items;
        if (part.isArray())
            items = part.getArrayAsVector();
        if (part.isDictionary()) {
            require(!hasMetadata(document, part), "no dictionary of a copy has metadata");
            for (const auto& [key, value] : part.getDictAsMap())
                items.push_back(value);
        }
        std::ranges::copy_if(items, std::back_inserter(pending), [](const QPDFObjectHandle& item) {
            return !item.isIndirect();
        });
    }
}

void checkObjects(QPDF& document)
{
    for (const QPDFObjectHandle& object : document.getAllObjects())
        checkObject(document, object);
}

bool hasRandomBytes(QPDF& document)
{
    int ignored = 0;
    auto streams = QPDF::e_none;
    auto texts = QPDF::e_none;
    auto files = QPDF::e_none;
    document.isEncrypted(ignored, ignored, ignored, streams, texts, files);
    return std::ranges::any_of(std::array{streams, texts, files}, [](auto method) {
        return method == QPDF::e_aes || method == QPDF::e_aesv3;
    });
}

} // namespace

void checkDocument(ByteSpan bytes)
{
    const auto copy = clean(bytes);
    if (!copy)
        return;
    mustDescribe(bytes);
    const pdf::DocumentFacts facts = mustDescribe(*copy);
    require(facts.attributes.empty(), "a copy has no information dictionary");
    require(facts.annotationTitles.empty(), "annotations in a copy have no authors");
    checkPages(bytes, *copy);
    const auto again = clean(*copy);
    require(again.has_value(), "a copy can be cleaned");
    checkCopyOfDocument(*copy, *again);
}

void checkCopyOfDocument(ByteSpan copy, ByteSpan again)
{
    Document document(copy);
    checkObjects(document.library());
    require(hasRandomBytes(document.library()) || std::ranges::equal(copy, again),
            "cleaning a copy changes nothing");
}

void checkCopyOfFile(ByteSpan original, ByteSpan copy, ByteSpan again)
{
    Document document(copy);
    const auto written = clean(original);
    if (hasRandomBytes(document.library()) || !written || std::ranges::equal(*written, copy))
        return checkCopyOfDocument(copy, again);
    checkObjects(document.library());
    const auto isBlanked = [](Byte before, Byte after) { return after == before || after == ' '; };
    require(std::ranges::equal(*written, copy, isBlanked), "a copy is what was written, or blank");
}

} // namespace nullprint::fuzz
