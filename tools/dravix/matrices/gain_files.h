/// Integer gains of LEDs as controllers take them.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::tool {

/// Little-endian 16-bit numbers, rows from the top, without a header. CV_16UC1.
void WriteGainsBin(const std::string& name, const cv::Mat& gains);
/// One line per row, numbers separated by commas. CV_16UC1.
void WriteGainsCsv(const std::string& name, const cv::Mat& gains);

}  // namespace dravix::tool
