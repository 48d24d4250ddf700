#include "engine/pdf/worker/PDFFile.h"

#include "engine/pdf/worker/Encryption.h"

#include <algorithm>
#include <array>
#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFLogger.hh>
#include <qpdf/QPDFWriter.hh>
#include <set>
#include <stdexcept>

namespace nullprint::pdf {
namespace {

// What the library writes, on its way to a sink.
class Output final : public Pipeline {
public:
    explicit Output(ByteSink& sink)
        : Pipeline("output", nullptr)
        , sink(sink)
    {
    }

    void write(unsigned char const* data, size_t length) override
    {
        if (!sink.write({data, length}).ok())
            throw std::runtime_error("the copy could not be written");
    }
    void finish() override {}

private:
    ByteSink& sink;
};

bool hasKids(QPDFObjectHandle object)
{
    return object.isDictionary() && object.hasKey("/Kids");
}

// The top of the tree, which is left without a parent: the library would go up to that, whatever it
// is. Some catalogues name a page in place of the tree.
QPDFObjectHandle topOfPages(const QPDFObjectHandle& named)
{
    QPDFObjectHandle top = named;
    if (!top.isDictionary())
        return top;
    for (std::size_t level = 0; !hasKids(named) && hasKids(top.getKey("/Parent")); ++level) {
        if (level == limits::pageTreeDepth)
            throw std::runtime_error("pages nested too deep");
        top = top.getKey("/Parent");
    }
    top.removeKey("/Parent");
    return top;
}

// Takes out what stands among the kids and is no page, which the library would take for one. With
// nothing else there, more is wrong than that.
std::vector<QPDFObjectHandle> kidsOf(QPDFObjectHandle node)
{
    QPDFObjectHandle kids = node.getKey("/Kids");
    if (!kids.isArray())
        return {};
    const auto isNone = [](QPDFObjectHandle kid) { return !kid.isDictionary(); };
    auto kept = kids.getArrayAsVector();
    if (std::erase_if(kept, isNone) == 0)
        return kept;
    if (kept.empty())
        throw std::runtime_error("pages that are none");
    kids.setArrayFromVector(kept);
    return kept;
}

// The library walks the tree by recursion. What would take it too deep is found out before. The
// answer is how many pages there are.
std::size_t checkPageTree(const QPDFObjectHandle& top)
{
    struct Node {
        QPDFObjectHandle object;
        std::size_t level;
    };
    std::vector<Node> pending{{top, 0}};
    std::set<QPDFObjGen> seen;
    std::size_t pages = 0;
    while (!pending.empty()) {
        const auto [node, level] = pending.back();
        pending.pop_back();
        if (level == limits::pageTreeDepth)
            throw std::runtime_error("pages nested too deep");
        if (!hasKids(node)) {
            pages += level > 0 ? 1 : 0;
            continue;
        }
        if (node.isIndirect() && !seen.insert(node.getObjGen()).second)
            throw std::runtime_error("pages that hold themselves");
        for (const QPDFObjectHandle& kid : kidsOf(node))
            pending.push_back({kid, level + 1});
    }
    return pages;
}

// Adds what an object has, but not what only describes it or leads away from the page.
void addParts(QPDFObjectHandle object, std::vector<QPDFObjectHandle>& parts)
{
    if (object.isStream())
        object = object.getDict();
    if (object.isArray()) {
        for (const QPDFObjectHandle& item : object.aitems())
            parts.push_back(item);
    }
    if (!object.isDictionary())
        return;
    constexpr std::array passedOver{"/Metadata", "/PieceInfo", "/Parent"};
    for (const auto& [key, value] : object.ditems()) {
        if (std::ranges::find(passedOver, key) == passedOver.end())
            parts.push_back(value);
    }
}

} // namespace

PDFFile::PDFFile(ByteSource& source)
    : source(source)
{
    const auto logger = QPDFLogger::create();
    logger->setInfo(logger->discard());
    logger->setWarn(logger->discard());
    logger->setError(logger->discard());
    document.setLogger(logger);
    document.setSuppressWarnings(true);
    document.processInputSource(std::make_shared<Input>(source), "");
    findPages();
}

// The library names the top of the tree in the catalogue. The copy shows what the original does, so
// a page that was named there is named again.
void PDFFile::findPages()
{
    QPDFObjectHandle catalogue = document.getRoot();
    QPDFObjectHandle named = catalogue.getKey("/Pages");
    const std::size_t count = checkPageTree(topOfPages(named));
    pages = document.getAllPages(); // Throws on what the writer would stumble over.
    if (pages.size() != count)
        throw std::runtime_error("pages that the library does not find");
    if (hasKids(named) || !named.isDictionary())
        return;
    catalogue.replaceKey("/Pages", named);
    pages.push_back(named); // Which the tree need not hold.
}

void PDFFile::readPages()
{
    // What pages say comes before what they say it with.
    for (QPDFObjectHandle page : pages) {
        std::vector<QPDFObjectHandle> pieces;
        addParts(page.getKey("/Contents"), pieces);
        for (QPDFObjectHandle piece : pieces)
            piece.isStream(); // Only so that it is read.
    }
    std::vector<QPDFObjectHandle> pending(pages.rbegin(), pages.rend());
    std::set<QPDFObjGen> seen;
    while (!pending.empty()) {
        const QPDFObjectHandle object = pending.back();
        pending.pop_back();
        if (!object.isIndirect() || seen.insert(object.getObjGen()).second)
            addParts(object, pending);
    }
}

bool isWidget(QPDFObjectHandle annotation)
{
    return annotation.getKey("/Subtype").isNameAndEquals("/Widget");
}

std::vector<QPDFObjectHandle> PDFFile::annotations()
{
    std::vector<QPDFObjectHandle> found;
    // Pages may share their annotations. Looking at each once keeps the work as small as the file.
    std::set<QPDFObjGen> seen;
    for (QPDFObjectHandle page : pages) {
        QPDFObjectHandle list = page.getKey("/Annots");
        if (!list.isArray() || (list.isIndirect() && !seen.insert(list.getObjGen()).second))
            continue;
        for (QPDFObjectHandle annotation : list.aitems()) {
            if (!annotation.isDictionary() || isWidget(annotation))
                continue;
            if (!annotation.isIndirect() || seen.insert(annotation.getObjGen()).second)
                found.push_back(annotation);
        }
    }
    return found;
}

// Up to version 4, the key is made from the identifier (ISO 32000-2, 7.6.4.3.2). The revision
// should say the same, and says anything in a damaged document.
bool PDFFile::keyNeedsIdentifier()
{
    int revision = 0;
    int permissions = 0;
    int version = 0;
    auto ignored = QPDF::e_none;
    return document.isEncrypted(revision, permissions, version, ignored, ignored, ignored) &&
           version < 5;
}

// The first part of the identifier, which copies of a document have in common, becomes one that
// readers take for none; the writer makes the second part a constant.
void PDFFile::write(ByteSink& sink)
{
    constexpr std::size_t length = 16;
    const std::string none(length, '\0');
    const auto alike = keyNeedsIdentifier() ? encryptedAlike(document, none) : nullptr;
    const auto part = QPDFObjectHandle::newString(none);
    if (!keyNeedsIdentifier())
        document.getTrailer().replaceKey("/ID", QPDFObjectHandle::newArray({part, part}));
    Output output(sink);
    QPDFWriter writer(document);
    writer.setOutputPipeline(&output);
    writer.setStaticID(true);
    if (alike)
        writer.copyEncryptionParameters(*alike);
    writer.setStreamDataMode(qpdf_s_preserve);
    writer.setObjectStreamMode(qpdf_o_disable);
    // Where a metadata stream ends can then be told from its bytes alone.
    writer.setNewlineBeforeEndstream(true);
    writer.write();
}

} // namespace nullprint::pdf
