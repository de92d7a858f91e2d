#include "report/screen_in_photo.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

namespace dravix::tool {
namespace {

/// The patch between two opposite corners of a rectangle of LEDs.
ScreenPatch PatchOf(cv::Point2d from, cv::Point2d to, const std::array<cv::Point2d, 4>& corners) {
  // Only this type has a perspective of four points; it is exact to a thousandth of a pixel.
  const std::array<cv::Point2f, 4> leds = {cv::Point2f(from),
                                           cv::Point2f(cv::Point2d(to.x, from.y)), cv::Point2f(to),
                                           cv::Point2f(cv::Point2d(from.x, to.y))};
  std::array<cv::Point2f, 4> photo;
  std::copy(corners.begin(), corners.end(), photo.begin());
  return {{from, to}, cv::getPerspectiveTransform(leds.data(), photo.data())};
}

}  // namespace

ScreenInPhoto::ScreenInPhoto(cv::Size leds, const std::array<cv::Point2d, 4>& corners)
    : leds_(leds), patches_{PatchOf({0, 0}, cv::Point2d(leds.width, leds.height), corners)} {}

ScreenInPhoto::ScreenInPhoto(cv::Size leds, const std::vector<lab::KnownPlace>& places)
    : leds_(leds) {
  const auto nextRow = std::find_if(places.begin(), places.end(), [&](const lab::KnownPlace& p) {
    return p.led.y > places.front().led.y;
  });
  const auto columns = static_cast<std::size_t>(nextRow - places.begin());
  CV_Assert(columns >= 2 && places.size() % columns == 0 && places.size() >= 2 * columns);
  for (std::size_t row = 0; row + columns < places.size(); row += columns) {
    for (std::size_t i = row; i + 1 < row + columns; ++i) {
      const lab::KnownPlace& first = places[i];
      const lab::KnownPlace& last = places[i + columns + 1];
      patches_.push_back(
          PatchOf(first.led, last.led,
                  {first.photo, places[i + 1].photo, last.photo, places[i + columns].photo}));
    }
  }
}

cv::Point2d ScreenInPhoto::At(cv::Point2d led) const {
  // Right and lower borders belong to the patch that ends there.
  const auto holds = [led](const ScreenPatch& patch) {
    return led.x <= patch.leds.x + patch.leds.width && led.y <= patch.leds.y + patch.leds.height;
  };
  const auto found = std::find_if(patches_.begin(), patches_.end(), holds);
  const ScreenPatch& patch = found == patches_.end() ? patches_.back() : *found;
  return Mapped(patch.photoFromLeds, led);
}

cv::Point2d Mapped(const cv::Matx33d& map, cv::Point2d point) {
  const cv::Vec3d v = map * cv::Vec3d(point.x, point.y, 1);
  return {v[0] / v[2], v[1] / v[2]};
}

}  // namespace dravix::tool
