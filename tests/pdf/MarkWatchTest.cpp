#include "engine/pdf/worker/MarkWatch.h"

#include <gtest/gtest.h>
#include <string>

namespace nullprint::tests {
namespace {

bool seenIn(std::string_view text, std::size_t pieceBytes)
{
    pdf::MarkWatch watch;
    for (std::size_t at = 0; at < text.size(); at += pieceBytes)
        watch.look(asBytes(text.substr(at, pieceBytes)));
    return watch.seen();
}

TEST(MarkWatch, seesMarksAcrossPieces)
{
    const std::string filler(100, '/');
    for (std::size_t piece = 1; piece < 230; ++piece) {
        for (const std::string_view mark : {"/Metadata", "/XML"}) {
            std::string text = filler;
            EXPECT_TRUE(seenIn(text.append(mark), piece)) << piece;
            EXPECT_TRUE(seenIn(text.append(filler), piece)) << piece;
            EXPECT_TRUE(seenIn(text.substr(filler.size()), piece)) << piece;
        }
        std::string text = filler;
        EXPECT_FALSE(seenIn(text.append("/Metadat /XM /MetaData").append(filler), piece)) << piece;
    }
    EXPECT_FALSE(seenIn("", 1));
}

} // namespace
} // namespace nullprint::tests
