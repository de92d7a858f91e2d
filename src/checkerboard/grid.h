/// From loose rectangles to a grid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

namespace dravix::checkerboard {

struct Placement {
  std::vector<std::int32_t> index;   ///< rectangle of each grid position, row by row; -1: none
  int missing = 0;                   ///< positions without one
  std::vector<std::size_t> noPlace;  ///< rectangles whose colour does not fit their place
  std::vector<std::size_t> twice;    ///< rectangles beaten by a larger one at the same place
};

/// Matches rectangles, the first `litCount` of them lit, to a grid of `grid` columns and rows whose
/// blocks are expected to have the size `cell`, on the LED area `mask`. Empty when they are no such
/// grid: other counts of columns or rows, colours that do not alternate, more than a quarter of the
/// blocks missing, or an outer block away from the mask's edge.
[[nodiscard]] std::optional<Placement> PlaceInGrid(const std::vector<cv::Rect>& rects,
                                                   std::size_t litCount, cv::Size grid,
                                                   cv::Size2d cell, const cv::Mat& mask);

/// Adds to `rects` a rectangle for every missing position, its left and right edges from the
/// nearest block of its column, its top and bottom from the nearest of its row, blocks of its own
/// colour first; `index` is complete afterwards.
void InferMissing(cv::Size grid, std::vector<cv::Rect>& rects, std::vector<std::int32_t>& index);

}  // namespace dravix::checkerboard
