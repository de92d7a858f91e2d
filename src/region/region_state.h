/// The question whether a region holds an area.
#pragma once

#include <dravix/region.h>

namespace dravix::region {

/// True when the rectangle or the mask has no pixels.
[[nodiscard]] inline bool IsEmpty(const RegionOI& region) {
  return region.rect.width < 1 || region.rect.height < 1 || region.mask.empty();
}

}  // namespace dravix::region
