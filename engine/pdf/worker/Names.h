// Names with a number sign in them, such as `A#23B` or, where it begins no escape, `A##34B`. The
// library of Debian 12 reads them right and writes them without the escape, for others to read as
// something else.
#pragma once

#include "engine/pdf/worker/PDFFile.h"

namespace nullprint::pdf {

// The name as it has to be given to the library to be written right; the same with a library that
// writes all names right.
QPDFObjectHandle spelled(QPDFObjectHandle name);

// Spells the names directly in an array, or in a dictionary, which has had these entries and may
// have lost some. Not for twice on the same one.
void spellNames(QPDFObjectHandle array);
void spellNames(QPDFObjectHandle dictionary,
                const std::map<std::string, QPDFObjectHandle>& entries);

} // namespace nullprint::pdf
