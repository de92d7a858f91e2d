/// The sensor's noise, told from the picture.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "lab/unmix/search/block.h"

namespace dravix::lab::unmix {

/// Root of the mean variance of the noise over the blocks' pixels.
///
/// It is taken from the highest spatial frequencies alone, by fourth differences along both axes. A
/// lens that blurs over a pixel or more lets nothing else through there. A photograph whose samples
/// were interpolated, scaled or compressed has less noise at these frequencies than elsewhere and
/// seems quieter than it is.
[[nodiscard]] double SensorNoise(const cv::Mat1f& photo, const Grid& grid,
                                 const std::vector<Block>& blocks);

}  // namespace dravix::lab::unmix
