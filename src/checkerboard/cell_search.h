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
struct FoundBlocks {
  std::vector<cv::Rect> lit;
  std::vector<cv::Rect> dark;
  std::vector<CheckerboardDetector::Rejected> rejected;
};

/// Up to three searches in one binary picture, `lit`, 255 where a block is lit. Before each but the
/// first what is left is dilated: blocks that erosion left in pieces grow together again. Only what
/// lies inside `mask` counts.
class CellSearch {
 public:
  static constexpr int kSearches = 3;

  CellSearch(const cv::Mat& lit, const cv::Mat& mask, const SearchParams& params);
  [[nodiscard]] FoundBlocks Next();

 private:
  SearchParams params_;
  cv::Mat lit_;   ///< eroded apart
  cv::Mat dark_;  ///< likewise
  int taken_;     ///< pixels that erosion took on each side
  bool begun_ = false;
};

}  // namespace dravix::checkerboard
