/// Spots of light at their exact places, whose blur may grow toward the photograph's corners.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "sim/kernel.h"
#include "sim/scene.h"

namespace dravix::sim {

/// Draws the spots of a scene with Optics::fineSpots.
///
/// A SpotKernel has a table for each of a few places inside a pixel, and rounding a center to the
/// nearest of them moves a spot by up to 1/32 pixel. Whoever estimates each LED's own light from
/// the photograph would see that as an error of up to 1 %. Here the four nearest places are
/// blended, which only widens a spot by 1/40 pixel (root of the sum of squares). A blur that varies
/// is blended between the two nearest of a few spots in the same way.
class FineSpots {
 public:
  FineSpots(const Scene& scene, cv::Size photo);

  /// Adds one spot of `flux` with its center at `at`. Light that falls outside the sensor is lost.
  void Add(cv::Point2d at, double flux, cv::Mat& light);

 private:
  void Draw(const SpotKernel& kernel, cv::Point2d at, double flux, cv::Mat& light) const;

  std::vector<SpotKernel> kernels_;  ///< from the photograph's middle to its corner
  cv::Point2d middle_;
  double cornerSquared_;  ///< of the distance from the middle to a corner, pixels
};

}  // namespace dravix::sim
