/// Which LEDs a correction can work with.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

struct GoodLeds {
  cv::Mat values;               ///< as given; NaN where an LED is not good
  std::vector<cv::Point> dead;  ///< not above 0, or dead by the analysis; by row, then column
};

/// `values` are CV_32FC1 or CV_64FC1.
[[nodiscard]] GoodLeds GoodLedsOf(const cv::Mat& values);

}  // namespace dravix::lab
