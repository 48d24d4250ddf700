// What became of a document. The worker says it with its exit status.
#pragma once

namespace nullprint::pdf {

enum class Outcome {
    done = 0,
    unopenable = 3, // Damaged, no PDF at all, or more than may be asked of this machine.
    locked = 4,     // A password is asked for.
    unwritable = 5,
};

} // namespace nullprint::pdf
