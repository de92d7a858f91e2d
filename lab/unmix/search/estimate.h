/// Spot, grid, background and noise, estimated from the photograph itself.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "lab/unmix/model/binned.h"
#include "lab/unmix/model/grid.h"
#include "lab/unmix/model/spot.h"
#include "lab/unmix/model/spot_field.h"
#include "lab/unmix/search/block.h"

namespace dravix::lab::unmix {

struct Estimate {
  Grid grid;
  Grid outlined;  ///< where the outline put the grid before the LEDs were looked at
  SpotShape spot;
  SpotField field;        ///< how `spot`, the mean, changes over the screen
  double emitter = 0;     ///< side of the emitter, pixels
  double background = 0;  ///< level of the photograph without light
  double residual = 0;    ///< standard deviation of what the fit leaves over, per pixel
  double litNoise = 0;    ///< the same inside the screen alone, where light brings its own noise
  double noise = 0;       ///< standard deviation of the sensor's noise in the same pixels
};

/// Estimates all of it, starting from a grid whose corners may be off by more than a pitch. Empty
/// where the photograph is dark.
[[nodiscard]] std::optional<Estimate> EstimateOf(const Resolutions& resolutions, const Grid& given);

}  // namespace dravix::lab::unmix
