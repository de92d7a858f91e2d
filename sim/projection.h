/// Where a point of the screen lands in the photograph.
#pragma once

#include <opencv2/core.hpp>

#include "sim/scene.h"

namespace dravix::sim {

/// Pinhole camera before a flat screen, then radial distortion about the photograph's middle:
/// a point at distance r is moved outwards by r * distortion * (r / R)^2, R the distance of the
/// photograph's corner.
class Projection {
 public:
  explicit Projection(const Scene& scene) : Projection(scene, PhotoSizeOf(scene)) {}
  Projection(const Scene& scene, cv::Size photo);

  /// LED units to photograph pixels.
  cv::Point2d ToPhoto(cv::Point2d led) const;
  /// Likewise, as an undistorting camera would see it, from the photograph's middle.
  cv::Point2d FromMiddle(cv::Point2d led) const;

 private:
  cv::Matx33d fromLed_;
  cv::Point2d middle_;
  double distortion_;     ///< relative
  double cornerSquared_;  ///< R * R
};

}  // namespace dravix::sim
