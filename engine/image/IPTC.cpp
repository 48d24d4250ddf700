#include "engine/image/IPTC.h"

#include "engine/support/ByteCursor.h"
#include "engine/support/Text.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::uint8_t datasetMark = 0x1C;
constexpr std::uint16_t iimResource = 0x0404;

// IIM 1.5 and 1.6: a length with its top bit set says how many bytes the real length takes.
Result<std::uint64_t> readLength(ByteCursor& cursor)
{
    const std::uint16_t length = NP_TRY(cursor.u16());
    if ((length & 0x8000) == 0)
        return static_cast<std::uint64_t>(length);
    const unsigned width = length & 0x7FFFU;
    if (width > 8)
        return cursor.fail("IIM length too long");
    std::uint64_t extended = 0;
    for (unsigned index = 0; index < width; ++index)
        extended = extended << 8 | NP_TRY(cursor.u8());
    return extended;
}

Result<Done> readDataset(ByteCursor& cursor, Properties& properties)
{
    if (NP_TRY(cursor.u8()) != datasetMark)
        return cursor.fail("no IIM dataset");
    const std::uint16_t number = NP_TRY(cursor.u16()); // Record and dataset number.
    const std::uint64_t length = NP_TRY(readLength(cursor));
    const Bytes text = NP_TRY(cursor.bytes(length));
    properties.add(Group::iptc, number, storedText(text));
    return Done{};
}

Result<Done> readResource(ByteCursor& cursor, Properties& properties)
{
    const std::uint32_t mark = NP_TRY(cursor.u32());
    // The marks that programs other than the first have used are read alike.
    constexpr std::array marks{fourCC("8BIM"),
                               fourCC("PHUT"),
                               fourCC("DCSR"),
                               fourCC("AgHg"),
                               fourCC("MeSa")};
    if (std::ranges::find(marks, mark) == marks.end())
        return cursor.fail("no image resource");
    const std::uint16_t number = NP_TRY(cursor.u16());
    const std::uint8_t nameLength = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(nameLength + (nameLength % 2 == 0 ? 1U : 0U)));
    const std::uint32_t length = NP_TRY(cursor.u32());
    const Bytes data = NP_TRY(cursor.bytes(length));
    if (number == iimResource)
        readIIM(data, properties);
    if (length % 2 == 1 && !cursor.atEnd())
        NP_TRY(cursor.skip(1));
    return Done{};
}

} // namespace

void readIIM(ByteSpan stream, Properties& properties)
{
    MemorySource source(stream);
    ByteCursor cursor(source);
    while (!cursor.atEnd() && readDataset(cursor, properties).ok()) {
    }
}

void readPhotoshopResources(ByteSpan resources, Properties& properties)
{
    MemorySource source(resources);
    ByteCursor cursor(source);
    while (!cursor.atEnd() && readResource(cursor, properties).ok()) {
    }
}

} // namespace nullprint::image
