/// Every gradient on the outline's two edges is at right angles to the line that leads from its
/// pixel to the corner. The corner is thus the point that makes the sum of the squares of those
/// scalar products smallest, each weighted by a Gaussian around the window's middle: two linear
/// equations for its two coordinates (W. Foerstner and E. Guelch, "A fast operator for detection
/// and precise location of distinct points, corners and centres of circular features", ISPRS
/// Intercommission Conference, 1987). The window then moves there, and the step is repeated.
///
/// The operations and their order are the matrix library's, with coordinates of the whole frame, so
/// that single precision rounds as it does there; only the pixels are looked up in the part. A
/// corner without edges in its window stays where it is, as does one that would leave the window.
#include "region/corner_refinement.h"

#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

namespace dravix::region {
namespace {

constexpr int kMostSteps = 40;
constexpr double kLastStep = 0.1;  // pixels; a corner is rounded to whole ones afterwards

/// The weights of a window's pixels, CV_32FC1: 1 in the middle, 1 / e at the middle of a side.
cv::Mat GaussianWeights(int window) {
  const int side = 2 * window + 1;
  cv::Mat weights(side, side, CV_32FC1);
  const auto half = static_cast<float>(window);
  for (int i = 0; i < side; ++i) {
    const float y = static_cast<float>(i - window) / half;
    const float down = std::exp(-y * y);
    for (int j = 0; j < side; ++j) {
      const float x = static_cast<float>(j - window) / half;
      weights.at<float>(i, j) = down * std::exp(-x * x);
    }
  }
  return weights;
}

/// The sums over a window: the matrix (a, b; b, c) and the right side (x, y) of the two equations.
struct Equations {
  double a = 0, b = 0, c = 0;
  double x = 0, y = 0;
};

/// `patch` is CV_32FC1 and one pixel larger than the weights on each side.
Equations EquationsOf(const cv::Mat& patch, const cv::Mat& weights, int window) {
  Equations sums;
  for (int i = 0; i < weights.rows; ++i) {
    const auto* weight = weights.ptr<float>(i);
    const auto* above = patch.ptr<float>(i) + 1;
    const auto* middle = patch.ptr<float>(i + 1) + 1;
    const auto* below = patch.ptr<float>(i + 2) + 1;
    const double py = i - window;
    for (int j = 0; j < weights.cols; ++j) {
      const double m = static_cast<double>(weight[j]);
      const double tgx = static_cast<double>(middle[j + 1] - middle[j - 1]);
      const double tgy = static_cast<double>(below[j] - above[j]);
      const double gxx = tgx * tgx * m;
      const double gxy = tgx * tgy * m;
      const double gyy = tgy * tgy * m;
      const double px = j - window;
      sums.a += gxx;
      sums.b += gxy;
      sums.c += gyy;
      sums.x += gxx * px + gxy * py;
      sums.y += gxy * px + gyy * py;
    }
  }
  return sums;
}

bool IsInside(const cv::Point2f& point, cv::Size frame) {
  return point.x >= 0 && point.x < static_cast<float>(frame.width) && point.y >= 0 &&
         point.y < static_cast<float>(frame.height);
}

cv::Point2f RefinedCorner(const FramePart& part, const cv::Point2f& corner, int window,
                          const cv::Mat& weights) {
  const cv::Size patchSize(weights.cols + 2, weights.rows + 2);
  const cv::Point2f origin(part.origin);
  cv::Point2f at = corner;
  cv::Mat patch;
  for (int step = 0; step < kMostSteps; ++step) {
    // The difference is exact: fewer digits before the point leave room for all behind it.
    cv::getRectSubPix(part.image, patchSize, at - origin, patch, CV_32F);
    const auto [a, b, c, x, y] = EquationsOf(patch, weights, window);
    const double determinant = a * c - b * b;
    constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
    if (std::abs(determinant) <= kEpsilon * kEpsilon) break;
    const double scale = 1.0 / determinant;
    const cv::Point2f next(
        static_cast<float>(static_cast<double>(at.x) + c * scale * x - b * scale * y),
        static_cast<float>(static_cast<double>(at.y) - b * scale * x + a * scale * y));
    const cv::Point2f moved = next - at;
    at = next;
    if (!IsInside(at, part.frame)) break;
    if (static_cast<double>(moved.x * moved.x + moved.y * moved.y) <= kLastStep * kLastStep) break;
  }
  const auto farthest = static_cast<float>(window);
  const bool lost = std::abs(at.x - corner.x) > farthest || std::abs(at.y - corner.y) > farthest;
  return lost ? corner : at;
}

}  // namespace

std::vector<cv::Point2f> Refined(const FramePart& part, std::vector<cv::Point2f> corners,
                                 int window) {
  if (corners.empty()) return corners;
  if (!WindowFits(window, part.frame)) {
    CV_Error(cv::Error::StsOutOfRange,
             "the window of the corners' refinement does not fit into the frame");
  }
  const cv::Mat weights = GaussianWeights(window);
  for (cv::Point2f& corner : corners) corner = RefinedCorner(part, corner, window, weights);
  return corners;
}

}  // namespace dravix::region
