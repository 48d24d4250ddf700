// What became of a document. The worker says it with its exit status.
#pragma once

#include <array>
#include <string_view>

namespace nullprint::pdf {

// What the bytes of every piece of metadata hold that nothing but its bytes tells of.
inline constexpr std::array<std::string_view, 2> metadataMarks{"/Metadata", "/XML"};

enum class Outcome {
    done = 0,
    marked = 2,     // Done, and the copy holds a mark of metadata.
    unopenable = 3, // Damaged, no PDF at all, or more than may be asked of this machine.
    locked = 4,     // A password is asked for.
    unwritable = 5,
};

} // namespace nullprint::pdf
