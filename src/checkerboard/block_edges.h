/// Where exactly neighboring blocks meet.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/pictures/rectified.h"

namespace dravix::checkerboard {

/// Moves the edges between neighboring blocks to where the light of the checkerboard, divided by
/// that of the measured picture, crosses the middle between the two blocks' own levels. Outlines at
/// one level for all blocks put the edges too far out around bright blocks and too far in around
/// dim ones: by 3 pixels and more where lit blocks differ by a factor of 3, by 2 pixels at a
/// contrast of 8 to 1.
///
/// `rects` are the blocks as found, and `index` names one of them for each block of the grid, row
/// by row. An edge beside a dead block, where nothing is seen, goes where the other edges of its
/// line say. Outer edges stay.
void PlaceEdges(const Rectified& pictures, cv::Size grid, const std::vector<std::int32_t>& index,
                std::vector<cv::Rect>& rects);

}  // namespace dravix::checkerboard
