/// A photograph with larger pixels, for what needs no small ones.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::lab::unmix {

/// Means over squares of `side` x `side` pixels. What is left over at the right and below is cut
/// off. The pixel at x shows the place side * x + (side - 1) / 2 of the photograph.
[[nodiscard]] cv::Mat1f Binned(const cv::Mat1f& photo, int side);

/// A photograph as it is, and binned as far as its LEDs allow. Spots that can be un-mixed are so
/// wide that the binned one shows their light and places as well.
struct Resolutions {
  cv::Mat1f fine;
  cv::Mat1f coarse;  ///< `fine` itself where `binning` is 1
  int binning = 1;   ///< fine pixels along a side of a coarse one
};

/// Both, of a photograph of one plane whose LEDs are `pitch` pixels apart.
[[nodiscard]] Resolutions ResolutionsOf(const cv::Mat& photo, double pitch);

}  // namespace dravix::lab::unmix
