#include "engine/reveal/PDFInspector.h"

#include "engine/image/XMP.h"
#include "engine/pdf/PDFDocument.h"

#include <algorithm>

namespace nullprint {
namespace {

using pdf::Attribute;
using pdf::DocumentFacts;

struct AttributeRow {
    std::string_view key;
    std::string_view icon;
    std::string_view label;
};

constexpr std::array textRows{
    AttributeRow{"Author", "👤", "Author"},
    AttributeRow{"Title", "📄", "Title"},
    AttributeRow{"Subject", "🏷", "Subject"},
    AttributeRow{"Creator", "🛠", "Created with"},
    AttributeRow{"Producer", "🛠", "Produced by"},
};

const Attribute* attributeNamed(const DocumentFacts& facts, std::string_view key)
{
    const auto place = std::ranges::find(facts.attributes, key, &Attribute::key);
    return place == facts.attributes.end() ? nullptr : &*place;
}

// A single text is a list of one, also when it is empty.
bool isListOfKeywords(const Attribute& attribute)
{
    return attribute.kind == Attribute::Kind::text || attribute.kind == Attribute::Kind::list;
}

void addAttributes(const DocumentFacts& facts, std::vector<RevealItem>& items)
{
    for (const AttributeRow& row : textRows) {
        const Attribute* attribute = attributeNamed(facts, row.key);
        if (attribute != nullptr && attribute->kind == Attribute::Kind::text &&
            !attribute->text.empty())
            items.push_back({std::string(row.icon), std::string(row.label), attribute->text});
    }
    const Attribute* keywords = attributeNamed(facts, "Keywords");
    if (keywords != nullptr && isListOfKeywords(*keywords))
        items.push_back({"🏷", "Keywords", keywords->text});
}

void addAuthors(const DocumentFacts& facts, std::vector<RevealItem>& items)
{
    if (facts.annotationTitles.empty())
        return;
    std::string names;
    std::string_view separator;
    for (const std::string& name : facts.annotationTitles) {
        names.append(separator).append(name);
        separator = ", ";
    }
    items.push_back({"💬", "Comment author(s)", std::move(names)});
}

} // namespace

RevealReport inspectPDF(const FileURL& url)
{
    RevealReport report{url, "PDF", {}, std::nullopt};
    const auto file = FileSource::open(url.path());
    const auto facts = file.ok() ? pdf::factsOf(*file.value()) : std::nullopt;
    if (!facts) {
        report.note = "Couldn’t open this PDF (it may be damaged or password-protected).";
        return report;
    }
    addAttributes(*facts, report.items);
    addAuthors(*facts, report.items);
    if (image::containsAny(*file.value(), std::array<std::string_view, 1>{"/Metadata"}))
        report.items.push_back(
            {"🗂",
             "XMP metadata",
             "a hidden metadata block (often author + a tracking ID) is present"});
    return report;
}

} // namespace nullprint
