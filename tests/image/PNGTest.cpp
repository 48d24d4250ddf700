#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

TEST(PNG, keepsItsPromises)
{
    const Bytes png = fileBytes(NULLPRINT_CORPUS "/images/png_with_exif_and_gps.png");
    expectPromises(png);
    expectSurvivesTruncation(png);
    expectSurvivesMutation(png, 300);
}

} // namespace
} // namespace nullprint::tests
