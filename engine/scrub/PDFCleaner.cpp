#include "engine/scrub/PDFCleaner.h"

#include "engine/pdf/PDFDocument.h"
#include "engine/scrub/OutputName.h"

#include <algorithm>
#include <re2/re2.h>
#include <unistd.h>

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

// Where the next difference is; the end when there is none.
std::size_t nextChange(ByteSpan before, ByteSpan after, std::size_t from)
{
    const auto change = std::ranges::mismatch(before.subspan(from), after.subspan(from)).in1;
    return static_cast<std::size_t>(change - before.begin());
}

// Writes the stretches that differ, with the little that lies between some.
void overwriteChanges(PendingFile& file, ByteSpan before, ByteSpan after)
{
    constexpr std::size_t gap = 4096;
    std::size_t next = nextChange(before, after, 0);
    while (next < before.size()) {
        const std::size_t start = next;
        std::size_t end = start;
        while (next < before.size() && next - end < gap) {
            end = next + 1;
            next = nextChange(before, after, end);
        }
        if (!file.overwrite(start, after.subspan(start, end - start)).ok())
            return;
    }
}

// Whatever of this fails, the document is one without metadata already.
void blankMetadata(PendingFile& file)
{
    const auto written = FileSource::of(::dup(file.descriptor()));
    if (!written.ok())
        return;
    std::string text(static_cast<std::size_t>(written.value()->size()), '\0');
    const std::span<char> characters(text);
    Bytes before(text.size());
    if (!written.value()->read(0, before).ok())
        return;
    std::ranges::copy(asText(before), characters.begin());
    for (const Blanking& blanking : blankings)
        text = blankMatches(std::move(text), blanking.pattern, blanking.group);
    overwriteChanges(file, before, asBytes(text));
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
    re2::RE2::Options options;
    options.set_encoding(re2::RE2::Options::EncodingLatin1);
    options.set_dot_nl(true);
    options.set_log_errors(false);
    const re2::RE2 expression(pattern, options);
    if (!expression.ok() || group < 0 || group > expression.NumberOfCapturingGroups())
        return text;
    std::vector<re2::StringPiece> groups(static_cast<std::size_t>(group) + 1);
    std::vector<ByteRange> ranges;
    std::size_t from = 0;
    while (
        from <= text.size() &&
        expression.Match(text, from, text.size(), re2::RE2::UNANCHORED, groups.data(), group + 1)) {
        const auto offsetOf = [&text](const re2::StringPiece& piece) {
            return static_cast<std::size_t>(piece.data() - text.data());
        };
        const re2::StringPiece& hit = groups.back();
        if (hit.data() != nullptr && !hit.empty())
            ranges.push_back({offsetOf(hit), hit.size()});
        const std::size_t end = offsetOf(groups.front()) + groups.front().size();
        from = groups.front().empty() ? end + 1 : end;
    }
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range)
        text.replace(range->offset, range->length, range->length, ' ');
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
