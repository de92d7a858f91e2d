/// Blocks found as outlines in a black-and-white picture.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/checkerboard.h"
#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// Lengths in working-image pixels.
struct SearchParams {
  int kernel = 0;      ///< side of the square that closes, opens and erodes; odd
  double minArea = 0;  ///< smaller rectangles, in pixels, are no blocks
  double maxArea = 0;  ///< larger ones neither
};

/// What one search found, each block as its bounding rectangle.
struct FoundBlocks {
  std::vector<cv::Rect> lit;
  std::vector<cv::Rect> dark;
  std::vector<CheckerboardDetector::Rejected> rejected;
};

/// Up to three searches in one black-and-white picture, `lit`, which is white where a block is lit.
/// Only what lies inside `mask`, which has the same size, counts. Before the second and the
/// third search, what erosion left is dilated, so that blocks in pieces grow together again.
class CellSearch {
 public:
  static constexpr int kSearches = 3;

  CellSearch(const kernels::BitPicture& lit, const kernels::BitPicture& mask,
             const SearchParams& params);
  /// The next search.
  [[nodiscard]] FoundBlocks Next();

 private:
  SearchParams params_;
  kernels::BitPicture lit_;   ///< lit blocks, eroded until they no longer touch
  kernels::BitPicture dark_;  ///< dark blocks, likewise
  int taken_;                 ///< pixels by which erosion has moved each side of a block inward
  bool begun_ = false;
};

}  // namespace dravix::checkerboard
