#include "engine/package/PackageReader.h"
#include "engine/scrub/PackageRebuild.h"
#include "engine/scrub/ScrubReport.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"
#include "tests/support/Joined.h"
#include "tests/support/PNGBuilder.h"
#include "tests/support/ZIPBuilder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nullprint::tests {
namespace {

using image::Group;

constexpr std::string_view core = "<cp:coreProperties><dc:creator>Jane Roe</dc:creator>"
                                  "</cp:coreProperties>";
constexpr std::string_view cleanCore = "<cp:coreProperties><dc:creator></dc:creator>"
                                       "</cp:coreProperties>";
constexpr std::string_view undecodable = "<a>gr\xFCn</a>";

constexpr const char* encodingMessage =
    "failed: Part of the document used an encoding Nullprint couldn’t read, so it was left "
    "unchanged rather than reported clean.";

Bytes photo()
{
    EXIFBuilder exif;
    exif.text(Group::tiff, image::tag::artist, "Jane Roe").text(Group::gps, 1, "N");
    return jpegWithEXIF({exif.block()});
}

Bytes document()
{
    return ZIPBuilder()
        .add(deflatedEntry("[Content_Types].xml", "<Types></Types>"))
        .add(deflatedEntry("docProps/core.xml", core))
        .add(storedEntry("word/media/image1.jpeg", asText(photo())))
        .add(storedEntry("word/vbaProject.bin", "binary"))
        .build();
}

std::vector<std::pair<std::string, std::string>> partsOf(ByteSpan archive)
{
    MemorySource source(archive);
    const auto reader = PackageReader::open(source);
    std::vector<std::pair<std::string, std::string>> parts;
    EXPECT_TRUE(reader.ok());
    for (const PackagePart& part : reader.value().parts())
        parts.emplace_back(part.name, asText(reader.value().read(part, SIZE_MAX).value()));
    return parts;
}

// A folder with documents, and one for temporary files that belongs to this test alone.
class Office : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(::mkdir(temporary.c_str(), 0700), 0);
        useTemporaryFolder(temporary);
    }

    void TearDown() override
    {
        // Whatever happened, nothing is left.
        EXPECT_TRUE(std::filesystem::is_empty(temporary));
        if (before) {
            useTemporaryFolder(*before);
        } else {
            ::unsetenv("TMPDIR");
        }
    }

    static void useTemporaryFolder(const std::string& path) { ::setenv("TMPDIR", path.c_str(), 1); }

    std::string outcomeOf(const FileURL& url) const
    {
        const Status status = scrubFile(url).status;
        if (const auto* failed = std::get_if<Failed>(&status))
            return "failed: " + failed->message;
        return "cleaned: " + std::get<Cleaned>(status).output.lastPathComponent();
    }

    // The outcome for a file that must not be cleaned.
    std::string refusal(ByteSpan content)
    {
        const FileURL url = folder.put("a.docx", content);
        const std::string outcome = outcomeOf(url);
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.docx", "tmp"}));
        EXPECT_TRUE(fileBytes(url.path()) == Bytes(content.begin(), content.end()));
        return outcome;
    }

    Bytes copyOf(ByteSpan content)
    {
        EXPECT_EQ(outcomeOf(folder.put("a.docx", content)), "cleaned: a (scrubbed).docx");
        const std::string path = folder.url("a (scrubbed).docx").path();
        Bytes copy = fileBytes(path);
        ::unlink(path.c_str());
        return copy;
    }

    const Folder folder;
    const std::string temporary = folder.url("tmp").path();

private:
    const std::optional<std::string> before =
        std::getenv("TMPDIR") != nullptr ? std::optional(std::getenv("TMPDIR")) : std::nullopt;
};

TEST_F(Office, cleansXMLAndPicturesAndNothingElse)
{
    const auto parts = partsOf(copyOf(document()));
    ASSERT_EQ(parts.size(), 4U);
    EXPECT_EQ(parts[0],
              (std::pair<std::string, std::string>("[Content_Types].xml", "<Types></Types>")));
    EXPECT_EQ(parts[1].second, cleanCore);
    EXPECT_EQ(asBytes(parts[2].second).size(), mustClean(photo()).size());
    EXPECT_EQ(parts[2].second, asText(mustClean(photo())));
    EXPECT_EQ(parts[3].second, "binary");
}

TEST_F(Office, cleansACopyToItself)
{
    const Bytes copy = copyOf(document());
    EXPECT_EQ(copyOf(copy), copy);
}

TEST_F(Office, cleansRelationshipParts)
{
    const Bytes archive =
        ZIPBuilder()
            .add(storedEntry("_rels/.rels",
                             R"(<Relationship Target="file:///home/jane/a.docx"/>)"
                             R"(<Relationship Target="https://example.org/"/>)"))
            .build();
    EXPECT_EQ(partsOf(copyOf(archive))[0].second,
              R"(<Relationship Target="removed"/>)"
              R"(<Relationship Target="https://example.org/"/>)");
}

TEST_F(Office, tellsAPicturesTypeFromItsContent)
{
    const Bytes named = ZIPBuilder()
                            .add(storedEntry("a.png", asText(photo())))
                            .add(storedEntry("b.emf", asText(photo())))
                            .add(storedEntry("C.JPG", asText(photo())))
                            .build();
    const auto parts = partsOf(copyOf(named));
    EXPECT_EQ(parts[0].second, asText(mustClean(photo())));
    EXPECT_EQ(parts[1].second, asText(photo()));
    EXPECT_EQ(parts[2].second, asText(mustClean(photo())));
}

TEST_F(Office, leavesPicturesThatCannotBeCleanedAsTheyAre)
{
    const Bytes cutShort = PNGBuilder().chunk("tEXt", "Jane Roe").pixels().withoutEnd();
    const Bytes archive = ZIPBuilder()
                              .add(storedEntry("a.jpg", "no picture"))
                              .add(storedEntry("b.png", ""))
                              .add(deflatedEntry("c.png", asText(cutShort)))
                              .build();
    EXPECT_EQ(partsOf(copyOf(archive)), partsOf(archive));
}

TEST_F(Office, leavesPicturesThatAreTooLargeToBeCleanedAsTheyAre)
{
    Bytes enormous(limits::partBytes + 1);
    std::ranges::copy(photo(), enormous.begin());
    const ZIPEntry picture = deflatedEntry("word/media/image1.jpeg", asText(enormous));
    const auto parts =
        partsOf(copyOf(ZIPBuilder().add(picture).add(storedEntry("a.xml", core)).build()));
    EXPECT_TRUE(parts[0].second == asText(enormous));
    EXPECT_EQ(parts[1].second, cleanCore);
}

TEST_F(Office, rebuildsADocumentThatIsCleanAlready)
{
    EXPECT_EQ(partsOf(copyOf(ZIPBuilder().add(storedEntry("a.xml", "<a/>")).build()))[0].second,
              "<a/>");
}

TEST_F(Office, writesSlashesWhereTheOriginalHasBackslashes)
{
    const auto parts =
        partsOf(copyOf(ZIPBuilder().add(storedEntry("docProps\\core.xml", core)).build()));
    EXPECT_EQ(parts[0].first, "docProps/core.xml");
    EXPECT_EQ(parts[0].second, cleanCore);
}

TEST_F(Office, keepsTheOriginalsPermissions)
{
    const FileURL url = folder.put("a.xlsm", document());
    ::chmod(url.path().c_str(), 0640);
    EXPECT_EQ(outcomeOf(url), "cleaned: a (scrubbed).xlsm");
    struct stat status {};
    ASSERT_EQ(::stat(folder.url("a (scrubbed).xlsm").path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(Office, movesTheCopyToAnotherFileSystem)
{
    struct stat here {};
    struct stat there {};
    if (::stat("/dev/shm", &there) != 0 || ::stat(temporary.c_str(), &here) != 0 ||
        here.st_dev == there.st_dev || ::access("/dev/shm", W_OK) != 0)
        GTEST_SKIP() << "there is only one file system";
    const Bytes copy = copyOf(document());
    useTemporaryFolder("/dev/shm");
    EXPECT_EQ(copyOf(document()), copy);
    folder.put("a (scrubbed).docx", "taken");
    EXPECT_EQ(outcomeOf(folder.url("a.docx")), "cleaned: a (scrubbed 2).docx");
    EXPECT_EQ(fileBytes(folder.url("a (scrubbed 2).docx").path()), copy);
    EXPECT_EQ(folder.names().size(), 4U);
}

TEST_F(Office, saysThatThereIsNoWorkspace)
{
    useTemporaryFolder("/dev/null/tmp");
    EXPECT_EQ(refusal(document()), "failed: Couldn’t create a temporary workspace.");
    EXPECT_EQ(outcomeOf(folder.url("missing.docx")),
              "failed: Couldn’t create a temporary workspace.");
}

TEST_F(Office, saysWhyADocumentCannotBeOpened)
{
    EXPECT_EQ(outcomeOf(folder.url("missing.docx")),
              "failed: Couldn’t open the document (the file cannot be read).");
    EXPECT_EQ(refusal(asBytes("no archive")),
              "failed: Couldn’t open the document (it is not a ZIP archive).");
    ZIPEntry damaged = deflatedEntry("word/vbaProject.bin", "binary");
    damaged.checksum = 1;
    EXPECT_EQ(refusal(ZIPBuilder().add(damaged).build()),
              "failed: Couldn’t open the document (a part of it is damaged).");
}

TEST_F(Office, saysThatAnEncodingIsUnknown)
{
    const Bytes archive =
        ZIPBuilder().add(storedEntry("a.xml", undecodable)).add(storedEntry("b.xml", core)).build();
    EXPECT_EQ(refusal(archive), encodingMessage);
}

TEST_F(Office, tellsOfDamageRatherThanOfAnEncoding)
{
    ZIPEntry damaged = deflatedEntry("z.bin", "binary");
    damaged.checksum = 1;
    const Bytes archive = ZIPBuilder().add(storedEntry("a.xml", undecodable)).add(damaged).build();
    EXPECT_EQ(refusal(archive), "failed: Couldn’t open the document (a part of it is damaged).");
}

TEST_F(Office, saysThatADocumentIsEmpty)
{
    EXPECT_EQ(refusal(ZIPBuilder().build()), "failed: The document appears to be empty.");
    EXPECT_EQ(refusal(ZIPBuilder().add(storedEntry("word/", "")).build()),
              "failed: The document appears to be empty.");
}

TEST_F(Office, saysThatTheNameOfTheCopyIsTooLong)
{
    const FileURL url = folder.put(std::string(245, 'n') + ".docx", document());
    EXPECT_EQ(outcomeOf(url), "failed: Couldn’t save the cleaned document.");
    EXPECT_EQ(folder.names().size(), 2U);
}

TEST_F(Office, refusesXMLThatIsTooLargeToLookAt)
{
    ZIPEntry enormous = deflatedEntry("xl/sheet1.xml", "");
    enormous.packed = Bytes(1024UL * 1024);
    enormous.size = static_cast<std::uint32_t>(limits::partBytes + 1);
    EXPECT_EQ(refusal(ZIPBuilder().add(enormous).build()),
              "failed: Couldn’t open the document (a part of it is larger than it may be).");
}

// A sink that is full after so many bytes.
class FullSink final : public ByteSink {
public:
    explicit FullSink(std::uint64_t room)
        : room(room)
    {
    }

    Result<Done> write(ByteSpan bytes) override { return take(bytes.size()); }
    Result<Done> copy(ByteSource&, ByteRange range) override { return take(range.length); }

private:
    Result<Done> take(std::uint64_t length)
    {
        if (length > room)
            return Error{"the copy could not be written"};
        room -= length;
        return Done{};
    }

    std::uint64_t room;
};

TEST_F(Office, noticesThatTheCopyCannotBeWritten)
{
    const Bytes whole = copyOf(document());
    const Bytes archive = document();
    for (std::uint64_t room = 0; room <= whole.size(); ++room) {
        MemorySource source(archive);
        FullSink sink(room);
        const RebuildFailures failures = rebuildPackage(source, sink);
        EXPECT_EQ(failures.writing.has_value(), room < whole.size());
        EXPECT_EQ(failures.any(), room < whole.size());
    }
}

TEST_F(Office, tellsOfDamageRatherThanOfAFullDisk)
{
    ZIPEntry damaged = deflatedEntry("z.bin", "binary");
    damaged.checksum = 1;
    const Bytes archive = ZIPBuilder().add(storedEntry("a.bin", "binary")).add(damaged).build();
    MemorySource source(archive);
    FullSink sink(0);
    EXPECT_TRUE(rebuildPackage(source, sink).opening.has_value());
}

TEST_F(Office, cleansOrRefusesEveryTruncationAndMutation)
{
    const Bytes archive = document();
    for (std::size_t place = 0; place < archive.size(); ++place) {
        Bytes changed = archive;
        changed[place] ^= 0x15U;
        for (const ByteSpan bytes : {ByteSpan(archive).first(place), ByteSpan(changed)}) {
            MemorySource source(bytes);
            MemorySink copy;
            if (rebuildPackage(source, copy).any())
                continue;
            MemorySource again(copy.content);
            MemorySink second;
            EXPECT_FALSE(rebuildPackage(again, second).any()) << place;
            EXPECT_EQ(second.content, copy.content) << place;
        }
    }
}

} // namespace
} // namespace nullprint::tests
