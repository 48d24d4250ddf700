#include "engine/package/PackageReader.h"

#include "engine/support/Deflate.h"
#include "engine/support/FileSource.h"
#include "tests/support/Folder.h"
#include "tests/support/Joined.h"
#include "tests/support/ZIPBuilder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

namespace nullprint::tests {
namespace {

const std::string longText(100000, 'a');

// What the first complaint is about an archive: when it is opened, checked, or its parts are read.
std::string complaintAbout(ByteSpan archive)
{
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    if (!reader.ok())
        return reader.error().what;
    const auto checked = reader.value().check();
    if (!checked.ok())
        return checked.error().what;
    for (const PackagePart& part : reader.value().parts()) {
        const auto read = reader.value().read(part, limits::partBytes);
        const auto verified = reader.value().verify(part);
        EXPECT_EQ(read.ok(), verified.ok()) << part.name;
        if (!read.ok())
            return read.error().what;
    }
    return "none";
}

std::string complaintAbout(const ZIPEntry& entry)
{
    return complaintAbout(ZIPBuilder().add(entry).build());
}

// "name=content" of every part.
std::vector<std::string> partsOf(ByteSpan archive)
{
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    std::vector<std::string> parts;
    if (!reader.ok())
        return {reader.error().what};
    for (const PackagePart& part : reader.value().parts()) {
        const auto content = reader.value().read(part, limits::partBytes);
        parts.push_back(
            part.name + "=" +
            (content.ok() ? std::string(asText(content.value())) : content.error().what));
    }
    return parts;
}

using Parts = std::vector<std::string>;

ZIPEntry damagedAt(std::size_t place)
{
    ZIPEntry entry = deflatedEntry("a", longText + "b");
    Bytes packed = deflate(entry.content, SIZE_MAX).value();
    packed.at(place) ^= 0x55U;
    entry.packed = packed;
    return entry;
}

TEST(PackageReader, listsPartsInTheArchivesOrder)
{
    const Bytes archive = ZIPBuilder()
                              .add(storedEntry("z.xml", "last letter"))
                              .add(deflatedEntry("word/a.xml", "first letter"))
                              .add(storedEntry("empty.bin", ""))
                              .add(deflatedEntry("nothing.bin", ""))
                              .build();
    EXPECT_EQ(
        partsOf(archive),
        (Parts{"z.xml=last letter", "word/a.xml=first letter", "empty.bin=", "nothing.bin="}));
}

TEST(PackageReader, takesTheLastOfSeveralPartsWithOneName)
{
    const Bytes archive = ZIPBuilder()
                              .add(storedEntry("a", "old"))
                              .add(storedEntry("b", "b"))
                              .add(storedEntry("a", "new"))
                              .add(storedEntry("./a", "newest"))
                              .build();
    EXPECT_EQ(partsOf(archive), (Parts{"b=b", "a=newest"}));
}

TEST(PackageReader, leavesOutFolders)
{
    const Bytes archive = ZIPBuilder()
                              .add(storedEntry("word/", ""))
                              .add(storedEntry("word/media/", "hidden"))
                              .add(storedEntry("docProps\\", ""))
                              .add(storedEntry("word/a", "a"))
                              .build();
    EXPECT_EQ(partsOf(archive), Parts{"word/a=a"});
    EXPECT_EQ(partsOf(ZIPBuilder().add(storedEntry("word/", "")).build()), Parts{});
    EXPECT_EQ(partsOf(ZIPBuilder().build()), Parts{});
}

TEST(PackageReader, putsSlashesBetweenFolders)
{
    const Bytes archive = ZIPBuilder()
                              .add(storedEntry("docProps\\core.xml", "1"))
                              .add(storedEntry(".\\xl//./b.xml", "2"))
                              .build();
    EXPECT_EQ(partsOf(archive), (Parts{"docProps/core.xml=1", "xl/b.xml=2"}));
}

TEST(PackageReader, refusesNamesThatLeadOutOfTheirFolder)
{
    for (const std::string_view name : {"../a.xml",
                                        "word/../../a.xml",
                                        "word\\..\\a.xml",
                                        "..",
                                        "word/..",
                                        "/etc/passwd",
                                        "\\\\server\\share",
                                        "C:\\a.xml",
                                        "c:a.xml",
                                        "",
                                        "."}) {
        EXPECT_EQ(complaintAbout(storedEntry(std::string(name), "x")),
                  "a part of it has an unsafe name")
            << name;
    }
    EXPECT_EQ(complaintAbout(storedEntry(std::string("a.bin\0.xml", 10), "x")),
              "a part of it has an unsafe name");
    for (const std::string_view name : {"..a", "a..", "a/...", "word/..a/b", "ab:c"})
        EXPECT_EQ(complaintAbout(storedEntry(std::string(name), "x")), "none") << name;
}

TEST(PackageReader, refusesAFileAndAFolderOfOneName)
{
    for (const auto& [file, inFolder] : {std::pair("word", "word/a.xml"),
                                         std::pair("a/b", "a\\b/c/d/e.xml"),
                                         std::pair("b.xml", "b.xml/b.xml")}) {
        const ZIPEntry first = storedEntry(file, "x");
        const ZIPEntry second = storedEntry(inFolder, "x");
        const ZIPEntry between = storedEntry(std::string(file) + "!", "x");
        EXPECT_EQ(complaintAbout(ZIPBuilder().add(first).add(between).add(second).build()),
                  "a part of it has an unsafe name");
        EXPECT_EQ(complaintAbout(ZIPBuilder().add(second).add(between).add(first).build()),
                  "a part of it has an unsafe name");
    }
    EXPECT_EQ(complaintAbout(ZIPBuilder()
                                 .add(storedEntry("a", "x"))
                                 .add(storedEntry("a!/b", "x"))
                                 .add(storedEntry("ab/c", "x"))
                                 .add(storedEntry("c/a", "x"))
                                 .build()),
              "none");
}

TEST(PackageReader, walksAThousandFoldersDeep)
{
    std::string name;
    for (int depth = 0; depth < 1000; ++depth)
        name += "folder/";
    name += "a.xml";
    EXPECT_EQ(partsOf(ZIPBuilder().add(storedEntry(name, "deep")).build()), Parts{name + "=deep"});
}

TEST(PackageReader, takesALinkForTheFileItIsStoredAs)
{
    ZIPEntry link = storedEntry("word/document.xml", "/etc/passwd");
    link.attributes = 0xA1FF0000;
    EXPECT_EQ(partsOf(ZIPBuilder().add(link).build()), Parts{"word/document.xml=/etc/passwd"});
}

TEST(PackageReader, tellsWhatIsNoArchive)
{
    EXPECT_EQ(complaintAbout(bytesOf("")), "it is not a ZIP archive");
    EXPECT_EQ(complaintAbout(bytesOf("Dear Sir, this is no archive at all.")),
              "it is not a ZIP archive");
    EXPECT_EQ(complaintAbout(bytesOf("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1 and so on, and so on")),
              "it is protected by a password, or in an older format");
}

TEST(PackageReader, refusesEveryTruncation)
{
    const Bytes archive = ZIPBuilder()
                              .add(deflatedEntry("a.xml", "some text, some more text"))
                              .add(storedEntry("b.xml", "other text"))
                              .comment("with a comment")
                              .build();
    EXPECT_EQ(complaintAbout(archive), "none");
    for (std::size_t length = 4; length + 14 < archive.size(); ++length)
        EXPECT_EQ(complaintAbout(ByteSpan(archive).first(length)), "it is damaged or cut short");
}

TEST(PackageReader, survivesEveryChangedByte)
{
    ZIPEntry wide = storedEntry("c.xml", "third text");
    wide.isWide = true;
    const Bytes archive = ZIPBuilder()
                              .add(deflatedEntry("a.xml", "some text, some more text"))
                              .add(storedEntry("b.xml", "other text"))
                              .add(wide)
                              .wideEnd()
                              .build();
    for (std::size_t place = 0; place < archive.size(); ++place) {
        for (const unsigned change : {0x01U, 0x80U, 0xFFU}) {
            Bytes changed = archive;
            changed[place] ^= static_cast<Byte>(change);
            complaintAbout(changed); // Must end, and agree with itself.
        }
    }
}

TEST(PackageReader, refusesWrongChecksums)
{
    for (ZIPEntry entry : {storedEntry("a", "text"), deflatedEntry("a", "text")}) {
        entry.checksum = 1;
        EXPECT_EQ(complaintAbout(entry), "a part of it is damaged");
    }
}

TEST(PackageReader, refusesWrongSizes)
{
    for (const std::uint32_t size : {0U, 99999U, 100002U, 4000000U}) {
        ZIPEntry entry = deflatedEntry("a", longText + "b");
        entry.size = size;
        EXPECT_EQ(complaintAbout(entry), "a part of it is damaged") << size;
        entry = storedEntry("a", longText + "b");
        entry.size = size;
        EXPECT_EQ(complaintAbout(entry), "a part of it is damaged") << size;
    }
    ZIPEntry entry = storedEntry("a", "text");
    entry.packedSize = 1000;
    EXPECT_EQ(complaintAbout(entry), "it is damaged or cut short");
}

TEST(PackageReader, refusesDamagedStreams)
{
    const std::size_t length = deflate(bytesOf(longText + "b"), SIZE_MAX).value().size();
    for (std::size_t place = 0; place < length; ++place)
        EXPECT_EQ(complaintAbout(damagedAt(place)), "a part of it is damaged") << place;
}

TEST(PackageReader, refusesWhatIsHiddenBehindAStream)
{
    ZIPEntry entry = deflatedEntry("a", longText);
    entry.packed = joined({deflate(entry.content, SIZE_MAX).value(), bytesOf("Jane Roe")});
    EXPECT_EQ(complaintAbout(entry), "a part of it is damaged");
}

TEST(PackageReader, refusesAStreamWithoutItsEnd)
{
    ZIPEntry entry = deflatedEntry("a", longText + "b");
    Bytes packed = deflate(entry.content, SIZE_MAX).value();
    while (!packed.empty()) {
        packed.pop_back();
        entry.packed = packed;
        EXPECT_EQ(complaintAbout(entry), "a part of it is damaged");
    }
}

TEST(PackageReader, refusesEncryptedParts)
{
    for (const std::uint16_t flags :
         std::initializer_list<std::uint16_t>{0x0001, 0x0041, 0x0040, 0x2000}) {
        ZIPEntry entry = storedEntry("a", "secret");
        entry.flags = flags;
        EXPECT_EQ(complaintAbout(entry), "a part of it is encrypted");
    }
}

TEST(PackageReader, refusesUnknownMethods)
{
    for (const std::uint16_t method :
         std::initializer_list<std::uint16_t>{1, 6, 9, 12, 14, 93, 95, 99, 0xFFFF}) {
        ZIPEntry entry = storedEntry("a", "text");
        entry.method = method;
        EXPECT_EQ(complaintAbout(entry), "a part of it is packed in an unsupported way");
    }
}

TEST(PackageReader, readsOtherPartsBesideOneWithAProblem)
{
    ZIPEntry locked = storedEntry("locked", "secret");
    locked.flags = 1;
    const Bytes archive = ZIPBuilder().add(locked).add(storedEntry("open", "text")).build();
    EXPECT_EQ(partsOf(archive), (Parts{"locked=a part of it is encrypted", "open=text"}));
}

TEST(PackageReader, refusesEntriesThatShareBytes)
{
    ZIPEntry twin = storedEntry("b", "text");
    twin.offset = 0;
    EXPECT_EQ(complaintAbout(ZIPBuilder().add(storedEntry("a", "text")).add(twin).build()),
              "it is damaged or cut short");
    // An entry whose data is another entry, header and all.
    ZIPEntry outer = storedEntry("a", std::string(200, 'x'));
    outer.packed = Bytes();
    outer.packedSize = 31 + 4;
    outer.size = 31 + 4;
    EXPECT_EQ(complaintAbout(ZIPBuilder().add(outer).add(storedEntry("b", "text")).build()),
              "it is damaged or cut short");
}

TEST(PackageReader, refusesEntriesThatAreNotThere)
{
    for (const std::uint32_t offset : {1U, 35U, 70U, 1000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        ZIPEntry entry = storedEntry("a", "text");
        entry.offset = offset;
        EXPECT_EQ(complaintAbout(entry), "it is damaged or cut short") << offset;
    }
}

TEST(PackageReader, refusesAWrongCount)
{
    const auto archive = [](std::uint16_t count) {
        return ZIPBuilder().add(storedEntry("a", "text")).announceCount(count).build();
    };
    EXPECT_EQ(complaintAbout(archive(1)), "none");
    for (const std::uint16_t count : std::initializer_list<std::uint16_t>{0, 2, 0xFFFF})
        EXPECT_EQ(complaintAbout(archive(count)), "it is damaged or cut short");
}

TEST(PackageReader, readsWideNumbers)
{
    ZIPEntry wide = deflatedEntry("a", longText);
    wide.isWide = true;
    EXPECT_EQ(complaintAbout(wide), "none");
    const Bytes archive = ZIPBuilder().add(wide).add(storedEntry("b", "text")).wideEnd().build();
    EXPECT_EQ(partsOf(archive), (Parts{"a=" + longText, "b=text"}));
}

TEST(PackageReader, readsDataDescriptors)
{
    ZIPEntry first = deflatedEntry("a", longText);
    first.hasDescriptor = true;
    ZIPEntry second = storedEntry("b", "text");
    second.hasDescriptor = true;
    EXPECT_EQ(partsOf(ZIPBuilder().add(first).add(second).build()),
              (Parts{"a=" + longText, "b=text"}));
}

TEST(PackageReader, findsAnArchiveBetweenOtherBytes)
{
    for (const bool isWide : {false, true}) {
        ZIPBuilder builder;
        builder.gap("before").add(storedEntry("a", "text")).gap("between");
        builder.add(deflatedEntry("b", longText)).gap("after");
        if (isWide)
            builder.wideEnd();
        const Bytes archive = builder.build();
        const Parts parts{"a=text", "b=" + longText};
        EXPECT_EQ(partsOf(archive), parts);
        EXPECT_EQ(partsOf(joined({bytesOf("#!/bin/sh\n"), archive})), parts);
        EXPECT_EQ(partsOf(joined({archive, Bytes(60000, 0)})), parts);
        EXPECT_EQ(partsOf(joined({bytesOf("PK\x03\x04"), archive, bytesOf("more")})), parts);
    }
}

TEST(PackageReader, doesNotNeedTheEntrysOwnName)
{
    ZIPEntry entry = storedEntry("a", "text");
    entry.localName = "something/else/altogether";
    EXPECT_EQ(partsOf(ZIPBuilder().add(entry).build()), Parts{"a=text"});
}

TEST(PackageReader, toleratesStrangeExtraFields)
{
    for (const std::string_view extra : {std::string_view("\x01\0\xFF\xFF", 4),
                                         std::string_view("\x75\x70\0\0\x01", 5),
                                         std::string_view("\x01\0\0\0", 4)}) {
        ZIPEntry entry = storedEntry("a", "text");
        entry.extra = bytesOf(extra);
        EXPECT_EQ(complaintAbout(entry), "none");
    }
}

TEST(PackageReader, boundsWhatAllPartsUnpackTo)
{
    // Honest about its size, as the streams could be, and refused before any is unpacked.
    ZIPBuilder builder;
    for (const std::string name : {"a", "b", "c"}) {
        ZIPEntry entry = deflatedEntry(name, "");
        entry.packed = Bytes(1024UL * 1024);
        entry.size = 1000U * 1024 * 1024;
        builder.add(entry);
    }
    EXPECT_EQ(complaintAbout(builder.build()), "it is larger than it may be");
}

TEST(PackageReader, takesExactlyWhatAllPartsMayUnpackTo)
{
    for (const std::uint64_t size : {limits::unpackedBytes, limits::unpackedBytes + 1}) {
        ZIPEntry entry = deflatedEntry("a", "");
        entry.packed = Bytes(8UL * 1024 * 1024); // Enough for what it says.
        entry.size = static_cast<std::uint32_t>(size);
        const std::string complaint = complaintAbout(ZIPBuilder().add(entry).build());
        EXPECT_EQ(complaint == "it is larger than it may be", size > limits::unpackedBytes);
    }
}

TEST(PackageReader, boundsTheNumberOfPartsThatIsAnnounced)
{
    Bytes archive = ZIPBuilder().add(storedEntry("a", "x")).wideEnd().build();
    const std::size_t place = asText(archive).find("PK\6\6");
    ASSERT_NE(place, std::string_view::npos);
    Bytes count;
    append64(count, limits::packageParts + 1, ByteOrder::little);
    std::ranges::copy(count, archive.begin() + static_cast<std::ptrdiff_t>(place + 32));
    EXPECT_EQ(complaintAbout(archive), "it is larger than it may be");
}

TEST(PackageReader, boundsTheNumberOfParts)
{
    // The number is told in 16 bits, as by writers that do not count further.
    ZIPBuilder builder;
    for (std::size_t number = 0; number < limits::packageParts; ++number)
        builder.add(storedEntry(std::to_string(number), ""));
    EXPECT_EQ(complaintAbout(builder.announceCount(0).build()), "none");
    builder.add(storedEntry("one more", ""));
    EXPECT_EQ(complaintAbout(builder.announceCount(1).build()), "it is larger than it may be");
}

TEST(PackageReader, boundsTheListOfParts)
{
    for (const std::uint64_t length : {limits::metadataBytes, limits::metadataBytes + 1}) {
        // Zeros that take no room on the disk, but for the first header.
        const Folder folder;
        const FileURL url = folder.put("a.docx", "PK\1\2");
        std::filesystem::resize_file(url.path(), length);
        Bytes end{'P', 'K', 5, 6, 0, 0, 0, 0, 1, 0, 1, 0};
        append32(end, static_cast<std::uint32_t>(length), ByteOrder::little);
        append(end, Bytes(6));
        std::ofstream(url.path(), std::ios::binary | std::ios::app)
            .write(asText(end).data(), static_cast<std::streamsize>(end.size()));
        const auto file = FileSource::open(url.path());
        ASSERT_TRUE(file.ok());
        const auto reader = PackageReader::open(*file.value());
        ASSERT_FALSE(reader.ok());
        EXPECT_EQ(std::string_view(reader.error().what) == "it is larger than it may be",
                  length > limits::metadataBytes);
    }
}

TEST(PackageReader, boundsWhatOnePartUnpacksTo)
{
    const Bytes archive = ZIPBuilder().add(deflatedEntry("a", longText)).build();
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    ASSERT_TRUE(reader.ok());
    const PackagePart* part = reader.value().find("a");
    ASSERT_NE(part, nullptr);
    EXPECT_TRUE(reader.value().read(*part, longText.size()).ok());
    const auto tooLong = reader.value().read(*part, longText.size() - 1);
    ASSERT_FALSE(tooLong.ok());
    EXPECT_STREQ(tooLong.error().what, "a part of it is larger than it may be");
}

TEST(PackageReader, readsManyTinyParts)
{
    ZIPBuilder builder;
    for (int number = 0; number < 65000; ++number)
        builder.add(storedEntry("part" + std::to_string(number), "x"));
    const Bytes archive = builder.build();
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    ASSERT_TRUE(reader.ok());
    EXPECT_EQ(reader.value().parts().size(), 65000U);
    EXPECT_TRUE(reader.value().check().ok());
}

TEST(PackageReader, readsHeadsOfPartsThatAreDamagedBehind)
{
    for (ZIPEntry entry : {storedEntry("a", longText), deflatedEntry("a", longText)}) {
        entry.checksum = 1;
        const Bytes archive = ZIPBuilder().add(entry).build();
        MemorySource source(archive);
        const auto reader = PackageReader::open(source);
        ASSERT_TRUE(reader.ok());
        const PackagePart& part = reader.value().parts()[0];
        EXPECT_EQ(asText(reader.value().readHead(part, 5).value()), "aaaaa");
        EXPECT_EQ(asText(reader.value().readHead(part, SIZE_MAX).value()), longText);
        EXPECT_FALSE(reader.value().read(part, SIZE_MAX).ok());
    }
}

TEST(PackageReader, opensPartsAsSources)
{
    std::string text;
    for (int number = 0; number < 20000; ++number)
        text += std::to_string(number) + " ";
    for (const ZIPEntry& entry : {storedEntry("a", text), deflatedEntry("a", text)}) {
        const Bytes archive = ZIPBuilder().add(entry).build();
        MemorySource source(archive);
        const auto reader = PackageReader::open(source);
        ASSERT_TRUE(reader.ok());
        const auto part = reader.value().openPart(reader.value().parts()[0], text.size());
        ASSERT_TRUE(part.ok());
        ByteSource& content = *part.value();
        ASSERT_EQ(content.size(), text.size());
        for (const std::size_t offset : {5UL, 0UL, 40000UL, 39990UL, text.size() - 10}) {
            EXPECT_EQ(asText(content.view(offset, 10).value()), text.substr(offset, 10));
            Bytes copy(10);
            ASSERT_TRUE(content.read(offset, copy).ok());
            EXPECT_EQ(asText(copy), text.substr(offset, 10));
        }
        EXPECT_FALSE(content.view(text.size() - 9, 10).ok());
    }
}

TEST(PackageReader, unpacksNoMoreOfAPartThanIsLookedAt)
{
    std::mt19937 random(1);
    Bytes content(300000);
    std::ranges::generate(content, [&] { return static_cast<Byte>(random()); });
    ZIPEntry entry = deflatedEntry("a", asText(content));
    Bytes packed = deflate(content, SIZE_MAX).value();
    std::fill(packed.begin() + 150000, packed.end(), Byte{0xFF});
    entry.packed = packed;
    const Bytes archive = ZIPBuilder().add(entry).build();
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    ASSERT_TRUE(reader.ok());
    const auto part = reader.value().openPart(reader.value().parts()[0], 200000);
    ASSERT_TRUE(part.ok());
    EXPECT_TRUE(part.value()->view(100000, 1).ok());
    EXPECT_FALSE(part.value()->view(199999, 1).ok()); // Damaged on the way.
    EXPECT_FALSE(part.value()->view(200000, 1).ok()); // More than may be.
    EXPECT_TRUE(part.value()->view(100, 1).ok());
}

TEST(PackageReader, tellsExtensions)
{
    const auto extension = [](std::string name) {
        PackagePart part;
        part.name = std::move(name);
        return extensionOf(part);
    };
    EXPECT_EQ(extension("_rels/.rels"), "rels");
    EXPECT_EQ(extension("word/Document.XML"), "xml");
    EXPECT_EQ(extension("a.xml/b"), "");
    EXPECT_EQ(extension("a."), "");
    EXPECT_EQ(extension("a.tar.gz"), "gz");
}

} // namespace
} // namespace nullprint::tests
