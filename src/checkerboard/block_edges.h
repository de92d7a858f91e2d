/// Where exactly two blocks meet.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "checkerboard/rectified.h"

namespace dravix::checkerboard {

/// Moves the edges between neighbouring blocks to where the light of the checkerboard, divided by
/// that of the measured picture, crosses the middle between the two blocks' own levels. Outlines at
/// one level for all blocks have their edges too far out around bright blocks and too far in around
/// dim ones: 3 pixels and more where lit blocks differ by a factor of 3, 2 at a contrast of 8 to 1.
///
/// `index` is complete, `rects` are the blocks as found. An edge beside a dead block, where there
/// is nothing to see, goes where the edges of the same line of the grid above and below say. Outer
/// edges stay.
void PlaceEdges(const Rectified& pictures, cv::Size grid, const std::vector<std::int32_t>& index,
                std::vector<cv::Rect>& rects);

}  // namespace dravix::checkerboard
