/// Pixels that are brighter than their neighborhood.
#pragma once

#include <opencv2/core.hpp>

#include "kernels/bits/bit_picture.h"

namespace dravix::region {

/// Side of the neighborhood in pixels: a few LEDs at the usual pitch.
constexpr int kNeighborhood = 41;

/// Sets the bits of `lit` where `gray` (CV_8UC1, of the same size) is above the rounded Gaussian
/// mean of its neighborhood: where cv::adaptiveThreshold with ADAPTIVE_THRESH_GAUSSIAN_C and the
/// constant 0 gives white. Bits that are set stay. `level`: the bits of all pixels above it are set
/// already, so that nobody needs to look at those.
void AddBrighterThanAround(const cv::Mat& gray, int level, kernels::BitPicture& lit);

}  // namespace dravix::region
