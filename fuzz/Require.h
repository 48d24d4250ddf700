// How a fuzz target says that a promise is broken.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace nullprint::fuzz {

// Ends the program, naming the promise, unless it holds.
inline void require(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fputs("broken promise: ", stderr);
    std::fputs(promise, stderr);
    std::fputc('\n', stderr);
    std::abort();
}

} // namespace nullprint::fuzz
