#include "app/FileWork.h"

namespace nullprint::app {
namespace {

void addReport(CleanResult& result, const ScrubReport& report)
{
    if (const auto* cleaned = std::get_if<Cleaned>(&report.status))
        result.outputs.push_back(cleaned->output);
    else if (const auto* unsupported = std::get_if<Unsupported>(&report.status))
        result.skipped.push_back(skipLine(report.input, unsupported->message));
    else
        result.skipped.push_back(skipLine(report.input, std::get<Failed>(report.status).message));
}

} // namespace

std::string skipLine(const FileURL& file, const std::string& message)
{
    return "• " + file.lastPathComponent() + " — " + message;
}

std::vector<RevealReport>
revealAll(const std::vector<FileURL>& files, const std::stop_token& stop, const FileDone& fileDone)
{
    std::vector<RevealReport> reports;
    for (const FileURL& file : files) {
        if (stop.stop_requested())
            break;
        reports.push_back(revealFile(file));
        fileDone();
    }
    return reports;
}

CleanResult
cleanAll(const std::vector<FileURL>& files, const std::stop_token& stop, const FileDone& fileDone)
{
    CleanResult result;
    for (const FileURL& file : files) {
        if (stop.stop_requested())
            break;
        addReport(result, scrubFile(file));
        fileDone();
    }
    return result;
}

} // namespace nullprint::app
