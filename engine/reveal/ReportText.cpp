#include "engine/reveal/ReportText.h"

namespace nullprint {
namespace {

constexpr std::size_t ruleWidth = 40;

std::string bodyOf(const RevealReport& report)
{
    if (report.note)
        return "  " + *report.note + "\n";
    if (report.items.empty())
        return "  ✓ No hidden metadata found — nothing to remove.\n";
    std::string body;
    for (const RevealItem& item : report.items)
        body += "  " + item.icon + " " + item.label + ": " + item.detail + "\n";
    return body;
}

} // namespace

std::string renderReportText(std::span<const RevealReport> reports)
{
    std::string text = "Nullprint — hidden data report\n" + std::string(ruleWidth, '=') + "\n\n";
    for (const RevealReport& report : reports) {
        text += report.kind + ": " + report.url.lastPathComponent() + "\n";
        text += std::string(ruleWidth, '-') + "\n" + bodyOf(report) + "\n";
    }
    return text + "Generated locally by Nullprint. No data left your Mac.";
}

} // namespace nullprint
