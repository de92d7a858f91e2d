/// When an answer would be wrong however good it looks.
#pragma once

#include <dravix/lab/unmix.h>

#include <opencv2/core.hpp>
#include <optional>

#include "lab/unmix/estimate.h"

namespace dravix::lab::unmix {

/// Samples at the sensor's top in the lit area.
struct Saturation {
  double top = 0;    ///< the sample that counts as full, and all above it
  double share = 0;  ///< of the lit area's samples
};
[[nodiscard]] Saturation SaturationOf(const cv::Mat1f& photo, const UnmixOptions& options);
[[nodiscard]] bool IsTooMuch(const Saturation& saturation);

/// The farthest move of a block's middle from where the corners put it, along an axis; pitches.
[[nodiscard]] double FarthestMove(const Grid& given, const Grid& found);

/// What the fit leaves over and what the sensor's noise explains of it: standard deviations of a
/// pixel.
struct Misfit {
  double residual = 0;
  double noise = 0;
};

/// The first reason against the answer, or none.
[[nodiscard]] std::optional<UnmixRefused> RefusalOf(const Unmixed& unmixed, const Misfit& misfit,
                                                    const Saturation& saturation,
                                                    double farthestMove);

}  // namespace dravix::lab::unmix
