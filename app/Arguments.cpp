#include "app/Arguments.h"

#include "app/FileURIs.h"

#include <optional>
#include <string_view>
#include <unistd.h>

namespace nullprint::app {
namespace {

std::optional<FileURL> fileNamed(const char* word, bool isToBeCleaned)
{
    // Whoever has files cleaned is told of each that is gone. A check would find nothing in it.
    if ((isToBeCleaned && *word == '/') || ::access(word, F_OK) == 0)
        return FileURL::fromPath(word);
    return fileOfURI(word);
}

bool isService(std::string_view word)
{
    return word == showMetadataService || word == scrubMetadataService;
}

} // namespace

StartRequest readArguments(std::span<const char* const> words)
{
    StartRequest request;
    if (words.size() > 1 && std::string_view(words[0]) == "--service" && isService(words[1])) {
        request.service = words[1];
        words = words.subspan(2);
    }
    for (const char* word : words) {
        if (std::string_view(word) == "--login-item")
            request.isLoginItem = true;
        else if (auto file = fileNamed(word, request.service == scrubMetadataService))
            request.files.push_back(*std::move(file));
    }
    return request;
}

} // namespace nullprint::app
