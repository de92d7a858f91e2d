/// A picture for finding out why a measurement looks wrong: it lays what was measured over what was
/// photographed.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "report/screen_in_photo.h"

namespace dravix::tool {

/// Where the grid's lines are drawn, in LEDs.
struct BlockGrid {
  cv::Size blocks;        ///< across and down; empty: lines at eighths of the screen
  int copied = 0;         ///< rows and columns on each side that are copies, see copied_border.h
  cv::Size last{-1, -1};  ///< LEDs of the last column's and row's blocks; -1: as the others
};

/// The LED columns (or rows) at which blocks begin and the last one ends: 0, 8, 16, ..., `count`.
/// `last` is the side of the last block, -1 where it is like the others.
[[nodiscard]] std::vector<int> BlockEdges(int count, int blocks, int last);

/// The photograph (and the checkerboard, unless `board` is empty) with the lit area's outline and
/// the grid, and beside them the luminances in false colors, warped to where the photograph shows
/// them. A line runs inside the LEDs that are copies. Each of the pictures has at most 1100 pixels
/// a side.
[[nodiscard]] cv::Mat MeasurementOverlay(const cv::Mat& photo, const cv::Mat& board,
                                         const ScreenInPhoto& screen, const cv::Mat& luminances,
                                         const BlockGrid& grid);

}  // namespace dravix::tool
