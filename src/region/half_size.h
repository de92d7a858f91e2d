/// The reduced picture in which AutoSet looks for the lit area.
#pragma once

#include <dravix/shot.h>

#include <opencv2/core.hpp>

namespace dravix::region {

/// The shot's gray picture (CV_8UC1) at half its size, rounded down: what cv::pyrDown makes of
/// shot::ToGrayPicture. Of a picture of one row or column the larger half of both sides is left, as
/// the matrix library rounds where half of a side is nothing. Throws cv::Exception for pixels that
/// cannot be shown.
[[nodiscard]] cv::Mat HalfSizeGray(const Shot& shot);

}  // namespace dravix::region
