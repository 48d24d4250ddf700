// Looking for marks of metadata in bytes on their way out.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::pdf {

class MarkWatch {
public:
    // What follows the bytes looked at before.
    void look(ByteSpan bytes);

    // Whether one of metadataMarks has been among them.
    bool seen() const { return hasSeen; }

private:
    Bytes border; // The end of what has been looked at.
    bool hasSeen = false;
};

} // namespace nullprint::pdf
