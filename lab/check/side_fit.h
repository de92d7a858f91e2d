/// The sides of a lit area, measured in a melted picture.
#pragma once

#include <array>
#include <opencv2/core.hpp>

#include "lab/check/outline.h"

namespace dravix::lab {

/// Moves rough corners to where the light falls to half. `melted` is a picture in which single LEDs
/// do not show, melted by a Gaussian of `sigma` pixels; `dark` is the level of the surroundings.
/// Sides along which no edge is seen stay where they are.
[[nodiscard]] Outline FitSides(const cv::Mat1f& melted, const Corners& rough, double sigma,
                               double dark);

/// For each straight side between the corners the share of lines across it along which the light
/// falls by at least `step`, and to half of it near the side.
[[nodiscard]] std::array<double, 4> FallShares(const cv::Mat1f& melted, const Corners& corners,
                                               double sigma, double step);

}  // namespace dravix::lab
