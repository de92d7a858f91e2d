/// Blocks as outlines of a binary picture.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/checkerboard.h"

namespace dravix::checkerboard {

/// Blocks of one colour touch at their corners: they are eroded apart, and rectangles are given
/// back the border that erosion took.
struct SearchParams {
  int kernel = 11;     ///< side of the square that closes, opens and erodes; odd
  double minArea = 0;  ///< of a block's rectangle, pixels
  double maxArea = 0;
};

/// What one search found.
struct Found {
  std::vector<cv::Rect> lit;
  std::vector<cv::Rect> dark;
  std::vector<CheckerboardDetector::Rejected> rejected;
};

/// Three searches each, the later ones after dilating: blocks that erosion left in pieces grow
/// together again. `lit` is a binary picture, 255 where a block is lit; only what lies inside
/// `mask` counts.
[[nodiscard]] std::vector<Found> SearchCells(const cv::Mat& lit, const cv::Mat& mask,
                                             const SearchParams& params);

}  // namespace dravix::checkerboard
