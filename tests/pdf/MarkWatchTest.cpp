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
        for (const std::string mark : {"/Metadata", "/XML"}) {
            EXPECT_TRUE(seenIn(filler + mark + filler, piece)) << piece;
            EXPECT_TRUE(seenIn(filler + mark, piece)) << piece;
            EXPECT_TRUE(seenIn(mark + filler, piece)) << piece;
        }
        EXPECT_FALSE(seenIn(filler + "/Metadat /XM /MetaData" + filler, piece)) << piece;
    }
    EXPECT_FALSE(seenIn("", 1));
}

} // namespace
} // namespace nullprint::tests
