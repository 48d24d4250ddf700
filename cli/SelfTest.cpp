#include "cli/SelfTest.h"

#include "cli/Output.h"
#include "cli/SelfTestPicture.h"
#include "engine/reveal/RevealReport.h"
#include "engine/scrub/ScrubReport.h"
#include "engine/support/PendingFile.h"
#include "engine/support/TempFolder.h"

#include <filesystem>

namespace nullprint {
namespace {

constexpr std::size_t ruleWidth = 56;

bool printCheck(bool passed, std::string_view label)
{
    printLine((passed ? "  PASS  " : "  FAIL ✗  ") + std::string(label));
    return passed;
}

bool writePicture(const Result<TempFolder>& workspace, const std::string& path)
{
    if (!workspace.ok())
        return false;
    const Bytes picture = selfTestPicture();
    const auto file = PendingFile::create(workspace.value().path());
    return !picture.empty() && file.ok() && file.value()->write(picture).ok() &&
           file.value()->keep(path, Permissions(0600)) == PendingFile::Outcome::kept;
}

bool runChecks(const FileURL& picture)
{
    bool passed =
        printCheck(!revealFile(picture).items.empty(), "reveal sees the planted metadata");
    const ScrubReport report = scrubFile(picture);
    const auto* cleaned = std::get_if<Cleaned>(&report.status);
    if (!printCheck(cleaned != nullptr, "scrub produced a cleaned copy"))
        return false;
    const bool isClean = revealFile(cleaned->output).items.empty();
    passed = printCheck(isClean, "cleaned copy has no metadata left") && passed;
    std::error_code error;
    const bool isThere = std::filesystem::exists(picture.path(), error);
    return printCheck(isThere, "original untouched") && passed;
}

} // namespace

bool runSelfTest()
{
    printLine("Nullprint — self test");
    printLine(std::string(ruleWidth, '='));
    printLine("SCRUB ENGINE — a generated test image must come out cleaned:");
    const auto workspace = TempFolder::create("nullprint-selftest-");
    const std::string folder = workspace.ok() ? workspace.value().path() : "";
    const FileURL picture = FileURL::fromPath(folder + "/test.jpg");
    bool passed =
        printCheck(writePicture(workspace, picture.path()), "test image written with author + GPS");
    if (passed)
        passed = runChecks(picture);
    printLine("");
    printLine(passed ? "✓ ALL CHECKS PASSED" : "✗ CHECKS FAILED");
    return passed;
}

} // namespace nullprint
