// The colour profile of a JPEG, which is spread over segments because one holds 64 KiB: ICC.1, B.4.
#pragma once

#include "engine/image/OutputPlan.h"

namespace nullprint::image {

// What a copy holds of the profile. Decoders apply one whose parts are all there, each once and
// counted right; of any other, and of what is no profile, the copy holds nothing.
class JPEGProfile {
public:
    // `segments` are the payloads of those that are called profile, in the order of the file.
    static Result<JPEGProfile> read(ByteSource& source, std::span<const ByteRange> segments);

    // Adds what stays of the segment with this payload.
    void planSegment(ByteRange payload, OutputPlan& plan) const;

private:
    struct Part {
        Byte number = 0; // Counted from 1.
        Byte count = 0;
        ByteRange payload;
        ByteRange data;
    };

    static Result<Part> readPart(ByteSource& source, ByteRange payload);
    bool isWhole() const;
    Result<std::uint64_t> profileSize(ByteSource& source) const;
    void cutTo(std::uint64_t size);

    std::vector<Part> parts; // By number, without those of which nothing stays.
    Byte writtenCount = 0;   // How many there were.
};

} // namespace nullprint::image
