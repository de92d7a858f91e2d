/// Where a measurement by four corners takes its LEDs from.
///
/// The corners say how the photograph is straightened; the lit area is then searched for in the
/// straightened picture, and that area is divided into LEDs. Corners that are a little off are put
/// right by it, and corners around a part of the screen give the LEDs of another area than they
/// seem to.
#ifndef DRAVIX_LAB_USED_AREA_H_
#define DRAVIX_LAB_USED_AREA_H_

#include <dravix/shot.h>

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

namespace dravix::lab {

/// The corners of the area that DravixExtract with these four corners divides into LEDs, in
/// photograph pixels: top-left, top-right, bottom-right, bottom-left. Nothing where it finds no lit
/// area, or where the corners cannot be put in order.
[[nodiscard]] std::optional<std::array<cv::Point2d, 4>> UsedArea(
    const Shot& photo, const std::vector<cv::Point>& corners);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_USED_AREA_H_
