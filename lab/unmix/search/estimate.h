/// Spot, grid, background and noise, estimated from the photograph itself.
#pragma once

#include <dravix/lab/unmix.h>

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
  SpotField field;          ///< how `spot`, the mean, changes over the screen
  double emitter = 0;       ///< side of the emitter, pixels
  double background = 0;    ///< level of the photograph without light
  double residual = 0;      ///< standard deviation of what the fit leaves over, per pixel
  double litNoise = 0;      ///< the same inside the screen alone, where light brings its own noise
  double noise = 0;         ///< standard deviation of the sensor's noise in the same pixels
  double freedom = 0;       ///< degrees of freedom in these pixels
  double smallestGain = 0;  ///< SmallestGain of the blocks
};

/// What is expected of the photograph.
struct Expectation {
  Grid grid;         ///< its corners may be off by more than a pitch
  double pitch = 0;  ///< from LED to LED, lit or not, in the screen's middle; pixels
  std::optional<KnownSpot> spot = {};
};

/// Where the outline puts the grid, and the level beside it.
struct Outlined {
  Grid grid;
  double background = 0;
};
[[nodiscard]] Outlined OutlinedOf(const cv::Mat1f& photo, const Grid& given);

/// Estimates all of it. Empty where the photograph is dark.
[[nodiscard]] std::optional<Estimate> EstimateOf(const Resolutions& resolutions,
                                                 const Expectation& expected);

/// The spot that another photograph shows.
struct SpotEstimate {
  KnownSpot known;
  SpotShape spot;   ///< that of `known`
  double move = 0;  ///< the farthest that the grid moved from where it was, along an axis; pixels
  double residual = 0;  ///< as in Estimate
  double noise = 0;     ///< as in Estimate
};

/// Estimates the spot from a photograph whose LEDs lie on the outlined grid: those of a
/// checkerboard
/// (`lit` is 255 where they are lit, else 0) or, without `lit`, ones that lie apart. Empty where it
/// is dark.
[[nodiscard]] std::optional<SpotEstimate> SpotEstimateOf(const Resolutions& resolutions,
                                                         const Outlined& outlined, double pitch,
                                                         const cv::Mat1b& lit);

}  // namespace dravix::lab::unmix
