#include "terminal/text_values.h"

#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// The number that the whole text is; empty when it is anything else.
template <class T>
std::optional<T> Number(std::string_view text) {
  T value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// The text in lower case, with '_' in place of '-'.
std::string Plain(std::string_view text) {
  std::string plain(text);
  std::transform(plain.begin(), plain.end(), plain.begin(), [](unsigned char c) {
    if (c == '-') return '_';
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return plain;
}

std::optional<cv::Point> PointOf(std::string_view text) {
  const auto comma = text.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const auto x = Number<double>(text.substr(0, comma));
  const auto y = Number<double>(text.substr(comma + 1));
  constexpr double kLargest = 1e6;
  if (!x || !y || !(std::abs(*x) <= kLargest) || !(std::abs(*y) <= kLargest)) return std::nullopt;
  return cv::Point(static_cast<int>(std::lround(*x)), static_cast<int>(std::lround(*y)));
}

struct NamedType {
  const char* name;
  std::uint32_t type;
};
constexpr std::array kTypes = {NamedType{"CIE_X", CIE_X}, NamedType{"CIE_Y", CIE_Y},
                               NamedType{"CIE_Z", CIE_Z}, NamedType{"CIE_XYZ", CIE_XYZ},
                               NamedType{"CAM_R", CAM_R}, NamedType{"CAM_G", CAM_G},
                               NamedType{"CAM_B", CAM_B}, NamedType{"CAM_RGB", CAM_RGB}};

struct NamedMosaic {
  const char* firstRows;   ///< colors of the sensor's first two rows
  const char* openCvName;  ///< the colors of the second and third pixel in the second row
  int code;
};
constexpr std::array kMosaics = {NamedMosaic{"rggb", "bayer_bg", cv::COLOR_BayerBG2RGB},
                                 NamedMosaic{"grbg", "bayer_gb", cv::COLOR_BayerGB2RGB},
                                 NamedMosaic{"bggr", "bayer_rg", cv::COLOR_BayerRG2RGB},
                                 NamedMosaic{"gbrg", "bayer_gr", cv::COLOR_BayerGR2RGB}};

}  // namespace

cv::Size ParseSize(const std::string& option, const std::string& text) {
  const auto cross = text.find_first_of("xX");
  if (cross != std::string::npos) {
    const std::string_view view = text;
    const auto width = Number<int>(view.substr(0, cross));
    const auto height = Number<int>(view.substr(cross + 1));
    if (width && height && *width >= 1 && *height >= 1) return {*width, *height};
  }
  throw Unexpected(option, InQuotes(text), "a size such as 256x128");
}

cv::Point ParsePosition(const std::string& option, const std::string& text) {
  const auto comma = text.find(',');
  if (comma != std::string::npos) {
    const std::string_view view = text;
    const auto x = Number<int>(view.substr(0, comma));
    const auto y = Number<int>(view.substr(comma + 1));
    if (x && y) return {*x, *y};
  }
  throw Unexpected(option, InQuotes(text), "a place such as 1920,0");
}

std::vector<cv::Point> ParseCorners(const std::string& option,
                                    const std::vector<std::string>& texts) {
  if (texts.size() != 4) {
    throw Unexpected(option, std::to_string(texts.size()) + " corners", "four");
  }
  std::vector<cv::Point> corners;
  for (const std::string& text : texts) {
    const auto point = PointOf(text);
    if (!point) {
      throw Unexpected(option, InQuotes(text), "a corner such as 120,45");
    }
    corners.push_back(*point);
  }
  return corners;
}

std::uint32_t ParseType(const std::string& option, const std::string& text) {
  for (const NamedType& known : kTypes) {
    if (Plain(known.name) == Plain(text)) return known.type;
  }
  std::string names;
  for (const NamedType& known : kTypes) names += std::string(" ") + known.name;
  throw Unexpected(option, InQuotes(text), "one of" + names);
}

std::string TypeName(std::uint32_t type) {
  for (const NamedType& known : kTypes) {
    if (known.type == type) return known.name;
  }
  return std::to_string(type);
}

int ParseMosaic(const std::string& option, const std::string& text) {
  for (const NamedMosaic& known : kMosaics) {
    if (Plain(text) == known.firstRows || Plain(text) == known.openCvName) return known.code;
  }
  if (const auto code = Number<int>(text); code && *code > 0) return *code;
  throw Unexpected(option, InQuotes(text),
                   "rggb, grbg, bggr or gbrg (the sensor's first two rows), "
                   "bayer-bg, bayer-gb, bayer-rg or bayer-gr (OpenCV's names), or OpenCV's code");
}

std::string PixelText(int cvType) {
  static constexpr std::array<const char*, 8> kDepths = {
      "8-bit unsigned", "8-bit signed", "16-bit unsigned", "16-bit signed",
      "32-bit signed",  "32-bit float", "64-bit float",    "16-bit float"};
  const int channels = CV_MAT_CN(cvType);
  return std::string(kDepths.at(static_cast<std::size_t>(CV_MAT_DEPTH(cvType)))) + ", " +
         std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

std::string SizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

std::string NumberText(double value) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%.6g", value);
  return text.data();
}

std::string CornersText(const std::vector<cv::Point>& corners) {
  std::string text;
  for (const cv::Point& corner : corners) {
    if (!text.empty()) text += ' ';
    text += std::to_string(corner.x) + ',' + std::to_string(corner.y);
  }
  return text;
}

}  // namespace dravix::tool
