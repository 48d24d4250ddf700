#include "engine/image/Blocks.h"

namespace nullprint::image {

Result<Done> Blocks::add(BlockKind kind, ByteRange range)
{
    if (range.length == 0)
        return Done{};
    if (!blocks.empty()) {
        Block& last = blocks.back();
        if (last.kind == kind && last.range.end() == range.offset) {
            last.range.length += range.length;
            return Done{};
        }
    }
    if (blocks.size() == limits::blocks)
        return Error{"too many blocks", range.offset};
    blocks.push_back({kind, range});
    return Done{};
}

} // namespace nullprint::image
