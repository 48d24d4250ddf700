// Everything that a thread may call, from eight threads at once, on the same files. Under
// ThreadSanitizer this also shows what they share without meaning to.
#include "cli/PackageAudit.h"
#include "engine/reveal/ReportText.h"
#include "engine/scrub/ScrubReport.h"
#include "tests/support/BMPBuilder.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"
#include "tests/support/GIFBuilder.h"
#include "tests/support/HEIFBuilder.h"
#include "tests/support/PDFBuilder.h"
#include "tests/support/WebPBuilder.h"
#include "tests/support/ZIPBuilder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <latch>
#include <map>
#include <set>
#include <thread>

namespace nullprint::tests {
namespace {

constexpr std::size_t threadCount = 8;

struct Original {
    std::string name;
    Bytes content;
};

Bytes photo()
{
    return jpegWithEXIF({EXIFBuilder().text(image::Group::tiff, 0x013B, "planted").block()});
}

Bytes planted(heif::HEIFBuilder picture)
{
    picture.items.push_back({2, "Exif", heif::exifItem(0)});
    picture.references.push_back({"cdsc", 2, {1}});
    return picture.build();
}

// What a word processor writes, with names. The letter beyond ASCII behind an element's name is for
// the exact form of a pattern, which is compiled apart.
Bytes document()
{
    const std::string body =
        R"(<w:document><w:ins w:author="planted" w:date="2024"/></w:document>)";
    return ZIPBuilder()
        .add(deflatedEntry("docProps/core.xml",
                           "<cp:coreProperties><dc:creator>planted</dc:creator>"
                           "<dcterms:createdé>2024</dcterms:created></cp:coreProperties>"))
        .add(deflatedEntry("docProps/app.xml",
                           "<Properties><Company>planted</Company></Properties>"))
        .add(deflatedEntry("word/document.xml", body))
        .add(storedEntry("word/media/image1.jpeg", asText(photo())))
        .build();
}

Bytes letter()
{
    const std::string text = PDFBuilder().information(9, "/Author(planted)").plain();
    return Bytes(text.begin(), text.end());
}

BMPBuilder bitmapWithTail()
{
    BMPBuilder bitmap;
    bitmap.tail = "planted";
    return bitmap;
}

const std::vector<Original>& originals()
{
    static const std::vector<Original> all{
        {"a.jpg", photo()},
        {"a.png", PNGBuilder().chunk("tEXt", std::string("Author\0planted", 14)).pixels().end()},
        {"a.gif", GIFBuilder().comment("planted").image().end()},
        {"a.webp", webp::file({webp::lossy(), webp::chunk("EXIF", "planted")})},
        {"a.bmp", bitmapWithTail().bytes()},
        {"a.heic", planted(heif::onePicture())},
        {"a.tif",
         fileBytes(std::string(NULLPRINT_TEST_DATA) + "/tiff/jpeg-strips-with-metadata.tif")},
        {"a.docx", document()},
        {"a.pdf", letter()},
        {"cut.png", PNGBuilder().withoutEnd()},
        {"no.docx", bytesOf("no archive")},
        {"old.doc", bytesOf("planted")},
    };
    return all;
}

// What a file came to: the message or the copy's bytes, the report, and the listing.
struct Outcome {
    std::string status;
    std::string copy;
    std::string report;
    std::vector<std::string> findings;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

struct Visit {
    std::string original;
    std::string copy; // The name that it got.
    Outcome outcome;
};

Visit visit(const FileURL& url)
{
    Visit visit{url.lastPathComponent(), {}, {}};
    const Status status = scrubFile(url).status;
    if (const auto* cleaned = std::get_if<Cleaned>(&status)) {
        visit.copy = cleaned->output.lastPathComponent();
        visit.outcome.status = "cleaned";
        visit.outcome.copy = asText(fileBytes(cleaned->output.path()));
    } else if (const auto* failed = std::get_if<Failed>(&status)) {
        visit.outcome.status = failed->message;
    } else {
        visit.outcome.status = std::get<Unsupported>(status).message;
    }
    const RevealReport report = revealFile(url);
    visit.outcome.report = renderReportText({&report, 1});
    if (url.lastPathComponent().ends_with(".docx"))
        visit.outcome.findings = auditOfficePackage(url);
    return visit;
}

// Every thread takes all files, each from another one on, so that now and then two have the same
// and now and then all have different kinds.
std::vector<Visit> visitAll(const std::vector<FileURL>& urls, std::size_t first, std::latch& start)
{
    start.arrive_and_wait();
    std::vector<Visit> visits;
    for (std::size_t step = 0; step < urls.size(); ++step)
        visits.push_back(visit(urls[(first + step) % urls.size()]));
    return visits;
}

std::vector<FileURL> putAll(const Folder& folder)
{
    std::vector<FileURL> urls;
    for (const Original& original : originals())
        urls.push_back(folder.put(original.name, original.content));
    return urls;
}

std::vector<Visit> visitFromManyThreads(const std::vector<FileURL>& urls)
{
    std::latch start(threadCount);
    std::vector<std::vector<Visit>> each(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < threadCount; ++index) {
        threads.emplace_back(
            [&, index] { each[index] = visitAll(urls, index % 2 == 0 ? 0 : index, start); });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::vector<Visit> all;
    for (const std::vector<Visit>& visits : each)
        all.insert(all.end(), visits.begin(), visits.end());
    return all;
}

// Before anything was called one after the other, so that what is built once is built here.
TEST(ManyAtOnce, giveWhatOneAfterTheOtherGives)
{
    const Folder folder;
    const std::vector<FileURL> urls = putAll(folder);
    const std::vector<Visit> visits = visitFromManyThreads(urls);

    const Folder alone;
    std::map<std::string, Outcome> expected;
    for (const FileURL& url : putAll(alone))
        expected[url.lastPathComponent()] = visit(url).outcome;

    std::set<std::string> copies;
    std::size_t cleanedCount = 0;
    for (const Visit& visit : visits) {
        EXPECT_EQ(visit.outcome, expected[visit.original]) << visit.original;
        if (visit.copy.empty())
            continue;
        ++cleanedCount;
        copies.insert(visit.copy);
        EXPECT_FALSE(holds(asBytes(visit.outcome.copy), "planted")) << visit.copy;
    }
    EXPECT_EQ(cleanedCount, 9 * threadCount);
    EXPECT_EQ(copies.size(), cleanedCount) << "two got one name";
    EXPECT_EQ(folder.names().size(), urls.size() + cleanedCount) << "something else was left";
    for (const Original& original : originals())
        EXPECT_EQ(fileBytes(folder.url(original.name).path()), original.content) << original.name;
}

} // namespace
} // namespace nullprint::tests
