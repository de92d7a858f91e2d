/// Where partitions of the screen meet.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// The outermost columns or rows that are compared on each side of a border. It is few, so that a
/// gradient across the screen does not look like a step.
inline constexpr int kMostBorderLines = 4;

/// Two rectangles of a list where one ends and the other one begins, along a piece that both have.
struct Border {
  std::size_t before = 0;  ///< place of the rectangle on the left or above
  std::size_t behind = 0;  ///< and of the other one
  bool vertical = true;    ///< between columns at - 1 and at; else between rows
  int at = 0;
  int begin = 0;  ///< the piece: rows, of a vertical border, or columns [begin, end)
  int end = 0;
};

/// All borders, vertical ones first. Stops with an incomplete list once it has `most`.
[[nodiscard]] std::vector<Border> BordersOf(const std::vector<cv::Rect>& rectangles,
                                            std::size_t most);

/// Each rectangle once.
[[nodiscard]] std::vector<cv::Rect> Distinct(std::vector<cv::Rect> rectangles);

}  // namespace dravix::lab
