/// When an answer would be wrong however good it looks.
#pragma once

#include <dravix/lab/unmix.h>

#include <opencv2/core.hpp>
#include <optional>

#include "lab/unmix/search/estimate.h"

namespace dravix::lab::unmix {

/// Samples at the sensor's top in the lit area.
struct Saturation {
  double top = 0;    ///< the sample that counts as full, and all above it
  double share = 0;  ///< of the lit area's samples
};
[[nodiscard]] Saturation SaturationOf(const cv::Mat1f& photo, const UnmixOptions& options);
[[nodiscard]] bool IsTooMuch(const Saturation& saturation);

/// How far the LEDs lie from other signs of where they should be, pitches along an axis.
struct Moves {
  double corners = 0;  ///< the screen's corners from the given ones
  double blocks = 0;   ///< a block's middle from where the outline put it
  double outline = 0;  ///< where the light ends from a side of the grid; NaN where that is not seen
};
[[nodiscard]] Moves MovesOf(const cv::Mat1f& photo, const Grid& given, const Estimate& estimate);

/// The refusal of a known spot that is not the photograph's: with it the fit is worse than `alone`,
/// the one without it, by more than noise explains, and its width is another.
[[nodiscard]] std::optional<UnmixRefused> KnownSpotRefusal(const Estimate& alone,
                                                           const Estimate& with,
                                                           const KnownSpot& known);

/// What the fit leaves over and what the sensor's noise explains of it: standard deviations of a
/// pixel.
struct Misfit {
  double residual = 0;
  double noise = 0;
};

/// The first reason against the answer, or none.
[[nodiscard]] std::optional<UnmixRefused> RefusalOf(const Unmixed& unmixed, const Misfit& misfit,
                                                    const Saturation& saturation,
                                                    const Moves& moves);

}  // namespace dravix::lab::unmix
