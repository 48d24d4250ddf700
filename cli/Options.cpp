#include "cli/Options.h"

#include "cli/Output.h"
#include "cli/ResidueListing.h"
#include "cli/SelfTest.h"
#include "cli/Version.h"
#include "engine/pdf/PDFDocument.h"
#include "engine/reveal/ReportText.h"
#include "engine/scrub/FileTypes.h"
#include "engine/scrub/ScrubReport.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace nullprint {
namespace {

using Files = std::vector<std::string>;

constexpr std::string_view helpText =
    R"(Nullprint — strip metadata before you share.

With no arguments it runs as a menu-bar app.

CLI:
  Nullprint --scrub <file>...     write a cleaned copy of each file
  Nullprint --inspect <file>...   show metadata still present in a file
  Nullprint --reveal <file>...    plain-language report of hidden data
  Nullprint --selftest            verify the scrub engine
  Nullprint --version)";

// The first line shows the file as it was typed, the second what became of it.
std::string entryFor(const std::string& typed, const Status& status)
{
    constexpr std::string_view indent = "\n        ";
    if (const auto* cleaned = std::get_if<Cleaned>(&status))
        return "CLEANED    " + typed + "\n        -> " + cleaned->output.path();
    if (const auto* unsupported = std::get_if<Unsupported>(&status))
        return "UNSUPPORTED " + typed + std::string(indent) + unsupported->message;
    return "FAILED     " + typed + std::string(indent) + std::get<Failed>(status).message;
}

// An installation in pieces: the lines about a PDF would blame the document.
void mentionWhatIsMissing(const Files& files)
{
    const auto isPDF = [](const std::string& file) {
        return fileTypeOf(FileURL::fromPath(file)).kind == FileKind::pdf;
    };
    if (std::ranges::any_of(files, isPDF) && !pdf::canOpenDocuments())
        std::fputs("Nullprint: cannot find nullprint-pdf, without which no PDF can be opened.\n",
                   stderr);
}

int scrub(const Files& files)
{
    mentionWhatIsMissing(files);
    for (const std::string& file : files)
        printLine(entryFor(file, scrubFile(FileURL::fromPath(file)).status));
    return 0;
}

int inspect(const Files& files)
{
    mentionWhatIsMissing(files);
    for (const std::string& file : files)
        listResidue(FileURL::fromPath(file));
    return 0;
}

int reveal(const Files& files)
{
    mentionWhatIsMissing(files);
    for (const std::string& file : files)
        printLine(renderReportText(std::array{revealFile(FileURL::fromPath(file))}));
    return 0;
}

int selfTest(const Files&)
{
    return runSelfTest() ? 0 : 1;
}

int version(const Files&)
{
    printLine("Nullprint " + std::string(appVersion));
    return 0;
}

int help(const Files&)
{
    printLine(helpText);
    return 0;
}

struct Option {
    std::string_view word;
    int (*run)(const Files& files);
};

// Tried in this order. An option is the whole first argument, letter for letter.
constexpr std::array options{
    Option{"--scrub", scrub},
    Option{"--inspect", inspect},
    Option{"--reveal", reveal},
    Option{"--selftest", selfTest},
    Option{"--version", version},
    Option{"--help", help},
    Option{"-h", help},
};

} // namespace

std::optional<int> runOption(std::string_view option, const Files& files)
{
    for (const Option& each : options) {
        if (each.word == option)
            return each.run(files);
    }
    return std::nullopt;
}

} // namespace nullprint
