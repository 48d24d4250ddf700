#include "engine/image/EXIF.h"
#include "tests/support/Precompiled.h"

namespace nullprint::tests {
namespace {

using namespace nullprint::image;

std::optional<Resolution> readBack(ByteSpan structure)
{
    MemorySource source(structure);
    Properties properties;
    readEXIF(source, properties);
    return storedResolution(properties);
}

TEST(Resolution, isWrittenAsItIsRead)
{
    for (const double samples : {72.0, 0.0001, 0.5, 2.99999, 299.99999, 429496.7, 5e9, 1e300}) {
        const Bytes once = freshEXIF(std::nullopt, Resolution{samples, 300, 3});
        const auto stored = readBack(once);
        ASSERT_TRUE(stored) << samples;
        EXPECT_EQ(freshEXIF(std::nullopt, stored), once) << samples;
    }
}

TEST(Resolution, thatARationalCannotHoldIsNone)
{
    Properties properties;
    properties.add(Group::tiff, tag::xResolution, 300.0);
    properties.add(Group::tiff, tag::yResolution, 0.00001);
    EXPECT_FALSE(storedResolution(properties));
}

} // namespace
} // namespace nullprint::tests
