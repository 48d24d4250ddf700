// What decoders must know before a picture's data, as a copy has it: the fields of the standards
// and no user data. All fail on what is cut short. ISO/IEC 14496-15, unless something else is
// named.
#pragma once

#include "engine/support/ByteSource.h"

namespace nullprint::image {

Result<Bytes> cleanAVCConfiguration(ByteSource& content);  // 5.3.3.1
Result<Bytes> cleanHEVCConfiguration(ByteSource& content); // 8.3.3.1
Result<Bytes> cleanVVCConfiguration(ByteSource& content);  // 11.2.4.2, with version and flags
Result<Bytes> cleanAV1Configuration(ByteSource& content);  // AV1 in ISO base media files, 2.3

} // namespace nullprint::image
