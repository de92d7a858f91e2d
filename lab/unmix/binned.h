/// A photograph with larger pixels.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::lab::unmix {

/// Means over squares of `side` x `side` pixels. What is left over at the right and below is cut
/// off. The pixel at x shows the place side * x + (side - 1) / 2 of the photograph.
[[nodiscard]] cv::Mat1f Binned(const cv::Mat1f& photo, int side);

}  // namespace dravix::lab::unmix
