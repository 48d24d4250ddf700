#include "engine/package/PackageWriter.h"

#include "tests/support/Joined.h"
#include "tests/support/Pictures.h"
#include "tests/support/ZIPBuilder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace nullprint::tests {
namespace {

Bytes randomBytes(std::size_t size)
{
    std::mt19937 random(1);
    Bytes content(size);
    std::generate(content.begin(), content.end(), [&] { return static_cast<Byte>(random()); });
    return content;
}

// The archive with parts copied, or given the content that `replaced` has under their name.
Bytes rewritten(ByteSpan archive, const std::map<std::string, Bytes>& replaced = {})
{
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    EXPECT_TRUE(reader.ok());
    MemorySink sink;
    PackageWriter writer(sink);
    for (const PackagePart& part : reader.value().parts()) {
        const auto found = replaced.find(part.name);
        const auto written = found == replaced.end() ? writer.copy(reader.value(), part)
                                                     : writer.replace(part, found->second);
        EXPECT_TRUE(written.ok());
    }
    EXPECT_TRUE(writer.finish().ok());
    return sink.content;
}

struct ReadPart {
    PackagePart part;
    Bytes content;
};

ReadPart onlyPartOf(ByteSpan archive)
{
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    EXPECT_TRUE(reader.ok() && reader.value().parts().size() == 1);
    const PackagePart& part = reader.value().parts()[0];
    return {part, reader.value().read(part, SIZE_MAX).value()};
}

TEST(PackageWriter, writesEveryByteAsExpected)
{
    Bytes expected;
    append(expected, std::string_view("PK\x03\x04\x14\0\0\0\0\0\0\0\x21\0", 14));
    append(expected, std::string_view("\x83\x16\xDC\x8C\x01\0\0\0\x01\0\0\0\x01\0\0\0ax", 18));
    append(expected, std::string_view("PK\x01\x02\x14\0\x14\0\0\0\0\0\0\0\x21\0", 16));
    append(expected, std::string_view("\x83\x16\xDC\x8C\x01\0\0\0\x01\0\0\0\x01\0\0\0", 16));
    append(expected, std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0\0\0a", 15));
    append(expected,
           std::string_view("PK\x05\x06\0\0\0\0\x01\0\x01\0\x2F\0\0\0\x20\0\0\0\0\0", 22));
    EXPECT_EQ(rewritten(ZIPBuilder().add(storedEntry("a", "x")).build()), expected);
}

TEST(PackageWriter, leavesOutWhatTellsWhereTheArchiveIsFrom)
{
    ZIPEntry entry = deflatedEntry("word/a.xml", "some text, some text");
    const Bytes plain = rewritten(ZIPBuilder().add(entry).build());
    entry.extra = bytesOf({"\x75\x78\x0B\0\x01\x04\xE8\x03\0\0\x04\xE8\x03\0\0", 15}); // Owner.
    entry.comment = "by Jane Roe";
    entry.attributes = 0x81A40020;
    entry.hasDescriptor = true;
    entry.flags = 0x0806;
    const Bytes told = joined({bytesOf("before"),
                               ZIPBuilder()
                                   .add(storedEntry("word/", ""))
                                   .gap("Jane Roe")
                                   .add(entry)
                                   .comment("by Jane Roe")
                                   .build(),
                               bytesOf("after")});
    EXPECT_EQ(rewritten(told), plain);
    EXPECT_EQ(rewritten(plain), plain);
}

TEST(PackageWriter, copiesPartsAsTheyArePacked)
{
    ZIPEntry entry = deflatedEntry("a", "text");
    // Two stored blocks, as no ordinary writer would pack so few bytes.
    entry.packed = bytesOf({"\x00\x02\x00\xFD\xFFte\x01\x02\x00\xFD\xFFxt", 14});
    const Bytes copy = rewritten(ZIPBuilder().add(entry).build());
    EXPECT_TRUE(holds(copy, asText(*entry.packed)));
    EXPECT_EQ(asText(onlyPartOf(copy).content), "text");
}

TEST(PackageWriter, writesAnEmptyPartThatIsNoStreamAsStored)
{
    ZIPEntry entry = deflatedEntry("a", "");
    entry.packed = Bytes();
    const ReadPart read = onlyPartOf(rewritten(ZIPBuilder().add(entry).build()));
    EXPECT_FALSE(read.part.isDeflated);
    EXPECT_TRUE(read.content.empty());
}

TEST(PackageWriter, deflatesWhatGetsSmaller)
{
    const Bytes archive = ZIPBuilder().add(storedEntry("a.xml", "old")).build();
    for (const std::size_t size : {0UL, 1UL, 100UL, 5000UL, 1000000UL}) {
        const Bytes text(size, 'x');
        const ReadPart read = onlyPartOf(rewritten(archive, {{"a.xml", text}}));
        EXPECT_EQ(read.content, text);
        EXPECT_EQ(read.part.isDeflated, size > 10);
        EXPECT_LE(read.part.stored.length, size);
    }
}

TEST(PackageWriter, storesWhatDoesNotGetSmaller)
{
    const Bytes archive = ZIPBuilder().add(deflatedEntry("a.jpg", "old")).build();
    for (const std::size_t size : {10UL, 5000UL, 1000000UL}) {
        const Bytes noise = randomBytes(size);
        const ReadPart read = onlyPartOf(rewritten(archive, {{"a.jpg", noise}}));
        EXPECT_EQ(read.content, noise);
        EXPECT_FALSE(read.part.isDeflated);
    }
}

TEST(PackageWriter, keepsTheMarkOfNamesInUTF8)
{
    ZIPEntry entry = storedEntry("word/über.xml", "x");
    EXPECT_FALSE(onlyPartOf(rewritten(ZIPBuilder().add(entry).build())).part.usesUTF8);
    entry.flags = 0x0800;
    const ReadPart read = onlyPartOf(rewritten(ZIPBuilder().add(entry).build()));
    EXPECT_TRUE(read.part.usesUTF8);
    EXPECT_EQ(read.part.name, "word/über.xml");
}

TEST(PackageWriter, countsBeyondSixteenBits)
{
    ZIPBuilder builder;
    for (int number = 0; number < 70000; ++number)
        builder.add(storedEntry(std::to_string(number), ""));
    const Bytes archive = builder.wideEnd().build();
    const Bytes copy = rewritten(archive);
    MemorySource source(copy);
    const auto reader = PackageReader::open(source);
    ASSERT_TRUE(reader.ok());
    EXPECT_EQ(reader.value().parts().size(), 70000U);
    EXPECT_TRUE(holds(copy, "PK\x06\x06"));
    EXPECT_EQ(rewritten(copy), copy);
}

// Takes any amount and remembers none of it but the end.
class EndSink final : public ByteSink {
public:
    Result<Done> write(ByteSpan bytes) override
    {
        append(end, bytes);
        return Done{};
    }
    Result<Done> copy(ByteSource&, ByteRange) override { return Done{}; }

    Bytes end;
};

TEST(PackageWriter, countsBeyondThirtyTwoBits)
{
    constexpr std::uint64_t enormous = 5UL * 1024 * 1024 * 1024;
    const Bytes archive = ZIPBuilder().add(storedEntry("a", "")).build();
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    ASSERT_TRUE(reader.ok());
    PackagePart part = reader.value().parts()[0];
    part.sizeBytes = enormous;
    part.stored.length = enormous;
    EndSink sink;
    PackageWriter writer(sink);
    EXPECT_TRUE(writer.copy(reader.value(), part).ok());
    part.name = "b";
    part.sizeBytes = 1;
    part.stored.length = 1;
    EXPECT_TRUE(writer.copy(reader.value(), part).ok());
    EXPECT_TRUE(writer.finish().ok());

    Bytes wideSizes = bytesOf({"\x01\0\x10\0", 4});
    append64(wideSizes, enormous, ByteOrder::little);
    append64(wideSizes, enormous, ByteOrder::little);
    Bytes wideOffset = bytesOf({"b\x01\0\x08\0", 5});
    append64(wideOffset, enormous + 51, ByteOrder::little);
    const std::string_view written = asText(sink.end);
    const std::size_t first = written.find(asText(wideSizes));
    ASSERT_NE(first, std::string_view::npos);
    EXPECT_NE(written.find(asText(wideSizes), first + 1), std::string_view::npos);
    EXPECT_NE(written.find(asText(wideOffset)), std::string_view::npos);
    EXPECT_NE(written.find("PK\x06\x06"), std::string_view::npos);
    EXPECT_NE(written.find("PK\x06\x07"), std::string_view::npos);
}

} // namespace
} // namespace nullprint::tests
