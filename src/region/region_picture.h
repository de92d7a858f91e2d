/// The picture that shows where a region lies.
#pragma once

#include <dravix/region.h>
#include <dravix/shot.h>

namespace dravix::region {

/// The shot's image as CV_8UC3 (BGR) with the region drawn over it. One pixel wide are the mask's
/// outlines in green, the rotated box of the largest outline in magenta and a red circle at each of
/// the rectangle's corners. So large that they can be read when the whole picture is fitted to a
/// monitor are dark green pins around the largest outline, yellow brackets around the rectangle,
/// the name and place of each corner, and the sizes. What lies outside the image is left out;
/// labels are moved inside. Empty for a shot without pixels. Throws cv::Exception for pixels that
/// cannot be shown.
[[nodiscard]] cv::Mat CheckPicture(const RegionOI& region, const Shot& shot);

}  // namespace dravix::region
