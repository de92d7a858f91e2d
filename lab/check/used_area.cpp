/// The search of a measurement once more, by the matrix library: the photograph is warped so that
/// the corners take the middle 85 % of a picture 1.3 times as large, melted, cut at one threshold,
/// cleaned, and the largest outline is the area. A measurement divides every column of that area by
/// itself; here straight lines through the columns' ends stand for its upper and lower side.
#include <dravix/lab/used_area.h>
#include <dravix/region.h>

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {
namespace {

constexpr double kWorkingScale = 1.3;  // of the working picture against the photograph
constexpr double kLitShare = 0.85;     // of the working picture that the corners take
constexpr int kSmoothedSide = 11;      // pixels: of the Gaussian and of the cleaning square
constexpr double kSigma = 10;          // pixels

cv::Mat PhotoToWorking(const std::vector<cv::Point>& ordered, cv::Size working) {
  const std::array<cv::Point2f, 4> from = {cv::Point2f(ordered[0]), cv::Point2f(ordered[1]),
                                           cv::Point2f(ordered[2]), cv::Point2f(ordered[3])};
  const auto halfWidth = static_cast<float>(working.width * kLitShare / 2);
  const auto halfHeight = static_cast<float>(working.height * kLitShare / 2);
  const cv::Point2f middle(cv::Point(working.width / 2, working.height / 2));
  const std::array<cv::Point2f, 4> to = {
      middle + cv::Point2f(-halfWidth, -halfHeight), middle + cv::Point2f(halfWidth, -halfHeight),
      middle + cv::Point2f(halfWidth, halfHeight), middle + cv::Point2f(-halfWidth, halfHeight)};
  return cv::getPerspectiveTransform(from.data(), to.data());
}

/// 8 bits with the sensor's top white, or the largest sample where it is not known.
cv::Mat EightBits(const Shot& photo, const cv::Mat& working) {
  cv::Mat eight;
  const int bits = photo.device ? photo.device->cam_type % 100 : 0;
  if (bits >= 1 && bits <= 16) {
    working.convertTo(eight, CV_8U, 255.0 / ((1 << bits) - 1));
  } else {
    cv::normalize(working, eight, 255, 0, cv::NORM_INF, CV_8U);
  }
  return eight;
}

/// The mask of the largest lit area; empty where there is none.
cv::Mat LitMask(const cv::Mat& eight) {
  cv::Mat lit;
  cv::GaussianBlur(eight, lit, {kSmoothedSide, kSmoothedSide}, kSigma);
  cv::threshold(lit, lit, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  const cv::Mat square = cv::getStructuringElement(cv::MORPH_RECT, {kSmoothedSide, kSmoothedSide});
  cv::morphologyEx(lit, lit, cv::MORPH_CLOSE, square);
  cv::morphologyEx(lit, lit, cv::MORPH_OPEN, square);
  std::vector<std::vector<cv::Point>> outlines;
  cv::findContours(lit, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  if (outlines.empty()) return {};
  const auto boxOf = [](const auto& outline) { return cv::minAreaRect(outline).size.area(); };
  const auto largest =
      std::max_element(outlines.begin(), outlines.end(),
                       [&](const auto& a, const auto& b) { return boxOf(a) < boxOf(b); });
  cv::Mat mask = cv::Mat::zeros(lit.size(), CV_8UC1);
  cv::drawContours(mask, outlines, static_cast<int>(largest - outlines.begin()), 255, cv::FILLED);
  return mask;
}

/// A straight line y = a + b x through points, the ends of the side left out.
struct EdgeLine {
  double a = 0, b = 0;
  [[nodiscard]] double At(double x) const { return a + b * x; }
};

EdgeLine LineThrough(const std::vector<double>& ys, double firstX) {
  const auto count = static_cast<double>(ys.size());
  const auto margin = static_cast<std::size_t>(0.05 * count);  // where corners are rounded
  double n = 0;
  double sx = 0;
  double sy = 0;
  double sxx = 0;
  double sxy = 0;
  for (std::size_t i = margin; i + margin < ys.size(); ++i) {
    const double x = firstX + static_cast<double>(i);
    n += 1;
    sx += x;
    sy += ys[i];
    sxx += x * x;
    sxy += x * ys[i];
  }
  const double spread = n * sxx - sx * sx;
  if (n < 2 || spread <= 0) return {ys.empty() ? 0 : ys.front(), 0};
  const double b = (n * sxy - sx * sy) / spread;
  return {(sy - b * sx) / n, b};
}

/// Corners of the mask by its first and last column and the lines through its columns' ends. The
/// area reaches half a pixel beyond the outermost pixels' centers.
std::array<cv::Point2d, 4> CornersOfMask(const cv::Mat& mask) {
  const cv::Rect rect = cv::boundingRect(mask);
  std::vector<double> tops;
  std::vector<double> bottoms;
  for (int x = rect.x; x < rect.x + rect.width; ++x) {
    int y = rect.y;
    while (y < rect.y + rect.height - 1 && mask.at<std::uint8_t>(y, x) == 0) ++y;
    tops.push_back(y - 0.5);
    while (y < rect.y + rect.height && mask.at<std::uint8_t>(y, x) != 0) ++y;
    bottoms.push_back(y - 0.5);
  }
  const EdgeLine top = LineThrough(tops, rect.x);
  const EdgeLine bottom = LineThrough(bottoms, rect.x);
  const double left = rect.x - 0.5;
  const double right = rect.x + rect.width - 0.5;
  return {cv::Point2d(left, top.At(left)), cv::Point2d(right, top.At(right)),
          cv::Point2d(right, bottom.At(right)), cv::Point2d(left, bottom.At(left))};
}

}  // namespace

std::optional<std::array<cv::Point2d, 4>> UsedArea(const Shot& photo,
                                                   const std::vector<cv::Point>& corners) {
  const std::vector<cv::Point> ordered = OrderCorners(corners);
  const bool canBeUsed = photo.image.dims == 2 && photo.image.channels() == 1 &&
                         !photo.image.empty() && ordered.size() == 4;
  if (!canBeUsed) return std::nullopt;
  const cv::Size working(static_cast<int>(photo.image.cols * kWorkingScale),
                         static_cast<int>(photo.image.rows * kWorkingScale));
  const cv::Mat workingFromPhoto = PhotoToWorking(ordered, working);
  cv::Mat straight;
  cv::warpPerspective(photo.image, straight, workingFromPhoto, working, cv::INTER_CUBIC);
  const cv::Mat mask = LitMask(EightBits(photo, straight));
  if (mask.empty()) return std::nullopt;
  const std::array<cv::Point2d, 4> inWorking = CornersOfMask(mask);
  std::vector<cv::Point2d> inPhoto;
  cv::perspectiveTransform(std::vector<cv::Point2d>(inWorking.begin(), inWorking.end()), inPhoto,
                           workingFromPhoto.inv());
  return std::array<cv::Point2d, 4>{inPhoto[0], inPhoto[1], inPhoto[2], inPhoto[3]};
}

}  // namespace dravix::lab
