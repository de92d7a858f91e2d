#include "reference/plain_region.h"

#include <climits>
#include <opencv2/imgproc.hpp>

namespace dravix::reference {
namespace {

using Outlines = std::vector<std::vector<cv::Point>>;

cv::Mat ToGray8(const cv::Mat& photo, std::optional<int> camType) {
  cv::Mat source = photo;
  if (photo.channels() == 3) cv::cvtColor(photo, source, cv::COLOR_BGR2RGB);
  const int bits = camType.value_or(0) % 100;
  const auto maxValue = static_cast<std::int32_t>((1U << (static_cast<unsigned>(bits) & 31U)) - 1U);
  cv::Mat gray;
  if (maxValue > 0) {
    const float scale = 255.0F / static_cast<float>(maxValue);
    source.convertTo(gray, CV_8U, static_cast<double>(scale), 0);
  } else {
    cv::normalize(source, gray, 255, 0, cv::NORM_INF, CV_8U);
  }
  if (gray.channels() > 1) cv::cvtColor(gray, gray, cv::COLOR_BGR2GRAY);
  return gray;
}

std::size_t Largest(const Outlines& outlines) {
  std::size_t chosen = 0;
  float largest = 0;
  for (std::size_t i = 0; outlines.size() > 1 && i < outlines.size(); ++i) {
    const cv::RotatedRect box = cv::minAreaRect(outlines[i]);
    const float size = box.size.width * box.size.height;
    if (size > largest) {
      largest = size;
      chosen = i;
    }
  }
  return chosen;
}

cv::Mat Drawn(const Outlines& outlines, std::size_t chosen, cv::Size size) {
  cv::Mat canvas = cv::Mat::zeros(size, CV_8UC1);
  cv::drawContours(canvas, outlines, static_cast<int>(chosen), cv::Scalar(255, 255, 255, 0), -1,
                   cv::LINE_8, cv::noArray(), INT_MAX, cv::Point(0, 0));
  return canvas;
}

cv::Mat ComputeMask(const cv::Mat& image, const RegionSettings& settings) {
  const int k = settings.kernel;
  cv::Mat blurred;
  cv::GaussianBlur(image, blurred, cv::Size(k, k), static_cast<double>(settings.sigma), 0,
                   cv::BORDER_DEFAULT);
  cv::Mat binary;
  cv::threshold(blurred, binary, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  Outlines outlines;
  cv::findContours(binary, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  if (outlines.empty()) return {};
  const cv::Mat canvas = Drawn(outlines, Largest(outlines), image.size());
  const int d = 3 * k / 2;
  const cv::Mat kernel =
      cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(d, d), cv::Point(-1, -1));
  cv::Mat result;
  cv::dilate(canvas, result, kernel, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
             cv::morphologyDefaultBorderValue());
  return result;
}

}  // namespace

std::optional<FoundRegion> AutoSet(const cv::Mat& photo, std::optional<int> camType,
                                   const RegionSettings& settings) {
  const cv::Mat gray = ToGray8(photo, camType);
  cv::Mat small;
  cv::pyrDown(gray, small, cv::Size(gray.cols / 2, gray.rows / 2), cv::BORDER_DEFAULT);
  const cv::Mat smallMask = ComputeMask(small, settings);
  if (smallMask.empty()) return std::nullopt;
  const cv::Rect r = cv::boundingRect(smallMask);
  FoundRegion found;
  found.rect = cv::Rect(r.x * 2, r.y * 2, r.width * 2, r.height * 2);
  cv::pyrUp(smallMask(r), found.mask, found.rect.size(), cv::BORDER_DEFAULT);
  return found;
}

std::optional<FoundRegion> ComputeBlur(const cv::Mat& photo, std::optional<int> camType,
                                       const RegionSettings& settings) {
  const cv::Mat gray = ToGray8(photo, camType);
  cv::Mat blurred;
  cv::GaussianBlur(gray, blurred, cv::Size(5, 5), static_cast<double>(settings.sigma), 0,
                   cv::BORDER_DEFAULT);
  cv::Mat otsu;
  cv::threshold(blurred, otsu, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  cv::Mat binary;
  cv::adaptiveThreshold(blurred, binary, 255, cv::ADAPTIVE_THRESH_GAUSSIAN_C, cv::THRESH_BINARY, 41,
                        0);
  binary.setTo(255, otsu > 254);
  const cv::Mat speck =
      cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 5), cv::Point(-1, -1));
  cv::morphologyEx(binary, binary, cv::MORPH_OPEN, speck, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                   cv::morphologyDefaultBorderValue());
  const int k = settings.kernel;
  const cv::Mat kernel =
      cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k), cv::Point(-1, -1));
  Outlines outlines;
  cv::findContours(binary, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  if (outlines.empty()) return std::nullopt;
  const std::size_t chosen = Largest(outlines);
  cv::Mat canvas = Drawn(outlines, chosen, gray.size());
  for (const int operation : {cv::MORPH_CLOSE, cv::MORPH_OPEN}) {
    cv::morphologyEx(canvas, canvas, operation, kernel, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                     cv::morphologyDefaultBorderValue());
  }
  FoundRegion found;
  found.rect = cv::boundingRect(outlines[chosen]);
  found.mask = canvas(found.rect).clone();
  return found;
}

std::vector<cv::Point> Corners(cv::Size frame, const FoundRegion& region,
                               const RegionSettings& settings) {
  cv::Mat image = cv::Mat::zeros(frame, CV_8UC1);
  region.mask.copyTo(image(region.rect));
  std::vector<cv::Point2f> points;
  cv::goodFeaturesToTrack(image, points, 4, static_cast<double>(settings.quality), 100.0,
                          cv::noArray(), 111, false, 0.04);
  if (points.size() != 4) return {};
  cv::cornerSubPix(image, points, cv::Size(settings.refineWindow, settings.refineWindow),
                   cv::Size(-1, -1),
                   cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 40, 0.1));
  std::vector<cv::Point> corners;
  for (const cv::Point2f& p : points) {
    corners.emplace_back(static_cast<int>(static_cast<double>(p.x) + 0.5),
                         static_cast<int>(static_cast<double>(p.y) + 0.5));
  }
  return corners;
}

}  // namespace dravix::reference
