/// The picture that shows where a region lies.
#pragma once

#include <dravix/region.h>
#include <dravix/shot.h>

namespace dravix::region {

/// The shot's image as CV_8UC3 (BGR) with the region drawn over it: the mask's outlines in green,
/// the rotated box of the largest in magenta, the rectangle's corners as red circles, all one pixel
/// wide; and, as large as the picture needs to be read in one piece, dark green pins around the
/// largest outline, yellow brackets around the rectangle, each corner's name and place, and the
/// sizes. What lies outside the image is left out;
/// labels stay inside. Throws cv::Exception for pixels that cannot be shown.
[[nodiscard]] cv::Mat CheckPicture(const RegionOI& region, const Shot& shot);

}  // namespace dravix::region
