/// The part of the photograph for which gains are needed.
#pragma once

#include <dravix/lab/flat_field.h>

#include <array>
#include <opencv2/core.hpp>

#include "lab/unmix/model/grid.h"
#include "lab/unmix/refusals.h"

namespace dravix::lab::flat_field {

/// The LEDs of the area. Throws std::invalid_argument where the corners cannot be used.
[[nodiscard]] unmix::Grid GridOf(const FlatFieldArea& area);
/// Throws std::invalid_argument for an image that Unmix does not take.
[[nodiscard]] cv::Mat1f SamplesOf(const Shot& shot);
/// Saturated samples inside the corners.
[[nodiscard]] unmix::Saturation ClippedOf(const Shot& shot, const cv::Mat1f& samples,
                                          const std::array<cv::Point2d, 4>& corners);
/// Corners of the area, moved outward by so many LEDs.
[[nodiscard]] std::array<cv::Point2d, 4> GrownCorners(const unmix::Grid& grid, double leds);

/// Sets gains to their share of the mean over the area, and `lost`.
void Normalize(const unmix::Grid& grid, FlatField& field);

}  // namespace dravix::lab::flat_field
