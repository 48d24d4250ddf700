#include "engine/pdf/worker/Facts.h"

#include "engine/support/Text.h"

namespace nullprint::pdf {
namespace {

// A text string in any of its encodings (ISO 32000-2, 7.9.2.2). Texts that say of themselves that
// they are UTF-8 need not be.
std::string textOf(QPDFObjectHandle string)
{
    const std::string text = string.getUTF8Value();
    return isUTF8(text) ? text : storedText(asBytes(text));
}

bool isListOfTexts(QPDFObjectHandle value)
{
    if (!value.isArray() || value.getArrayNItems() == 0)
        return false;
    for (QPDFObjectHandle item : value.aitems()) {
        if (!item.isString())
            return false;
    }
    return true;
}

std::string joined(QPDFObjectHandle list)
{
    std::string text;
    std::string_view separator;
    for (const QPDFObjectHandle& item : list.aitems()) {
        text.append(separator).append(textOf(item));
        separator = ", ";
        if (text.size() > limits::textBytes) // One text may stand in a list many times.
            break;
    }
    return text;
}

// A name without its slash, anything else as it is written in a file.
std::string renderingOf(QPDFObjectHandle value)
{
    return value.isName() ? value.getName().substr(1) : value.unparse();
}

Attribute attributeOf(const std::string& key, QPDFObjectHandle value)
{
    std::string name = key.substr(1);
    if (value.isString())
        return {std::move(name), Attribute::Kind::text, textOf(value)};
    if (isListOfTexts(value))
        return {std::move(name), Attribute::Kind::list, joined(value)};
    return {std::move(name), Attribute::Kind::other, renderingOf(value)};
}

} // namespace

DocumentFacts factsOf(PDFFile& file)
{
    DocumentFacts facts;
    QPDFObjectHandle information = file.document.getTrailer().getKey("/Info");
    if (information.isDictionary()) {
        for (const auto& [key, value] : information.ditems())
            facts.attributes.push_back(attributeOf(key, value));
    }
    for (QPDFObjectHandle annotation : file.annotations()) {
        QPDFObjectHandle title = annotation.getKey("/T");
        std::string text = title.isString() ? textOf(title) : std::string();
        if (!text.empty())
            facts.annotationTitles.insert(std::move(text));
    }
    return facts;
}

} // namespace nullprint::pdf
