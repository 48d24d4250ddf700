// A source of ours, as the PDF library reads it.
#pragma once

#include "engine/support/ByteSource.h"

#include <qpdf/InputSource.hh>

namespace nullprint::pdf {

class Input final : public InputSource {
public:
    // `source` must outlive the input.
    explicit Input(ByteSource& source)
        : source(source)
    {
    }

    qpdf_offset_t findAndSkipNextEOL() override;
    std::string const& getName() const override { return name; }
    qpdf_offset_t tell() override { return static_cast<qpdf_offset_t>(at); }
    // Beyond the end is allowed, and reads nothing there; before the start throws.
    void seek(qpdf_offset_t offset, int whence) override;
    void rewind() override { at = 0; }
    // Throws when the file cannot be read.
    size_t read(char* buffer, size_t length) override;
    void unreadCh(char) override { at -= at > 0 ? 1 : 0; }

private:
    ByteSpan window() const;

    ByteSource& source;
    std::string name;
    std::uint64_t at = 0;
};

} // namespace nullprint::pdf
