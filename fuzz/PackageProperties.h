// What must hold of any bytes that are taken for an Office document.
#pragma once

#include "engine/reveal/RevealReport.h"
#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Reads and cleans `archive` as the cleaner does with a file, and ends the program, saying what is
// broken, unless: a document is cleaned or there is a reason why not; the copy can be read, has the
// parts of its original in their order, each as its cleaner leaves it, and cleans to itself.
void checkPackage(ByteSpan archive);

// Whether another cleaning would find nothing to do in any part. The rules for XML are applied once
// and in their order, as they are written down: what is no XML can be such that taking something
// out makes a match of what stands around it.
bool isSettled(ByteSpan archive);

// Of a copy that is settled, nothing may be told but what the rules leave and the patterns of the
// report find (elements whose names only begin like one of those that go), and the places of
// pictures that cannot be cleaned.
void checkReport(const RevealReport& report, ByteSpan copy);

// An archive of what stands in `recipe`: parts, each behind a mark and a letter that chooses its
// name. What stands before the first mark is in several parts: XML of each kind, pictures, others.
Bytes packageOf(ByteSpan recipe);

} // namespace nullprint::fuzz
