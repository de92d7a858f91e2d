/// Where the lit area is in the working image.
#pragma once

#include <opencv2/core.hpp>
#include <optional>

#include "checkerboard/geometry/sides.h"
#include "checkerboard/pictures/rectified.h"
#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// The lit area.
struct Area {
  kernels::BitPicture mask;  ///< of the picture's size, white inside
  cv::Rect box;              ///< the mask's bounding rectangle
  Sides excess;              ///< pixels by which the mask's outline lies too far out
};

/// Finds the lit area in `measured`; nothing where nothing is lit.
[[nodiscard]] std::optional<Area> LedArea(const WorkingPicture& measured,
                                          const RectifyParams& params);

}  // namespace dravix::checkerboard
