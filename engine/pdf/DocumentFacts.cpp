#include "engine/pdf/DocumentFacts.h"

#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::pdf {
namespace {

constexpr Byte attributeMark = 'A';
constexpr Byte titleMark = 'T';
constexpr Byte endMark = 'E';

void appendText(Bytes& out, std::string_view text)
{
    const std::string_view part = text.substr(0, limits::textBytes);
    append32(out, static_cast<std::uint32_t>(part.size()), ByteOrder::big);
    append(out, part);
}

Result<std::string> readText(ByteCursor& cursor)
{
    const std::uint32_t length = NP_TRY(cursor.u32());
    if (length > limits::textBytes)
        return cursor.fail("text that is too long");
    const Bytes text = NP_TRY(cursor.bytes(length));
    return std::string(asText(text));
}

Result<Attribute> readAttribute(ByteCursor& cursor)
{
    const Byte kind = NP_TRY(cursor.u8());
    if (kind > static_cast<Byte>(Attribute::Kind::other))
        return cursor.fail("unknown kind of attribute");
    std::string key = NP_TRY(readText(cursor));
    std::string text = NP_TRY(readText(cursor));
    return Attribute{std::move(key), static_cast<Attribute::Kind>(kind), std::move(text)};
}

} // namespace

Result<Done> writeFacts(const DocumentFacts& facts, ByteSink& sink)
{
    for (const Attribute& attribute : facts.attributes) {
        Bytes record{attributeMark, static_cast<Byte>(attribute.kind)};
        appendText(record, attribute.key);
        appendText(record, attribute.text);
        NP_TRY(sink.write(record));
    }
    for (const std::string& title : facts.annotationTitles) {
        Bytes record{titleMark};
        appendText(record, title);
        NP_TRY(sink.write(record));
    }
    return sink.write(Bytes{endMark});
}

Result<DocumentFacts> readFacts(ByteSource& source)
{
    ByteCursor cursor(source);
    DocumentFacts facts;
    while (true) {
        const Byte mark = NP_TRY(cursor.u8());
        if (mark == endMark)
            return facts;
        if (mark == attributeMark) {
            facts.attributes.push_back(NP_TRY(readAttribute(cursor)));
        } else if (mark == titleMark) {
            facts.annotationTitles.insert(NP_TRY(readText(cursor)));
        } else {
            return cursor.fail("unknown kind of fact");
        }
    }
}

} // namespace nullprint::pdf
