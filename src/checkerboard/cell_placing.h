/// Where exactly a block lies, from its own and its neighbours' rectangles.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/sides.h"

namespace dravix::checkerboard {

/// A complete grid of blocks, none of it owned.
struct Grid {
  cv::Size size;  ///< columns, rows
  const std::vector<cv::Rect>& rects;
  const std::vector<std::int32_t>& index;  ///< into rects, row by row, all valid

  const cv::Rect& At(int column, int row) const {
    const auto place = static_cast<std::size_t>(row) * static_cast<std::size_t>(size.width) +
                       static_cast<std::size_t>(column);
    return rects[static_cast<std::size_t>(index[place])];
  }
};

/// True for a block of the first or last row or column.
[[nodiscard]] inline bool IsBorder(const Grid& grid, int column, int row) {
  return column == 0 || row == 0 || column == grid.size.width - 1 || row == grid.size.height - 1;
}

/// The block's rectangle: inner bounds as the mean of four edges, outer ones as the rectangle's
/// own.
[[nodiscard]] cv::Rect EstimatedCell(const Grid& grid, int column, int row);

/// All blocks, row by row: as estimated, but for the outer bounds, which become those of `mask`
/// beside each block, looked for up to `reach` pixels beyond the estimate, less `excess`. A bound
/// that is off the line through those of its side, for the sake of a dead LED, is taken from that.
[[nodiscard]] std::vector<cv::Rect> PlacedCells(const Grid& grid, cv::Size reach,
                                                const cv::Mat& mask, const Sides& excess = {});

/// Gives every column of a border block mask pixels, since each is measured on its own: the outline
/// goes in between two LEDs, and a bound at its mean leaves columns there without any. Such a
/// column takes the pixels of the nearest one that has some. A block without mask, or one outside
/// it, stays.
void FillEmptyColumns(const cv::Rect& block, cv::Mat& mask);

}  // namespace dravix::checkerboard
