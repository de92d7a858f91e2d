/// Where a point of the screen lands in the photograph.
#pragma once

#include <opencv2/core.hpp>

#include "sim/scene.h"

namespace dravix::sim {

/// A pinhole camera before a flat screen, with radial distortion about the photograph's middle: a
/// point at the distance r from the middle moves outward by r * distortion * (r / R)^2, where R is
/// the distance of the photograph's corner from its middle.
class Projection {
 public:
  explicit Projection(const Scene& scene) : Projection(scene, PhotoSizeOf(scene)) {}
  Projection(const Scene& scene, cv::Size photo);

  /// From LED units to photograph pixels.
  cv::Point2d ToPhoto(cv::Point2d led) const;
  /// From LED units to pixels from the photograph's middle, without distortion.
  cv::Point2d FromMiddle(cv::Point2d led) const;

 private:
  cv::Matx33d fromLed_;
  cv::Point2d middle_;
  double distortion_;     ///< shift at the photograph's corner, relative
  double cornerSquared_;  ///< R * R
};

}  // namespace dravix::sim
