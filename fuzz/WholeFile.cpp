#include "fuzz/WholeFile.h"

#include "engine/scrub/ScrubReport.h"
#include "engine/support/FileSource.h"
#include "engine/support/TempFolder.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace nullprint::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* memory = "/dev/shm";

void setTemporaryRoot(const std::string& folder)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): fuzz targets have one thread.
    require(::setenv("TMPDIR", folder.c_str(), 1) == 0, "the environment can be changed");
}

TempFolder makeFolder()
{
    std::error_code failure;
    if (fs::is_directory(memory, failure))
        setTemporaryRoot(memory);
    auto folder = TempFolder::create("nullprint-fuzz-");
    require(folder.ok(), "a folder can be made");
    return std::move(folder).value();
}

// A folder for files, and one for what is temporary, which stays empty.
class Desk {
public:
    Desk()
        : folder(makeFolder())
    {
        for (const fs::path& place : {files(), temporary()})
            require(fs::create_directory(place), "a folder can be made");
        setTemporaryRoot(temporary());
    }

    fs::path files() const { return folder.path() + "/files"; }

    FileURL put(std::string_view extension, ByteSpan bytes) const
    {
        const fs::path path = files() / ("a." + std::string(extension));
        const std::string_view text = asText(bytes);
        std::ofstream(path, std::ios::binary)
            .write(text.data(), static_cast<std::streamsize>(text.size()));
        return FileURL::fromPath(path);
    }

    // Whether there are as many files as this, and nothing else.
    bool holdsOnly(std::size_t count) const
    {
        const auto entries = fs::recursive_directory_iterator(folder.path());
        constexpr std::size_t folders = 2;
        return std::distance(begin(entries), end(entries)) ==
                   static_cast<std::ptrdiff_t>(folders + count) &&
               fs::is_empty(temporary());
    }

private:
    fs::path temporary() const { return folder.path() + "/temporary"; }

    TempFolder folder;
};

Bytes contentOf(const FileURL& url)
{
    const auto file = FileSource::open(url.path());
    require(file.ok(), "a file that was written can be read");
    Bytes content(static_cast<std::size_t>(file.value()->size()));
    require(file.value()->read(0, content).ok(), "a file that was written can be read");
    return content;
}

std::optional<FileURL> clean(const FileURL& url)
{
    const ScrubReport report = scrubFile(url);
    const auto* cleaned = std::get_if<Cleaned>(&report.status);
    return cleaned == nullptr ? std::nullopt : std::optional(cleaned->output);
}

} // namespace

std::optional<CleanedFile> cleanFile(std::string_view extension, ByteSpan bytes)
{
    const Desk desk;
    const FileURL original = desk.put(extension, bytes);
    const RevealReport before = revealFile(original);
    require(desk.holdsOnly(1), "looking at a file leaves nothing behind");
    const auto copy = clean(original);
    require(std::ranges::equal(contentOf(original), bytes), "the original stays as it is");
    require(desk.holdsOnly(copy ? 2 : 1), "nothing but a copy is written");
    if (!copy)
        return std::nullopt;
    require(!before.note, "what can be cleaned can be looked at");
    CleanedFile cleaned{contentOf(*copy), revealFile(*copy), {}};
    require(!cleaned.report.note, "a copy can be looked at");
    const auto again = clean(*copy);
    require(again.has_value(), "a copy can be cleaned");
    cleaned.again = contentOf(*again);
    require(contentOf(*copy) == cleaned.copy, "a copy stays as it is when it is cleaned");
    require(desk.holdsOnly(3), "nothing but a copy's copy is written");
    return cleaned;
}

bool tellsOf(const RevealReport& report, std::string_view label)
{
    return std::ranges::find(report.items, label, &RevealItem::label) != report.items.end();
}

} // namespace nullprint::fuzz
