/// Where exactly each block lies in the working image: its cell.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/geometry/sides.h"
#include "checkerboard/grid_view.h"

namespace dravix::checkerboard {

/// The block's cell by its own and its neighbors' rectangles: a bound between two blocks is the
/// mean of four edges, truncated; an outer bound is the rectangle's own.
[[nodiscard]] cv::Rect EstimatedCell(const Grid& grid, int column, int row);

/// The cells of all blocks, row by row: as estimated, but for the outer bounds. These become the
/// bounds of `mask` beside each block, which are looked for up to `reach` pixels beyond the
/// estimate, less `excess`, the pixels by which the mask's outline lies too far out. A bound that a
/// dead LED draws off the line through the bounds of its side is taken from that line.
[[nodiscard]] std::vector<cv::Rect> PlacedCells(const Grid& grid, cv::Size reach,
                                                const cv::Mat& mask, const Sides& excess = {});

/// Gives every column of a border block's cell some mask pixels, since each column is measured on
/// its own. The outline of the mask bends inward between two LEDs, and where a bound lies at its
/// mean, the columns there have no mask. Such a column takes the pixels of the nearest one that has
/// some. A cell without any mask, and one that is not all inside the mask's picture, stays as it
/// is.
void FillEmptyColumns(const cv::Rect& cell, cv::Mat& mask);

}  // namespace dravix::checkerboard
