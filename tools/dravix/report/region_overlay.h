/// A picture for checking whether a region lies where the screen is.
#pragma once

#include <dravix/region.h>
#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::tool {

/// The photograph in gray and full size with the region's outline (green), its rectangle (yellow)
/// and the four corners that a measurement uses (orange), CV_8UC3.
///
/// `corners` are top-left, top-right, bottom-right, bottom-left in photograph pixels, or empty when
/// none were found. The region's rectangle has to lie within the photograph. All letters stand
/// outside that rectangle and on dark ground, so that they hide nothing of the screen; where the
/// photograph has no room for them, the picture grows beyond the photograph. A legend stands below.
[[nodiscard]] cv::Mat RegionOverlay(const Shot& photo, const RegionOI& region,
                                    const std::vector<cv::Point>& corners);

}  // namespace dravix::tool
