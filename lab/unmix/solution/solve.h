/// Each LED's luminance, once spot and grid are known, and how well it is known.
#pragma once

#include <opencv2/core.hpp>

#include "lab/unmix/search/estimate.h"

namespace dravix::lab::unmix {

struct Solution {
  cv::Mat1f luminances;  ///< over the background, as an even screen of that luminance would look
  double mean = 0;       ///< of the cells, over the background
  double scatter = 0;    ///< standard deviation of LEDs about the smoothed level, like luminances
  double noiseGain = 0;  ///< standard deviation of a luminance's noise over that of a cell mean's
  double contrastSeen = 0;  ///< share of the LEDs' differences that the photograph shows
  double plainError = 0;    ///< RMS error of cell means, like luminances
  double deviation = 0;     ///< RMS error of the luminances by noise and by what is not seen
  cv::Mat1f relative;       ///< by LED: its error over `deviation`; 1 where all spots are equal
};

/// `centers` are those of the estimate's grid.
[[nodiscard]] Solution SolutionOf(const cv::Mat1f& photo, const Estimate& estimate,
                                  const Centers& centers);

}  // namespace dravix::lab::unmix
