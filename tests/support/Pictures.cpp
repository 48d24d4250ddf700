#include "tests/support/Pictures.h"

#include "engine/image/EXIF.h"
#include "engine/image/XMP.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

namespace nullprint::tests {

using namespace nullprint::image;

Bytes fileBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::vector<std::string> dataFiles(const std::string& folder)
{
    std::vector<std::string> paths;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(NULLPRINT_TEST_DATA) + "/" + folder))
        paths.push_back(entry.path());
    std::ranges::sort(paths);
    return paths;
}

Result<Bytes> cleaned(ByteSpan picture)
{
    MemorySource source(picture);
    const ImageSource opened = NP_TRY(ImageSource::open(source));
    MemorySink sink;
    NP_TRY(writeCleanImage(opened, opened.type(), sink));
    return std::move(sink.content);
}

Bytes mustClean(ByteSpan picture)
{
    auto copy = cleaned(picture);
    if (!copy.ok()) {
        ADD_FAILURE() << copy.error().what << " at " << copy.error().offset;
        return {};
    }
    return std::move(copy).value();
}

Properties propertiesOf(ByteSpan picture)
{
    MemorySource source(picture);
    const auto opened = ImageSource::open(source);
    return opened.ok() ? opened.value().properties(0) : Properties();
}

std::uint32_t frameCount(ByteSpan picture)
{
    MemorySource source(picture);
    const auto opened = ImageSource::open(source);
    if (!opened.ok())
        return 0;
    const auto count = opened.value().frameCount();
    return count.ok() ? count.value() : 0;
}

std::optional<std::uint16_t> turnedOrientationOf(ByteSpan picture)
{
    return turnedOrientation(propertiesOf(picture));
}

Bytes bytesOfKind(ByteSpan picture, BlockKind kind)
{
    MemorySource source(picture);
    const ImageFormat* format = formatOf(source);
    if (format == nullptr)
        return {};
    const auto blocks = format->split(source);
    Bytes bytes;
    if (!blocks.ok())
        return bytes;
    for (const Block& block : blocks.value()) {
        if (block.kind == kind)
            append(bytes, source.copyOf(block.range).value());
    }
    return bytes;
}

bool holds(ByteSpan bytes, std::string_view text)
{
    return asText(bytes).find(text) != std::string_view::npos;
}

namespace {

void expectBlocksAreTheFile(ByteSpan picture)
{
    MemorySource source(picture);
    const auto blocks = formatOf(source)->split(source);
    ASSERT_TRUE(blocks.ok()) << blocks.error().what << " at " << blocks.error().offset;
    std::uint64_t end = 0;
    for (const Block& block : blocks.value()) {
        ASSERT_EQ(block.range.offset, end);
        end = block.range.end();
    }
    EXPECT_EQ(end, picture.size());
}

void expectNothingRevealed(ByteSpan copy)
{
    const Properties properties = propertiesOf(copy);
    EXPECT_EQ(properties.count(Group::exif), 0U);
    EXPECT_EQ(properties.count(Group::gps), 0U);
    EXPECT_EQ(properties.count(Group::iptc), 0U);
    for (const auto tag :
         {tag::make, tag::model, tag::software, tag::dateTime, tag::artist, tag::copyright})
        EXPECT_FALSE(properties.text(Group::tiff, tag)) << tag;
    MemorySource source(copy);
    EXPECT_FALSE(containsAny(source, std::array{xmpElement, xmpBasicNamespace}));
}

} // namespace

void expectPromises(ByteSpan picture)
{
    expectBlocksAreTheFile(picture);
    const Bytes copy = mustClean(picture);
    ASSERT_FALSE(copy.empty());
    expectBlocksAreTheFile(copy);
    EXPECT_EQ(bytesOfKind(copy, BlockKind::pixels), bytesOfKind(picture, BlockKind::pixels));
    EXPECT_EQ(mustClean(copy), copy);
    EXPECT_EQ(frameCount(copy), frameCount(picture));
    MemorySource source(picture);
    // HEIF turns its pictures by a property of their own, whatever their Exif says.
    if (formatOf(source)->type != ImageType::heif) {
        EXPECT_EQ(turnedOrientationOf(copy), turnedOrientationOf(picture));
    }
    expectNothingRevealed(copy);
}

std::optional<Bytes> exercise(ByteSpan bytes)
{
    MemorySource source(bytes);
    const auto opened = ImageSource::open(source);
    if (!opened.ok())
        return std::nullopt;
    const auto frames = opened.value().frameCount();
    opened.value().properties(0);
    if (frames.ok() && frames.value() > 1)
        opened.value().properties(frames.value() - 1);
    const auto blocks = formatOf(source)->split(source);
    auto copy = cleaned(bytes);
    if (!copy.ok())
        return std::nullopt;
    EXPECT_TRUE(blocks.ok());
    const auto again = cleaned(copy.value());
    EXPECT_TRUE(again.ok()) << again.error().what << " at " << again.error().offset;
    EXPECT_TRUE(!again.ok() || again.value() == copy.value());
    return std::move(copy).value();
}

void expectSurvivesTruncation(ByteSpan picture)
{
    const std::size_t step = std::max<std::size_t>(1, picture.size() / 2000);
    for (std::size_t length = 0; length < picture.size(); length += step) {
        // A copy of exactly this size, so that a sanitizer sees a read past its end.
        const Bytes cut(picture.begin(), picture.begin() + static_cast<std::ptrdiff_t>(length));
        exercise(cut);
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "cut to " << length << " bytes";
            return;
        }
    }
}

void expectSurvivesMutation(ByteSpan picture, int rounds)
{
    std::mt19937 random(20);
    for (int round = 0; round < rounds; ++round) {
        Bytes changed(picture.begin(), picture.end());
        const int changes = 1 + static_cast<int>(random() % 4);
        for (int change = 0; change < changes; ++change) {
            // Headers decide more than pixels: half of the changes hit the first kilobyte.
            const std::size_t reach =
                random() % 2 == 0 ? std::min<std::size_t>(1024, changed.size()) : changed.size();
            changed[random() % reach] = static_cast<Byte>(random());
        }
        exercise(changed);
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "in round " << round;
            return;
        }
    }
}

} // namespace nullprint::tests
