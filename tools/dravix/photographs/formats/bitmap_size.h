/// Windows bitmaps: whether the size that one claims is possible.
#pragma once

#include <string>
#include <string_view>

namespace dravix::tool {

/// Fails when the bitmap claims more than 250 megapixels, or more pixels than its bytes can make.
void RequirePossibleBitmap(const std::string& name, std::string_view bytes);

}  // namespace dravix::tool
