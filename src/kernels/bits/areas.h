/// What a black-and-white picture consists of, found by its runs: the white stretches of its rows.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "kernels/bits/bit_picture.h"

namespace dravix::kernels {

/// White areas whose pixels touch at sides or corners, and black ones enclosed by them.
struct Topology {
  int areas = 0;
  int holes = 0;
};
[[nodiscard]] Topology TopologyOf(const BitPicture& picture);

/// The bounding rectangles of all white areas that no other one encloses, in the order in which
/// cv::findContours lists their outlines: the area whose first pixel comes last, row by row, comes
/// first. Nothing where an area has a hole, in which others may lie.
[[nodiscard]] std::optional<std::vector<cv::Rect>> BoxesWithoutHoles(const BitPicture& picture);

/// Rows start to start + length - 1 of one column.
struct Stretch {
  int start = 0;
  int length = 0;  ///< 0 when the column has no white pixel
};
/// The first white pixels of each column from the top, up to the first black one below.
[[nodiscard]] std::vector<Stretch> FirstStretches(const BitPicture& picture);

}  // namespace dravix::kernels
