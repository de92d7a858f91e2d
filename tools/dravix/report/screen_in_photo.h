/// Where a photograph shows the LEDs of a screen, for drawing.
#pragma once

#include <dravix/lab/unmix.h>

#include <array>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::tool {

/// A part of the screen that is flat enough for a perspective.
struct ScreenPatch {
  cv::Rect2d leds;            ///< LED number n reaches from n to n + 1
  cv::Matx33d photoFromLeds;  ///< to photograph pixels
};

class ScreenInPhoto {
 public:
  /// A flat screen between its corners in the photograph: top-left first and clockwise.
  ScreenInPhoto(cv::Size leds, const std::array<cv::Point2d, 4>& corners);
  /// One that the lens bends: places from one side of the screen to the other, row by row, at least
  /// 2 x 2 of them. Between four neighbors the screen is taken to be flat.
  ScreenInPhoto(cv::Size leds, const std::vector<lab::KnownPlace>& places);

  [[nodiscard]] cv::Size Leds() const { return leds_; }
  [[nodiscard]] const std::vector<ScreenPatch>& Patches() const { return patches_; }
  /// Photograph pixels of a place on the screen.
  [[nodiscard]] cv::Point2d At(cv::Point2d led) const;

 private:
  cv::Size leds_;
  std::vector<ScreenPatch> patches_;
};

/// The image of a point under a perspective.
[[nodiscard]] cv::Point2d Mapped(const cv::Matx33d& map, cv::Point2d point);

}  // namespace dravix::tool
