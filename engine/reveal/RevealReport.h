// Checking: the one call that tells what a file gives away, without changing it.
#pragma once

#include "engine/support/FileURL.h"

#include <optional>
#include <string>
#include <vector>

namespace nullprint {

// One finding. The icon is one emoji; the detail is the value as it stands in the file, or a
// sentence where the value itself is not shown.
struct RevealItem {
    std::string icon;
    std::string label;
    std::string detail;

    friend bool operator==(const RevealItem&, const RevealItem&) = default;
};

struct RevealReport {
    FileURL url;
    std::string kind;
    std::vector<RevealItem> items;
    // Set when the file could not be inspected; there are no items then.
    std::optional<std::string> note;
};

// Never fails: what cannot be read becomes a note or is not among the items. Runs on the caller's
// thread; several calls may run at once.
RevealReport revealFile(const FileURL& url);

} // namespace nullprint
