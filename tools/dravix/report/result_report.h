/// The numbers that an engineer wants to see first of a matrix of luminances, and how they are
/// printed.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "terminal/console.h"

namespace dravix::tool {

struct Statistics {
  cv::Size leds;
  double mean = 0;
  double minimum = 0;
  double maximum = 0;
  double deviation = 0;   ///< standard deviation over all LEDs
  double minOverMax = 0;  ///< uniformity of single LEDs
  double ninePoint = 0;   ///< smallest over largest of the means of a 3 x 3 division
  double spread = 0;      ///< deviation / mean; 0 when the mean is not positive
};

inline constexpr const char* kUniformityHelp =
    "Uniformity is given twice: \"nine-point\" divides the screen into 3 x 3 equal fields and is "
    "the smallest field mean over the largest; \"min/max\" is the darkest LED over the brightest. "
    "Spread is the standard deviation over the mean.";

/// The statistics of a CV_32FC1 matrix that is not empty.
[[nodiscard]] Statistics StatisticsOf(const cv::Mat& luminances);
[[nodiscard]] Json StatisticsJson(const Statistics& statistics);
/// One line "name  value" for each of them, ready to print.
[[nodiscard]] std::string StatisticsText(const Statistics& statistics);

/// "label        value\n". The values of one report begin in the same column.
[[nodiscard]] std::string ReportLine(const std::string& label, const std::string& value);
/// "12.34 %" for 0.1234.
[[nodiscard]] std::string PercentText(double share);

}  // namespace dravix::tool
