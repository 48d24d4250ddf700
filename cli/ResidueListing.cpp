#include "cli/ResidueListing.h"

#include "cli/Output.h"
#include "cli/PackageAudit.h"
#include "engine/image/ImageSource.h"
#include "engine/image/XMP.h"
#include "engine/pdf/PDFDocument.h"
#include "engine/scrub/FileTypes.h"

#include <algorithm>

namespace nullprint {
namespace {

using image::Group;
using image::Properties;

struct ListedText {
    Group group;
    std::uint16_t tag;
    std::string_view heading;
};

constexpr std::array listedTexts{
    ListedText{Group::tiff, image::tag::artist, "TIFF Artist="},
    ListedText{Group::tiff, image::tag::copyright, "TIFF Copyright="},
    ListedText{Group::tiff, image::tag::make, "TIFF Make="},
    ListedText{Group::tiff, image::tag::model, "TIFF Model="},
    ListedText{Group::tiff, image::tag::software, "TIFF Software="},
    ListedText{Group::exif, image::tag::dateTimeOriginal, "EXIF DateTimeOriginal="},
    ListedText{Group::exif, image::tag::userComment, "EXIF UserComment="},
    ListedText{Group::exif, image::tag::bodySerialNumber, "EXIF BodySerialNumber="},
    ListedText{Group::exif, image::tag::lensModel, "EXIF LensModel="},
};

using Findings = std::vector<std::string>;

void addFieldCount(const Properties& properties,
                   Group group,
                   std::string_view name,
                   Findings& findings)
{
    const std::size_t count = properties.count(group);
    if (count > 0)
        findings.push_back(std::string(name) + " (" + std::to_string(count) + " fields)");
}

Findings findingsOf(const Properties& properties)
{
    Findings findings;
    addFieldCount(properties, Group::gps, "GPS", findings);
    for (const ListedText& listed : listedTexts) {
        const auto text = properties.text(listed.group, listed.tag);
        if (text && !text->empty())
            findings.push_back(std::string(listed.heading) + *text);
    }
    addFieldCount(properties, Group::iptc, "IPTC", findings);
    return findings;
}

Findings probeImage(const FileURL& url)
{
    const auto file = FileSource::open(url.path());
    if (!file.ok())
        return {};
    Findings findings = findingsOf(image::propertiesOf(*file.value()));
    if (image::containsAny(*file.value(), std::array{image::xmpElement}))
        findings.emplace_back("raw XMP packet");
    return findings;
}

// A copy may have these (ISO 32000-2, 14.3.3): they tell nothing of the original.
constexpr std::array<std::string_view, 3> expectedKeys{"Producer", "CreationDate", "ModDate"};

Findings probePDF(const FileURL& url)
{
    Findings findings;
    const auto file = FileSource::open(url.path());
    const auto facts = file.ok() ? pdf::factsOf(*file.value()) : std::nullopt;
    if (!facts)
        return findings;
    for (const pdf::Attribute& attribute : facts->attributes) {
        const auto isIn = [&attribute](std::string_view expected) {
            return attribute.key.find(expected) != std::string::npos;
        };
        if (std::ranges::none_of(expectedKeys, isIn))
            findings.push_back("PDF " + attribute.key + "=" + attribute.text);
    }
    return findings;
}

} // namespace

void listResidue(const FileURL& url)
{
    printLine("== " + url.lastPathComponent() + " ==");
    const auto [kind, extension] = fileTypeOf(url);
    Findings findings;
    switch (kind) {
    case FileKind::image:
        findings = probeImage(url);
        break;
    case FileKind::pdf:
        findings = probePDF(url);
        break;
    case FileKind::office:
        findings = auditOfficePackage(url);
        break;
    case FileKind::legacyOffice:
    case FileKind::other:
        printLine("  (no inspector for ." + extension + ")");
        return;
    }
    if (findings.empty())
        printLine("  clean");
    for (const std::string& finding : findings)
        printLine("  RESIDUE: " + finding);
}

} // namespace nullprint
