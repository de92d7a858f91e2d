/// Questions about a region that several of its parts ask.
#pragma once

#include <dravix/region.h>

namespace dravix::region {

/// True when the rectangle has no pixels or the mask none.
[[nodiscard]] inline bool IsEmpty(const RegionOI& region) {
  return region.rect.width < 1 || region.rect.height < 1 || region.mask.empty();
}

}  // namespace dravix::region
