/// From loose rectangles to a grid of blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// Which rectangle is which block of the grid.
struct Placement {
  std::vector<std::int32_t> index;      ///< rectangle of each block, row by row; -1 for none
  int missing = 0;                      ///< blocks without a rectangle
  std::vector<std::size_t> wrongColor;  ///< rectangles whose color does not fit their place
  std::vector<std::size_t> beaten;      ///< rectangles at a place where there is a larger one
};

/// Matches rectangles, the first `litCount` of them lit, to a grid of `grid` columns and rows whose
/// cells are expected to have the size `cell`, on the lit area `mask`. Empty when they are no such
/// grid: the counts of columns or rows differ, colors do not alternate, more than a quarter of the
/// blocks is missing, a row or column has no block at all, or an outer block lies away from the
/// mask's edge.
[[nodiscard]] std::optional<Placement> PlaceInGrid(const std::vector<cv::Rect>& rects,
                                                   std::size_t litCount, cv::Size grid,
                                                   cv::Size2d cell,
                                                   const kernels::BitPicture& mask);

/// Adds to `rects` a rectangle for every missing block and completes `index`. Its left and right
/// edges are those of the nearest block of its column, its top and bottom those of the nearest
/// block of its row, where blocks of its own color come first.
void InferMissing(cv::Size grid, std::vector<cv::Rect>& rects, std::vector<std::int32_t>& index);

}  // namespace dravix::checkerboard
