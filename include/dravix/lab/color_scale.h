/// Pictures of matrices of measurements in false colors, with a scale that says what they mean.
#ifndef DRAVIX_LAB_COLOR_SCALE_H_
#define DRAVIX_LAB_COLOR_SCALE_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::lab {

/// How values become colors, and what is written beside them.
struct FalseColor {
  std::string title;
  std::string unit;        ///< follows every number of the scale; "" for none
  double low = 0;          ///< this value and all below it have the scale's first color
  double high = 1;         ///< this value and all above it have its last color; above `low`
  bool diverging = false;  ///< blue, white, red instead of dark to bright; for differences
  int copied = 0;          ///< rows and columns on each side to mark as copies, see copied_border.h
};

/// A scale whose ends are the smallest and the largest of the CV_32FC1 values. The outermost 0.1 %
/// on either side are left out, because a few hot LEDs would leave no colors for the rest.
[[nodiscard]] FalseColor ScaleOf(const cv::Mat& values, const std::string& title);

/// The values in colors, with their title above and their scale on the right, CV_8UC3. Matrices of
/// fewer than 1024 values a side are enlarged by a whole factor, so that every LED is a square.
/// A copied border is faded and hatched, a line separates it from the measured LEDs, and a line of
/// text below says what that means. No measured LED is covered. Values that are not finite are
/// gray, and the line says so. What stands around the values grows with them, so that letters can
/// be read when the picture is fitted to a screen, and numbers have the room that they need.
[[nodiscard]] cv::Mat FalseColorPicture(const cv::Mat& values, const FalseColor& how);

/// The CV_32FC1 values alone in the scale's colors, one pixel each, CV_8UC3; gray where not finite.
[[nodiscard]] cv::Mat FalseColors(const cv::Mat& values, const FalseColor& how);

/// One picture that shows all of them from left to right, on white.
[[nodiscard]] cv::Mat SideBySide(const std::vector<cv::Mat>& pictures);
/// One picture that shows all of them from top to bottom, on white.
[[nodiscard]] cv::Mat OneAboveTheOther(const std::vector<cv::Mat>& pictures);

/// The picture with a title above it, on white.
[[nodiscard]] cv::Mat Titled(const cv::Mat& picture, const std::string& title);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_COLOR_SCALE_H_
