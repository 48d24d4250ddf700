// A test of the cleaning path on the user's own machine.
#pragma once

namespace nullprint {

// Makes a picture with metadata in a temporary folder, checks it, cleans it, checks the copy, and
// prints a line a check and a verdict. Returns whether all checks passed. Leaves nothing behind.
bool runSelfTest();

} // namespace nullprint
