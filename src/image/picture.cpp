#include "image/picture.h"

#include <array>
#include <opencv2/imgproc.hpp>

namespace dravix::image {
namespace {

constexpr float kWhite = 255.0F;

}  // namespace

std::int32_t FullScale(std::int32_t camType) {
  constexpr std::uint32_t kShiftBits = 31;
  const auto bits = static_cast<std::uint32_t>(camType % 100);
  return static_cast<std::int32_t>((std::uint32_t{1} << (bits & kShiftBits)) - 1);
}

cv::Mat ToImage(const cv::Mat& source, std::int32_t maxValue, int channels) {
  cv::Mat picture;
  if (maxValue > 0) {
    const float scale = kWhite / static_cast<float>(maxValue);
    source.convertTo(picture, CV_8U, static_cast<double>(scale));
  } else {
    cv::normalize(source, picture, static_cast<double>(kWhite), 0, cv::NORM_INF, CV_8U);
  }
  if (channels == 1 && picture.channels() > 1) {
    cv::cvtColor(picture, picture, cv::COLOR_BGR2GRAY);
  } else if (channels == 3 && picture.channels() == 1) {
    cv::cvtColor(picture, picture, cv::COLOR_GRAY2BGR);
  }
  return picture;
}

cv::Mat InChannels(const cv::Mat& gray, std::int32_t color) {
  const cv::Mat dark = cv::Mat::zeros(gray.size(), gray.type());
  std::array<cv::Mat, 3> planes;
  auto bits = static_cast<std::uint32_t>(color);
  for (cv::Mat& plane : planes) {
    plane = (bits & 1U) != 0 ? gray : dark;
    bits >>= 1U;
  }
  cv::Mat picture;
  cv::merge(planes, picture);
  return picture;
}

}  // namespace dravix::image
