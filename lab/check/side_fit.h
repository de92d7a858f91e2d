/// The sides of a lit area, measured in a melted picture.
#pragma once

#include <opencv2/core.hpp>

#include "lab/check/outline.h"

namespace dravix::lab {

/// Moves rough corners to where the light falls to half. `melted` is a picture in which single LEDs
/// do not show, melted by a Gaussian of `sigma` pixels; `dark` is the level of the surroundings.
/// Sides along which no edge is seen stay where they are.
[[nodiscard]] Outline FitSides(const cv::Mat1f& melted, const Corners& rough, double sigma,
                               double dark);

}  // namespace dravix::lab
