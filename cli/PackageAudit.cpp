#include "cli/PackageAudit.h"

#include "engine/image/ImageSource.h"
#include "engine/package/PackageReader.h"
#include "engine/reveal/Captures.h"
#include "engine/scrub/FileTypes.h"
#include "engine/support/FileSource.h"
#include "engine/support/Text.h"

#include <algorithm>

namespace nullprint {
namespace {

struct AuditPattern {
    std::string_view label;
    PatternText text;
};

constexpr std::array auditPatterns{
    AuditPattern{"creator", {"<dc:creator>([^<]+)</dc:creator>", "<dc:creator>"}},
    AuditPattern{"lastModifiedBy",
                 {"<cp:lastModifiedBy>([^<]+)</cp:lastModifiedBy>", "<cp:lastModifiedBy>"}},
    AuditPattern{"company", {"<Company>([^<]+)</Company>", "<Company>"}},
    AuditPattern{"manager", {"<Manager>([^<]+)</Manager>", "<Manager>"}},
    AuditPattern{"author",
                 {R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author="([^"]+)")-", R"(:author=")"}},
    AuditPattern{"date", {R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:date="([^"]+)")-", R"(:date=")"}},
    AuditPattern{"initials",
                 {R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:initials="([^"]+)")-", R"(:initials=")"}},
    AuditPattern{"userId",
                 {R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId="([^"]+)")-", R"(:userId=")"}},
    AuditPattern{"docId", {R"-(<w15:docId\b[^>]*w15:val="([^"]+)")-", "<w15:docId"}},
    AuditPattern{"rsid", {R"-(<w:rsid w:val="([^"]+)")-", R"(<w:rsid w:val=")"}},
    AuditPattern{"customProp", {"<vt:lpwstr>([^<]+)</vt:lpwstr>", "<vt:lpwstr>"}},
    AuditPattern{"extTarget", {R"-(Target="(file:[^"]+|[A-Za-z]:\\[^"]+)")-", R"(Target=")"}},
};

// What there is room for; the rest is left out.
class Findings {
public:
    void add(std::string finding)
    {
        const std::size_t cost = finding.size() + limits::listedTextBytes;
        if (cost > limits::listedBytes - usedBytes)
            return;
        usedBytes += cost;
        lines.push_back(std::move(finding));
    }

    std::vector<std::string> lines;

private:
    std::size_t usedBytes = 0;
};

const TextPattern& patternOf(std::size_t row)
{
    static const std::vector<TextPattern> compiled = [] {
        std::vector<TextPattern> all;
        all.reserve(auditPatterns.size());
        for (const AuditPattern& each : auditPatterns)
            all.emplace_back(each.text);
        return all;
    }();
    return compiled[row];
}

// What unpackers make of a part, also of one whose checksum is wrong; the beginning of a large one.
std::string_view textOf(const Result<Bytes>& head, const PackagePart& part)
{
    std::string_view text = head.ok() ? asText(head.value()) : std::string_view();
    if (part.sizeBytes > text.size()) // Cut anywhere, perhaps within a character.
        text = text.substr(0, text.rfind('>') + 1);
    return isUTF8(text) ? text : std::string_view();
}

void auditXML(const PackageReader& package, const PackagePart& part, Findings& findings)
{
    const auto head = package.readHead(part, limits::partBytes);
    const std::string_view content = textOf(head, part);
    for (std::size_t row = 0; row < auditPatterns.size(); ++row) {
        const auto capture = firstCapture(content, patternOf(row));
        if (capture)
            findings.add(part.name + ": " + std::string(auditPatterns[row].label) + "=" + *capture);
    }
}

void auditPicture(const PackageReader& package, const PackagePart& part, Findings& findings)
{
    const auto bytes = package.openPart(part, limits::partBytes);
    if (!bytes.ok())
        return;
    const auto properties = image::propertiesOf(*bytes.value());
    if (properties.count(image::Group::gps) > 0)
        findings.add(part.name + ": embedded image GPS");
    const auto artist = properties.text(image::Group::tiff, image::tag::artist);
    if (artist && !artist->empty())
        findings.add(part.name + ": embedded image Artist=" + *artist);
}

} // namespace

std::vector<std::string> auditOfficePackage(const FileURL& url)
{
    Findings findings;
    const auto file = FileSource::open(url.path());
    if (!file.ok())
        return {};
    const auto package = PackageReader::open(*file.value());
    if (!package.ok())
        return {};
    std::uint64_t room = limits::unpackedBytes; // What is too large for it is passed over.
    for (const PackagePart& part : package.value().parts()) {
        const std::uint64_t cost =
            part.isDeflated ? std::min(part.sizeBytes, limits::partBytes) : 0;
        if (cost > room)
            continue;
        room -= cost;
        const std::string extension = extensionOf(part);
        if (extension == "xml" || extension == "rels")
            auditXML(package.value(), part, findings);
        else if (isImageExtension(extension))
            auditPicture(package.value(), part, findings);
    }
    return std::move(findings.lines);
}

} // namespace nullprint
