#include "lab/check/samples.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {
namespace {

constexpr int kLevels = 65536;

/// Bits of a sample: the last two decimal digits of the camera's type.
int BitsOf(const Shot& shot) {
  if (!shot.device || shot.device->cam_type <= 0) return 0;
  const int bits = shot.device->cam_type % 100;
  return bits >= 1 && bits <= 16 ? bits : 0;
}

/// The brightest channel of every pixel.
cv::Mat BrightestChannel(const cv::Mat& image) {
  if (image.channels() == 1) return image;
  cv::Mat brightest;
  cv::Mat channel;
  for (int i = 0; i < image.channels(); ++i) {
    cv::extractChannel(image, channel, i);
    if (brightest.empty()) {
      brightest = channel.clone();
    } else {
      cv::max(brightest, channel, brightest);
    }
  }
  return brightest;
}

/// Any numbers, scaled so that the largest becomes 65535; what is no number becomes 0.
cv::Mat Scaled(const cv::Mat& plane) {
  cv::Mat numbers;
  plane.convertTo(numbers, CV_64F);
  double largest = 0;
  for (int y = 0; y < numbers.rows; ++y) {
    double* row = numbers.ptr<double>(y);
    for (int x = 0; x < numbers.cols; ++x) {
      if (!std::isfinite(row[x])) row[x] = 0;
      largest = std::max(largest, row[x]);
    }
  }
  cv::Mat samples;
  numbers.convertTo(samples, CV_16U, largest > 0 ? (kLevels - 1) / largest : 0.0);
  return samples;
}

struct Span {
  int begin, end;
};

/// The pixels of a row whose centers lie inside the convex outline.
Span RowSpan(const Corners& corners, int y, int width) {
  double left = std::numeric_limits<double>::max();
  double right = std::numeric_limits<double>::lowest();
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Point2d a = corners.at(i);
    const cv::Point2d b = corners.at((i + 1) % 4);
    if ((a.y <= y) == (b.y <= y)) continue;
    const double x = a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x);
    left = std::min(left, x);
    right = std::max(right, x);
  }
  if (!(left <= right)) return {0, 0};
  const double limit = width;
  return {static_cast<int>(std::ceil(std::clamp(left, 0.0, limit))),
          static_cast<int>(std::floor(std::clamp(right + 1, 0.0, limit)))};
}

}  // namespace

Samples SamplesOf(const Shot& shot) {
  Samples samples;
  samples.bits = BitsOf(shot);
  samples.top = samples.bits > 0 ? (1 << samples.bits) - 1 : 0;
  if (shot.image.empty() || shot.image.dims > 2) return samples;
  const cv::Mat plane = BrightestChannel(shot.image);
  if (plane.depth() == CV_16U) {
    samples.plane = plane;
  } else if (plane.depth() == CV_8U) {
    plane.convertTo(samples.plane, CV_16U);
  } else {
    samples.plane = Scaled(plane);
    samples.exact = false;
  }
  return samples;
}

std::vector<std::uint32_t> HistogramOf(const cv::Mat& plane, const Outline* outline) {
  std::vector<std::uint32_t> histogram(kLevels);
  for (int y = 0; y < plane.rows; ++y) {
    const Span span =
        outline == nullptr ? Span{0, plane.cols} : RowSpan(outline->corners, y, plane.cols);
    const std::uint16_t* row = plane.ptr<std::uint16_t>(y);
    for (int x = span.begin; x < span.end; ++x) ++histogram[row[x]];
  }
  return histogram;
}

}  // namespace dravix::lab
