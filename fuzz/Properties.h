// What must hold for any bytes at all. Every fuzz target for pictures calls this; nothing here
// needs a test framework.
#pragma once

#include "engine/image/ImageSource.h"

namespace nullprint::fuzz {

// Opens, reveals, splits and cleans `bytes` as the library does with a file, and ends the program,
// saying what is broken, unless: blocks laid end to end are the input; a picture that is cleaned
// could be split; its copy is as long as planned, of the same type and with the same frames, can be
// split, has its original's samples, reveals nothing, and cleans to itself. Bytes of another format
// are passed over.
void checkPicture(const image::ImageFormat& format, ByteSpan bytes);

} // namespace nullprint::fuzz
