/// The picture that support asks for first: what was measured, over what was photographed.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::tool {

/// Where blocks meet, in LEDs.
struct BlockGrid {
  cv::Size leds;
  cv::Size blocks;        ///< empty: lines at eighths of the screen
  cv::Size last{-1, -1};  ///< LEDs of the last column and row where they are narrower, else -1
};

/// Columns (or rows) of LEDs at which blocks begin, with both ends: 0, 8, 16, ..., count.
[[nodiscard]] std::vector<int> BlockEdges(int count, int blocks, int last);

/// Photograph (and checkerboard, where there is one) with outline and grid, and beside them the
/// luminances in false colours, laid back into the same pose. Reduced to a handy size.
[[nodiscard]] cv::Mat MeasurementOverlay(const cv::Mat& photo, const cv::Mat& board,
                                         const std::vector<cv::Point>& corners,
                                         const cv::Mat& luminances, const BlockGrid& grid);

}  // namespace dravix::tool
