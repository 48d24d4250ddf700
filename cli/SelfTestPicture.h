// The picture that the self test cleans.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint {

// An 8 × 8 pixel baseline JPEG, black, whose Exif names an author (Test Person), a camera maker
// (TestCam) and a position (41.0, 29.0, without hemispheres). Empty when it cannot be made.
Bytes selfTestPicture();

} // namespace nullprint
