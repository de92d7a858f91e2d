#include "photographs/formats/sample_levels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace dravix::tool {
namespace {

template <class T>
void TakeOff(const BlackLevel& black, cv::Mat& samples) {
  const auto planes = static_cast<std::size_t>(samples.channels());
  const auto columns = static_cast<std::size_t>(black.columns);
  const auto width = static_cast<std::size_t>(samples.cols);
  std::vector<std::int64_t> levels(width * planes);
  for (int y = 0; y < samples.rows; ++y) {
    const std::size_t first = static_cast<std::size_t>(y % black.rows) * columns;
    for (std::size_t x = 0; x < width; ++x) {
      for (std::size_t p = 0; p < planes; ++p) {
        const auto blackPlanes = static_cast<std::size_t>(black.planes);
        const double level =
            black.values[(first + x % columns) * blackPlanes + std::min(p, blackPlanes - 1)];
        constexpr double kMost = 65536;
        levels[x * planes + p] = std::llround(std::clamp(level, -kMost, kMost));
      }
    }
    T* row = samples.ptr<T>(y);
    for (std::size_t i = 0; i < levels.size(); ++i) {
      row[i] = cv::saturate_cast<T>(static_cast<int>(row[i]) - static_cast<int>(levels[i]));
    }
  }
}

}  // namespace

cv::Mat WithoutBlack(const cv::Mat& samples, const BlackLevel& black) {
  cv::Mat lowered = samples.clone();
  if (lowered.depth() == CV_8U) {
    TakeOff<unsigned char>(black, lowered);
  } else {
    TakeOff<std::uint16_t>(black, lowered);
  }
  return lowered;
}

cv::Mat Stretched(const cv::Mat& samples, bool linear) {
  cv::Mat table(1, 256, CV_16UC1);
  for (int i = 0; i < 256; ++i) {
    const double share = i / 255.0;
    // The inverse of sRGB's transfer curve, IEC 61966-2-1.
    const double light = share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    table.at<std::uint16_t>(0, i) =
        static_cast<std::uint16_t>(std::lround(65535 * (linear ? light : share)));
  }
  cv::Mat stretched(samples.size(), CV_16UC(samples.channels()));
  const int width = samples.cols * samples.channels();
  for (int y = 0; y < samples.rows; ++y) {
    const auto* from = samples.ptr<unsigned char>(y);
    auto* to = stretched.ptr<std::uint16_t>(y);
    for (int x = 0; x < width; ++x) to[x] = table.at<std::uint16_t>(0, from[x]);
  }
  return stretched;
}

cv::Mat MeanOfPlanes(const cv::Mat& samples) {
  std::vector<cv::Mat> planes;
  cv::split(samples, planes);
  // The sum of three 16-bit samples needs wider ones.
  cv::Mat sum = cv::Mat::zeros(samples.size(), CV_32F);
  for (const cv::Mat& plane : planes) {
    cv::Mat wide;
    plane.convertTo(wide, CV_32F);
    sum += wide;
  }
  cv::Mat mean;
  sum.convertTo(mean, CV_16U, 1.0 / static_cast<double>(planes.size()));
  return mean;
}

}  // namespace dravix::tool
