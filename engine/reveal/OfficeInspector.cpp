// Reads the parts of an Office package (ECMA-376 part 2) in which names, dates and identifiers
// stand, by patterns over their text.
#include "engine/reveal/OfficeInspector.h"

#include "engine/image/ImageSource.h"
#include "engine/package/PackageReader.h"
#include "engine/reveal/Captures.h"
#include "engine/scrub/FileTypes.h"
#include "engine/support/FileSource.h"
#include "engine/support/Text.h"

#include <algorithm>
#include <set>

namespace nullprint {
namespace {

using Items = std::vector<RevealItem>;

// More custom properties than this are not shown.
constexpr std::size_t shownProperties = 6;

struct Patterns {
    TextPattern creator{{"<dc:creator>([^<]*)</dc:creator>", "<dc:creator>"}};
    TextPattern lastEditor{
        {"<cp:lastModifiedBy>([^<]*)</cp:lastModifiedBy>", "<cp:lastModifiedBy>"}};
    TextPattern revision{{"<cp:revision>([^<]*)</cp:revision>", "<cp:revision>"}};
    TextPattern created{{"<dcterms:created[^>]*>([^<]*)</dcterms:created>", "<dcterms:created"}};
    TextPattern modified{
        {"<dcterms:modified[^>]*>([^<]*)</dcterms:modified>", "<dcterms:modified"}};
    TextPattern minutes{{"<TotalTime>([^<]*)</TotalTime>", "<TotalTime>"}};
    TextPattern company{{"<Company>([^<]*)</Company>", "<Company>"}};
    TextPattern manager{{"<Manager>([^<]*)</Manager>", "<Manager>"}};
    TextPattern author{{R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author="([^"]*)")-", R"(:author=")"}};
    TextPattern userId{{R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId="([^"]*)")-", R"(:userId=")"}};
    TextPattern customText{{"<vt:lpwstr>([^<]*)</vt:lpwstr>", "<vt:lpwstr>"}};
};

const Patterns& patterns()
{
    static const Patterns all;
    return all;
}

// A part that is not UTF-8 counts as empty.
Result<Bytes> contentOf(const PackageReader& package, const PackagePart& part)
{
    Bytes content = NP_TRY(package.read(part, limits::partBytes));
    if (!isUTF8(asText(content)))
        content.clear();
    return content;
}

// So does one that is not there.
Result<Bytes> contentOf(const PackageReader& package, std::string_view name)
{
    const PackagePart* part = package.find(name);
    return part == nullptr ? Result<Bytes>(Bytes{}) : contentOf(package, *part);
}

void addItem(Items& items, const char* icon, const char* label, std::optional<std::string> detail)
{
    if (detail)
        items.push_back({icon, label, std::move(*detail)});
}

// The number as it is stored, which need not be one.
std::optional<std::string> counted(std::optional<std::string> number, const std::string& unit)
{
    if (number)
        *number += unit + (*number == "1" ? "" : "s");
    return number;
}

std::optional<std::string> datesOf(std::string_view core)
{
    const auto created = firstCapture(core, patterns().created);
    const auto modified = firstCapture(core, patterns().modified);
    if (!created && !modified)
        return std::nullopt;
    return created.value_or("?") + "  →  " + modified.value_or("?");
}

Result<Done> addCoreProperties(const PackageReader& package, Items& items)
{
    const Bytes content = NP_TRY(contentOf(package, "docProps/core.xml"));
    const std::string_view core = asText(content);
    addItem(items, "👤", "Author", firstCapture(core, patterns().creator));
    addItem(items, "✏️", "Last edited by", firstCapture(core, patterns().lastEditor));
    addItem(items,
            "🔁",
            "Times saved",
            counted(firstCapture(core, patterns().revision), " revision"));
    addItem(items, "🕒", "Created → last modified", datesOf(core));
    return Done{};
}

Result<Done> addApplicationProperties(const PackageReader& package, Items& items)
{
    const Bytes content = NP_TRY(contentOf(package, "docProps/app.xml"));
    const std::string_view app = asText(content);
    const auto minutes = firstCapture(app, patterns().minutes);
    if (minutes != "0")
        addItem(items, "⏱", "Total editing time", counted(minutes, " minute"));
    addItem(items, "🏢", "Company", firstCapture(app, patterns().company));
    addItem(items, "🧑‍💼", "Manager", firstCapture(app, patterns().manager));
    return Done{};
}

template <typename Texts> std::optional<std::string> listed(const Texts& texts)
{
    std::string list;
    for (const auto& text : texts) {
        list += list.empty() ? "" : ", ";
        list += text;
    }
    return list.empty() ? std::nullopt : std::optional(std::move(list));
}

// Each name once, sorted. When there is no room for all, those that sort last are left out, so that
// what is listed is how the whole list begins.
class Names {
public:
    void add(std::string_view name)
    {
        if (firstLeftOut && name >= *firstLeftOut)
            return;
        if (!names.contains(name))
            usedBytes += costOf(*names.emplace(name).first);
        while (usedBytes > limits::listedBytes) {
            const auto last = std::prev(names.end());
            usedBytes -= costOf(*last);
            firstLeftOut = *last;
            names.erase(last);
        }
    }

    const auto& sorted() const { return names; }

private:
    static std::size_t costOf(const std::string& name)
    {
        return name.size() + limits::listedTextBytes;
    }

    std::set<std::string, std::less<>> names; // UTF-8 sorts as its code points do.
    std::size_t usedBytes = 0;
    std::optional<std::string> firstLeftOut;
};

Result<std::optional<std::string>> editorsOf(const PackageReader& package)
{
    Names names;
    for (const PackagePart& part : package.parts()) {
        if (extensionOf(part) != "xml")
            continue;
        const Bytes content = NP_TRY(contentOf(package, part));
        for (const TextPattern* pattern : {&patterns().author, &patterns().userId}) {
            CaptureWalk walk(asText(content), *pattern);
            while (const auto name = walk.next())
                names.add(*name);
        }
    }
    return listed(names.sorted());
}

Result<std::optional<std::string>> customTextsOf(const PackageReader& package)
{
    const Bytes custom = NP_TRY(contentOf(package, "docProps/custom.xml"));
    return listed(allCaptures(asText(custom), patterns().customText, shownProperties));
}

Result<std::optional<std::string>> identifierOf(const PackageReader& package)
{
    const Bytes settings = NP_TRY(contentOf(package, "word/settings.xml"));
    if (asText(settings).find("w15:docId") == std::string_view::npos)
        return std::optional<std::string>();
    return std::optional<std::string>("a unique GUID that can link copies of this file");
}

// A source of which something could not be read.
class WatchedSource final : public ByteSource {
public:
    explicit WatchedSource(ByteSource& source)
        : source(source)
    {
    }

    std::uint64_t size() const override { return source.size(); }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override
    {
        return noted(source.view(offset, length));
    }
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override
    {
        return noted(source.read(offset, target));
    }

    bool hasFailed = false;

private:
    template <typename T> Result<T> noted(Result<T> result)
    {
        hasFailed = hasFailed || !result.ok();
        return result;
    }

    ByteSource& source;
};

// Pictures in which nothing is amiss, as far as they are looked at, are not unpacked to their end.
Result<bool> hasPosition(const PackageReader& package, const PackagePart& part)
{
    const auto bytes = NP_TRY(package.openPart(part, limits::partBytes));
    WatchedSource picture(*bytes);
    const bool isPicture = image::ImageSource::open(picture).ok();
    const bool isFound = image::propertiesOf(picture).count(image::Group::gps) > 0;
    if (!isPicture || picture.hasFailed)
        NP_TRY(package.verify(part));
    return isFound;
}

Result<std::optional<std::string>> positionsOf(const PackageReader& package)
{
    std::size_t count = 0;
    for (const PackagePart& part : package.parts()) {
        if (isImageExtension(extensionOf(part)) && NP_TRY(hasPosition(package, part)))
            ++count;
    }
    if (count == 0)
        return std::optional<std::string>();
    return std::optional(std::to_string(count) + (count == 1
                                                      ? " inserted image still carries GPS data"
                                                      : " inserted images still carry GPS data"));
}

// Whether what is not looked at in full can be unpacked. Pictures are most of a large document, so
// there is a bound on how much of them is.
Result<Done> check(const PackageReader& package)
{
    NP_TRY(package.check());
    std::uint64_t room = limits::verifiedPictureBytes;
    for (const PackagePart& part : package.parts()) {
        const std::string extension = extensionOf(part);
        if (isImageExtension(extension)) {
            if (part.sizeBytes > room)
                continue;
            room -= part.sizeBytes;
        }
        if (extension != "xml")
            NP_TRY(package.verify(part));
    }
    return Done{};
}

// No more than one part is in memory at a time.
Result<Items> itemsOf(const PackageReader& package)
{
    NP_TRY(check(package));
    Items items;
    NP_TRY(addCoreProperties(package, items));
    NP_TRY(addApplicationProperties(package, items));
    addItem(items, "💬", "Other editors (comments / tracked changes)", NP_TRY(editorsOf(package)));
    addItem(items, "🗃", "Custom properties", NP_TRY(customTextsOf(package)));
    addItem(items, "🆔", "Document ID", NP_TRY(identifierOf(package)));
    addItem(items, "📍", "Embedded photo location", NP_TRY(positionsOf(package)));
    return items;
}

Result<Items> itemsOf(const FileURL& url)
{
    const auto file = NP_TRY(FileSource::open(url.path()));
    const PackageReader package = NP_TRY(PackageReader::open(*file));
    return itemsOf(package);
}

std::string kindOf(std::string_view extension)
{
    if (extension.starts_with("doc"))
        return "Word document";
    return extension.starts_with("xls") ? "Excel spreadsheet" : "PowerPoint presentation";
}

} // namespace

RevealReport inspectOfficeDocument(const FileURL& url)
{
    auto items = itemsOf(url);
    if (!items.ok())
        return {url, "Office document", {}, "Couldn’t open this document."};
    return {url, kindOf(fileTypeOf(url).extension), std::move(items).value(), std::nullopt};
}

} // namespace nullprint
