// Reports as plain text, for the terminal and for saving.
#pragma once

#include "engine/reveal/RevealReport.h"

#include <span>

namespace nullprint {

// Heading, one section a report, footer. Lines end in "\n", the last one in nothing. Details stand
// as they are, also when they hold line feeds.
std::string renderReportText(std::span<const RevealReport> reports);

} // namespace nullprint
