// Real pictures from many programs, when they are there. They lie beside the project, not in it.
#include "tests/support/Pictures.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

const std::filesystem::path corpus = NULLPRINT_CORPUS "/images";

std::vector<std::string> filesIn(const std::filesystem::path& folder)
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file())
            paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    return paths;
}

// Cuts at evenly spread places, fewer in a large file.
void expectSurvivesSomeCuts(ByteSpan picture)
{
    const std::size_t cuts = std::clamp<std::size_t>(4000000 / (picture.size() + 1), 4, 64);
    for (std::size_t cut = 0; cut < cuts; ++cut) {
        const auto length = static_cast<std::ptrdiff_t>(picture.size() * cut / cuts);
        exercise(Bytes(picture.begin(), picture.begin() + length));
    }
}

bool isHEIF(ByteSpan picture)
{
    return picture.size() > 8 && asText(picture.subspan(4)).starts_with("ftyp");
}

// All of a file is laid out anew, without the items that went; no Exif is written fresh.
void expectLeanHEIF(ByteSpan picture)
{
    const Bytes copy = mustClean(picture);
    EXPECT_LT(copy.size(), picture.size());
    EXPECT_EQ(propertiesOf(copy).count(image::Group::tiff), 0U);
}

TEST(Corpus, keepsEveryPromise)
{
    if (!std::filesystem::exists(corpus))
        GTEST_SKIP() << "no pictures beside the project";
    for (const std::string& path : filesIn(corpus)) {
        SCOPED_TRACE(path);
        const Bytes picture = fileBytes(path);
        expectPromises(picture);
        if (isHEIF(picture))
            expectLeanHEIF(picture);
        expectSurvivesSomeCuts(picture);
        expectSurvivesMutation(picture, picture.size() > 500000 ? 4 : 25);
    }
}

TEST(Corpus, survivesBadPictures)
{
    if (!std::filesystem::exists(corpus))
        GTEST_SKIP() << "no pictures beside the project";
    for (const std::string& path : filesIn(corpus / "bad")) {
        SCOPED_TRACE(path);
        const Bytes picture = fileBytes(path);
        exercise(picture);
        expectSurvivesSomeCuts(picture);
    }
}

} // namespace
} // namespace nullprint::tests
