#include "sim/projection.h"

#include <algorithm>

#include "sim/fixed_math.h"

namespace dravix::sim {
namespace {

/// From the part's LEDs, lit or not, to undistorted pixels from the photograph's middle. The third
/// row is the perspective: the distance of the point from the camera over that of the part's
/// middle.
cv::Matx33d FromPart(cv::Size part, const Pose& pose) {
  const SinCos x = FixedSinCos(pose.tiltX);
  const SinCos y = FixedSinCos(pose.tiltY);
  const SinCos roll = FixedSinCos(pose.roll);
  const double longer = std::max(part.width, part.height) * pose.pitch;
  const double distance = pose.distance * longer;

  // A screen point (u, v, 0) is turned about the horizontal axis and then about the vertical one.
  const double depthU = -y.sin;
  const double depthV = x.sin * y.cos;
  const double acrossU = y.cos;
  const double acrossV = x.sin * y.sin;
  const double downV = x.cos;
  const cv::Matx33d turned(acrossU, acrossV, 0,  //
                           0, downV, 0,          //
                           depthU / distance, depthV / distance, 1);
  const cv::Matx33d rolled(roll.cos, -roll.sin, pose.offset.x,  //
                           roll.sin, roll.cos, pose.offset.y,   //
                           0, 0, 1);
  const cv::Matx33d scaled(pose.pitch, 0, -0.5 * part.width * pose.pitch,   //
                           0, pose.pitch, -0.5 * part.height * pose.pitch,  //
                           0, 0, 1);
  return rolled * turned * scaled;
}

/// From LED units to the part's LEDs: the cells of lit LEDs are as wide as their distance, with the
/// LEDs in their middle.
cv::Matx33d PartFromLit(const Scene& scene) {
  const LitLeds lit = LitLedsOf(scene);
  const cv::Point first = lit.first - PartOf(scene).tl();
  return {1.0 * lit.step.x,
          0,
          first.x + 0.5 * (1 - lit.step.x),  //
          0,
          1.0 * lit.step.y,
          first.y + 0.5 * (1 - lit.step.y),  //
          0,
          0,
          1};
}

}  // namespace

Projection::Projection(const Scene& scene, cv::Size photo)
    : fromLed_(FromPart(PartOf(scene).size(), scene.pose) * PartFromLit(scene)),
      middle_(0.5 * (photo.width - 1), 0.5 * (photo.height - 1)),
      distortion_(scene.optics.distortion),
      cornerSquared_(middle_.x * middle_.x + middle_.y * middle_.y) {}

cv::Point2d Projection::FromMiddle(cv::Point2d led) const {
  const double w = fromLed_(2, 0) * led.x + fromLed_(2, 1) * led.y + fromLed_(2, 2);
  const double x = fromLed_(0, 0) * led.x + fromLed_(0, 1) * led.y + fromLed_(0, 2);
  const double y = fromLed_(1, 0) * led.x + fromLed_(1, 1) * led.y + fromLed_(1, 2);
  return {x / w, y / w};
}

cv::Point2d Projection::ToPhoto(cv::Point2d led) const {
  const cv::Point2d straight = FromMiddle(led);
  const double rr = straight.x * straight.x + straight.y * straight.y;
  const double stretch = 1.0 + distortion_ * (rr / cornerSquared_);
  return {middle_.x + straight.x * stretch, middle_.y + straight.y * stretch};
}

}  // namespace dravix::sim
