/// Measured screens for the tests of the report.
#pragma once

#include <dravix/lab/report.h>

#include <opencv2/core.hpp>
#include <string>

namespace dravix::lab {

inline cv::Mat1f Noise(cv::Size size, double mean, double deviation, unsigned seed = 1) {
  cv::Mat1f matrix(size);
  cv::RNG rng(seed);
  rng.fill(matrix, cv::RNG::NORMAL, mean, deviation);
  return matrix;
}

inline ReportInput InputOf(const cv::Mat& values, const std::string& file = "screen.lum",
                           const AnalysisOptions& options = {}) {
  ReportInput input;
  input.file = file;
  input.values = values;
  input.options = options;
  input.analysis = Analyze(values, options);
  return input;
}

}  // namespace dravix::lab
