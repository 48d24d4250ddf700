// Writes the archive of a cleaned document: its parts and what is needed to find them. Nothing
// tells when, where or by whom it was made.
#pragma once

#include "engine/package/PackageReader.h"
#include "engine/support/ByteSink.h"

namespace nullprint {

class PackageWriter {
public:
    // `sink` is borrowed and takes the archive from its first byte to its last.
    explicit PackageWriter(ByteSink& sink)
        : sink(&sink)
    {
    }

    // Takes over a part as it is packed, without a look at what is in it (see verify).
    Result<Done> copy(const PackageReader& reader, const PackagePart& part);

    // Adds a part with the name of `part` and other content: deflated, or as it is when that does
    // not make it smaller.
    Result<Done> replace(const PackagePart& part, ByteSpan content);

    // After the last part: completes the archive.
    Result<Done> finish();

private:
    // `part.stored.length` counts; where it was does not.
    Result<Done> begin(const PackagePart& part);

    ByteSink* sink;
    Bytes directory;
    std::uint64_t count = 0;
    std::uint64_t writtenBytes = 0;
};

} // namespace nullprint
