// What every picture format promises, as checks that its tests call.
#pragma once

#include "engine/image/ImageSource.h"

#include <optional>
#include <string>
#include <vector>

namespace nullprint::tests {

// A whole file. Fails the running test when there is none.
Bytes fileBytes(const std::string& path);

// The paths of all files in a folder of tests/data, sorted.
std::vector<std::string> dataFiles(const std::string& folder);

// What the library makes of a picture in memory, or why not.
Result<Bytes> cleaned(ByteSpan picture);

// The same for a picture that must be cleaned: fails the running test otherwise.
Bytes mustClean(ByteSpan picture);

image::Properties propertiesOf(ByteSpan picture);
std::uint32_t frameCount(ByteSpan picture);
std::optional<std::uint16_t> turnedOrientationOf(ByteSpan picture);

// The bytes of a block kind, in file order.
Bytes bytesOfKind(ByteSpan picture, image::BlockKind kind);

bool holds(ByteSpan bytes, std::string_view text);

// For a picture that can be cleaned: its blocks laid end to end are the file; the pixel blocks of
// the copy are those of the picture; frame count and orientation stay; cleaning twice equals
// cleaning once; the copy reveals nothing.
void expectPromises(ByteSpan picture);

// Cuts the picture short at many places (at every one when it is small) and opens, reveals, splits
// and cleans each: whatever is not refused must keep the promises of cleaning twice.
void expectSurvivesTruncation(ByteSpan picture);

// Changes bytes here and there, `rounds` times, from a fixed seed, and does the same.
void expectSurvivesMutation(ByteSpan picture, int rounds);

// Does everything the library can do with any bytes. Returns the cleaned copy when there is one,
// having checked that it can be cleaned again, to the same bytes.
std::optional<Bytes> exercise(ByteSpan bytes);

} // namespace nullprint::tests
