/// The right side of the normal equations: what each LED's spot sees of the photograph.
#pragma once

#include <opencv2/core.hpp>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot_field.h"

namespace dravix::lab::unmix {

/// For each LED, the sum over the photograph of (sample - background) times the LED's spot, times
/// the area of its cell. Beyond the photograph there is nothing. It runs on several threads.
[[nodiscard]] cv::Mat1f SpotSums(const cv::Mat1f& photo, double background, const Centers& centers,
                                 const SpotFamily& spots);

}  // namespace dravix::lab::unmix
