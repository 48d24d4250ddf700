// What a PDF tells of its origin, as plain values.
#pragma once

#include "engine/support/ByteSink.h"

#include <set>
#include <string>

namespace nullprint::pdf {

// An entry of the information dictionary that is not null.
struct Attribute {
    enum class Kind : std::uint8_t { text, list, other };

    std::string key; // Without the slash.
    Kind kind;
    std::string text; // Of a list, its texts (one at least) joined with ", ".

    friend bool operator==(const Attribute&, const Attribute&) = default;
};

struct DocumentFacts {
    std::vector<Attribute> attributes; // In the order of their keys.
    // The titles of the pages' annotations other than form fields, where comments have the names of
    // their authors. None is empty; they are in the order of their code points.
    std::set<std::string> annotationTitles;
};

// How the worker tells them. What is read is not trusted: a damaged text ends in an error.
Result<Done> writeFacts(const DocumentFacts& facts, ByteSink& sink);
Result<DocumentFacts> readFacts(ByteSource& source);

} // namespace nullprint::pdf
