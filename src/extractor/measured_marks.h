/// The matrix that stands beside the luminances of a result.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::extractor {

/// CV_8UC1 of that size, every element 2: the value that hosts find there after a measurement.
[[nodiscard]] inline cv::Mat MeasuredMarks(cv::Size size) {
  constexpr int kMeasured = 2;
  return {size, CV_8UC1, cv::Scalar(kMeasured)};
}

}  // namespace dravix::extractor
