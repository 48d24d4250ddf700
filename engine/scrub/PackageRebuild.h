// The cleaned archive of an Office document, made from the original one part after the other.
#pragma once

#include "engine/support/ByteSink.h"

#include <optional>

namespace nullprint {

// Why there is no cleaned archive, or nothing of this. Every part has been looked at in any case,
// so what is told does not depend on which part comes first. Errors are clauses for the user.
struct RebuildFailures {
    std::optional<Error> opening; // The archive or a part of it is damaged, encrypted, ...
    bool hasUnreadableXML = false;
    bool isEmpty = false;
    std::optional<Error> writing;

    bool any() const { return opening || hasUnreadableXML || isEmpty || writing; }
};

// Writes to `sink` the parts of `archive`, in their order: XML cleaned by its rules, pictures
// without their metadata, anything else packed as it was. What no rule changes is the same after
// unpacking. On failure the sink holds an unfinished archive, which the caller throws away.
RebuildFailures rebuildPackage(ByteSource& archive, ByteSink& sink);

} // namespace nullprint
