/// Values as a person writes them on the command line.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::tool {

/// "256x128". Fails as wrong usage that names the option on anything else, and on a side below 1.
[[nodiscard]] cv::Size ParseSize(const std::string& option, const std::string& text);
/// "-3,16": a place in whole numbers. Fails as wrong usage that names the option on anything else.
[[nodiscard]] cv::Point ParsePosition(const std::string& option, const std::string& text);
/// Four points "x,y". Coordinates with decimals are rounded.
[[nodiscard]] std::vector<cv::Point> ParseCorners(const std::string& option,
                                                  const std::vector<std::string>& texts);
/// "CIE_Y", "cam-rgb" and so on as a ShotType.
[[nodiscard]] std::uint32_t ParseType(const std::string& option, const std::string& text);
/// The name of a ShotType, or its number.
[[nodiscard]] std::string TypeName(std::uint32_t type);
/// OpenCV's code for demosaicing with red as the first plane, from the colors of the sensor's first
/// two rows ("rggb"), OpenCV's name ("bayer-bg") or the code itself.
[[nodiscard]] int ParseMosaic(const std::string& option, const std::string& text);
/// "16-bit unsigned, 3 channels"
[[nodiscard]] std::string PixelText(int cvType);
/// "256 x 128"
[[nodiscard]] std::string SizeText(cv::Size size);
/// A number as people read it: 6 digits, no trailing zeros.
[[nodiscard]] std::string NumberText(double value);
/// "x,y x,y x,y x,y", as --corners takes it.
[[nodiscard]] std::string CornersText(const std::vector<cv::Point>& corners);

}  // namespace dravix::tool
