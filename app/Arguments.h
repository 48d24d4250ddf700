// What the words behind the program's name ask of the application.
#pragma once

#include "engine/support/FileURL.h"

#include <span>
#include <string>
#include <vector>

namespace nullprint::app {

inline constexpr const char* showMetadataService = "showMetadata";
inline constexpr const char* scrubMetadataService = "scrubMetadata";

struct StartRequest {
    std::vector<FileURL> files = {};
    // The service that file managers' menu entries name; empty when the files are just opened.
    std::string service = {};
    // Started with the session and not by the user, who has nothing to be shown then.
    bool isLoginItem = false;
};

// `words` without the program's name. Names of files that exist and "file:" URIs are files, from
// the current folder on; whatever else means nothing here is passed over in silence.
StartRequest readArguments(std::span<const char* const> words);

} // namespace nullprint::app
