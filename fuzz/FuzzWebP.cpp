// Any bytes: what is not refused is cleaned, and cleaned again to the same bytes.
#include "tests/support/Pictures.h"

#include <cstdlib>
#include <gtest/gtest.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::tests::exercise({data, size});
    if (testing::Test::HasFailure())
        std::abort();
    return 0;
}
