/// How the blocks of a grid are numbered, and how they are read along either axis.
///
/// Lists with one entry for each block hold the grid row by row:
///
///       column 0   1   2
///     row 0    0   1   2      the entries of a grid of 3 x 2 blocks
///     row 1    3   4   5
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/geometry/span.h"

namespace dravix::checkerboard {

/// The entry of a block in a list that holds a grid with that many columns.
[[nodiscard]] constexpr std::size_t GridIndex(int column, int row, int columns) {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
         static_cast<std::size_t>(column);
}

/// The entries of the blocks at one side of the grid: along x its first or last column, along y its
/// first or last row.
[[nodiscard]] inline std::vector<std::size_t> OuterBlocks(cv::Size grid, Axis axis, End end) {
  const int outermost = end == End::kFirst ? 0 : Along(grid, axis) - 1;
  const int count = Along(grid, Other(axis));
  std::vector<std::size_t> blocks;
  blocks.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    blocks.push_back(axis == Axis::kX ? GridIndex(outermost, i, grid.width)
                                      : GridIndex(i, outermost, grid.width));
  }
  return blocks;
}

/// A complete grid: every block has a rectangle in the working image. Owns nothing.
struct Grid {
  cv::Size size;  ///< columns, rows
  const std::vector<cv::Rect>& rects;
  const std::vector<std::int32_t>& index;  ///< into rects, one for each block, all valid

  /// The block's entry in `rects`.
  [[nodiscard]] std::size_t RectIndex(int column, int row) const {
    return static_cast<std::size_t>(index[GridIndex(column, row, size.width)]);
  }
  [[nodiscard]] const cv::Rect& At(int column, int row) const {
    return rects[RectIndex(column, row)];
  }
};

/// True for a block of the first or last row or column.
[[nodiscard]] inline bool IsBorder(cv::Size grid, int column, int row) {
  return column == 0 || row == 0 || column == grid.width - 1 || row == grid.height - 1;
}

/// A grid read along x, line by line, or along y, column by column. `along` counts the blocks on
/// the axis, `across` the lines beside each other.
class GridAlong {
 public:
  GridAlong(const Grid& grid, Axis axis) : grid_(grid), axis_(axis) {}

  [[nodiscard]] Axis Direction() const { return axis_; }
  [[nodiscard]] int BlocksAlong() const { return Along(grid_.size, axis_); }
  [[nodiscard]] int BlocksAcross() const { return Along(grid_.size, Other(axis_)); }
  [[nodiscard]] std::size_t RectIndex(int along, int across) const {
    return axis_ == Axis::kX ? grid_.RectIndex(along, across) : grid_.RectIndex(across, along);
  }
  [[nodiscard]] const cv::Rect& At(int along, int across) const {
    return grid_.rects[RectIndex(along, across)];
  }
  /// Where the block begins and ends on the axis.
  [[nodiscard]] Span SpanAt(int along, int across) const {
    return SpanOf(At(along, across), axis_);
  }

 private:
  Grid grid_;
  Axis axis_;
};

}  // namespace dravix::checkerboard
