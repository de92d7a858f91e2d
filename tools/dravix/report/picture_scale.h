/// Matrices of measurements as pictures in false colours, with a scale that says what they mean.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::tool {

struct FalseColour {
  std::string title;
  std::string unit;        ///< behind the numbers of the scale, "" for none
  double low = 0;          ///< shown in the scale's first colour, and all below it
  double high = 1;         ///< shown in its last colour, and all above it
  bool diverging = false;  ///< blue, white, red instead of dark to bright: for differences
};

/// Low and high from the values: their smallest and largest, without the outermost 0.1 % on either
/// side (a few hot LEDs would leave no colours for the rest).
[[nodiscard]] FalseColour ScaleOf(const cv::Mat& values, const std::string& title);

/// The values, enlarged to be seen, under their title and beside their scale. CV_8UC3.
[[nodiscard]] cv::Mat FalseColourPicture(const cv::Mat& values, const FalseColour& how);

/// The values alone, one pixel each, in the scale's colours. CV_8UC3.
[[nodiscard]] cv::Mat FalseColours(const cv::Mat& values, const FalseColour& how);

/// Pictures side by side on white.
[[nodiscard]] cv::Mat SideBySide(const std::vector<cv::Mat>& pictures);
[[nodiscard]] cv::Mat OneAboveTheOther(const std::vector<cv::Mat>& pictures);

/// A picture under a title, on white.
[[nodiscard]] cv::Mat Titled(const cv::Mat& picture, const std::string& title);

}  // namespace dravix::tool
