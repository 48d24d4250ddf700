#include "engine/scrub/PDFCleaner.h"

#include "engine/pdf/PDFDocument.h"
#include "engine/scrub/OutputName.h"

#include <algorithm>
#include <re2/re2.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace nullprint {
namespace {

// White space is what Unicode calls so, as far as it has one byte. First the catalogue's reference
// to the metadata stream; then the stream's data, which is group 1, between the line ends around
// it.
constexpr const char* referencePattern =
    R"(/Metadata[\t-\r \x85\xA0]+\d+[\t-\r \x85\xA0]+0[\t-\r \x85\xA0]+R)";
constexpr const char* streamPattern =
    R"((?:/Type[\t-\r \x85\xA0]*/Metadata|/Subtype[\t-\r \x85\xA0]*/XML)[^>]*>>)"
    R"([\t-\r \x85\xA0]*stream\r?\n([\x00-\xFF]*?)\r?\nendstream)";

struct Blanking {
    const char* pattern;
    int group;
};

constexpr std::array blankings{Blanking{referencePattern, 0}, Blanking{streamPattern, 1}};

// A file that nobody else can shorten, in no memory of its own: copies may be of any length.
class Mapping {
public:
    explicit Mapping(int file)
    {
        struct stat status {};
        if (::fstat(file, &status) != 0)
            return;
        length = static_cast<std::size_t>(status.st_size);
        address = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file, 0);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping()
    {
        if (address != MAP_FAILED)
            ::munmap(address, length);
    }

    // Empty when the file cannot be read. It may change as the file does.
    std::string_view text() const
    {
        return address == MAP_FAILED ? std::string_view()
                                     : std::string_view(static_cast<const char*>(address), length);
    }

private:
    void* address = MAP_FAILED;
    std::size_t length = 0;
};

// Calls `take` with the range of the group in each match, from the first to the last.
template <typename Take>
void forMatches(std::string_view text, const std::string& pattern, int group, Take take)
{
    re2::RE2::Options options;
    options.set_encoding(re2::RE2::Options::EncodingLatin1);
    options.set_dot_nl(true);
    options.set_log_errors(false);
    const re2::RE2 expression(pattern, options);
    if (!expression.ok() || group < 0 || group > expression.NumberOfCapturingGroups())
        return;
    std::vector<re2::StringPiece> groups(static_cast<std::size_t>(group) + 1);
    const auto offsetOf = [text](const re2::StringPiece& piece) {
        return static_cast<std::size_t>(piece.data() - text.data());
    };
    std::size_t from = 0;
    while (
        from <= text.size() &&
        expression.Match(text, from, text.size(), re2::RE2::UNANCHORED, groups.data(), group + 1)) {
        const re2::StringPiece& hit = groups.back();
        const std::size_t end = offsetOf(groups.front()) + groups.front().size();
        from = groups.front().empty() ? end + 1 : end;
        if (hit.data() != nullptr && !hit.empty())
            take(ByteRange{offsetOf(hit), hit.size()});
    }
}

void blank(PendingFile& file, ByteRange range)
{
    const Bytes spaces(std::min<std::uint64_t>(range.length, limits::windowBytes), ' ');
    while (range.length > 0) {
        const std::size_t step = std::min<std::uint64_t>(range.length, spaces.size());
        if (!file.overwrite(range.offset, ByteSpan(spaces).first(step)).ok())
            return;
        range.offset += step;
        range.length -= step;
    }
}

// Whatever of this fails, the document is one without metadata already.
void blankMetadata(PendingFile& file)
{
    const Mapping copy(file.descriptor());
    for (const Blanking& blanking : blankings)
        forMatches(copy.text(), blanking.pattern, blanking.group, [&](ByteRange range) {
            blank(file, range);
        });
}

Status writtenBadly()
{
    return Failed{"Couldn’t write the cleaned PDF."};
}

Status statusOf(pdf::Outcome outcome)
{
    switch (outcome) {
    case pdf::Outcome::locked:
        return Failed{"The PDF is password-protected. Unlock it first, then scrub."};
    case pdf::Outcome::done:
    case pdf::Outcome::marked:
    case pdf::Outcome::unwritable:
        return writtenBadly();
    case pdf::Outcome::unopenable:
        break;
    }
    return Failed{"Couldn’t open the PDF (it may be damaged or password-protected)."};
}

} // namespace

std::string blankMatches(std::string text, const std::string& pattern, int group)
{
    std::vector<ByteRange> ranges;
    forMatches(text, pattern, group, [&](ByteRange range) { ranges.push_back(range); });
    for (const ByteRange& range : ranges)
        text.replace(range.offset, range.length, range.length, ' ');
    return text;
}

Status scrubPDF(const FileURL& input)
{
    const auto file = FileSource::open(input.path());
    if (!file.ok())
        return statusOf(pdf::Outcome::unopenable);
    const auto pending = PendingFile::create(input.folder());
    if (!pending.ok())
        return writtenBadly();
    PendingFile& copy = *pending.value();
    const pdf::Outcome outcome = pdf::writeCleanDocument(*file.value(), copy);
    if (outcome != pdf::Outcome::done && outcome != pdf::Outcome::marked)
        return statusOf(outcome);
    if (outcome == pdf::Outcome::marked) // Every match of a pattern holds a mark.
        blankMetadata(copy);
    // A document that changed meanwhile was read half before, half after.
    if (!file.value()->isUnchanged())
        return writtenBadly();
    const auto output = keepAsCleanedOutput(copy, input, file.value()->permissions());
    return output.ok() ? Status(Cleaned{output.value()}) : writtenBadly();
}

} // namespace nullprint
