// The input is two photographs and the perspective that maps them to the working image. Both are
// warped and smoothed, so that the gaps between LEDs do not stand out; from here on, the screen is
// an upright rectangle in the middle, whose place is known but for what the lens bends. The first
// question to that picture is answered here too: what of it is brighter than one threshold, once
// gaps are closed and specks removed. The output is both pictures, and this lit part. One threshold
// is not exact at the outline where the light falls off; later steps refine it.
#include "checkerboard/rectified.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "image/binary.h"
#include "image/picture.h"

namespace dravix::checkerboard {
namespace {

/// Side of the Gaussian, in pixels. Its sigma is larger, so it is nearly the mean of 5 x 5 pixels:
/// enough against noise and the finest structure of the LEDs, and too small to round off the
/// corners of small blocks.
constexpr int kSmoothing = 5;
/// Margin around the expected rectangle, as a share of the working image. The lens may move the
/// outline outward a little; 1 % keeps such outlines, and more would let in reflections beside the
/// screen.
constexpr double kClipMargin = 0.01;
/// Rows that are searched for light together. The first of them usually have some, so that the rest
/// of a large picture need not be looked at.
constexpr int kBand = 256;

void Warp(const cv::Mat& image, const RectifyParams& params, cv::Mat& warped) {
  cv::warpPerspective(image, warped, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
}

cv::Mat Smoothed(const cv::Mat& picture, float sigma) {
  cv::Mat smooth;
  cv::GaussianBlur(picture, smooth, {kSmoothing, kSmoothing}, static_cast<double>(sigma), 0);
  return smooth;
}

}  // namespace

Rectified WarpForDetection(const cv::Mat& board, const cv::Mat& measured,
                           const RectifyParams& params) {
  const bool wide = board.type() == CV_16UC1 && measured.type() == CV_16UC1;
  // One buffer for both, since new memory for a large picture takes as long as many a step.
  cv::Mat warped;
  const auto ready = [&](const cv::Mat& image) {
    Warp(image, params, warped);
    return Smoothed(wide ? warped : EightBits(warped), params.blurSigma);
  };
  Rectified both;
  both.board = ready(board);
  both.measured = ready(measured);
  both.warpBuffer = warped;
  return both;
}

std::array<cv::Mat, 2> Rectified::Scratch() const {
  const cv::Size size = board.size();
  if (warpBuffer.size() != size || warpBuffer.elemSize() < 2 || !warpBuffer.isContinuous()) {
    return {cv::Mat(size, CV_8UC1), cv::Mat(size, CV_8UC1)};
  }
  return {cv::Mat(size, CV_8UC1, warpBuffer.data),
          cv::Mat(size, CV_8UC1, warpBuffer.data + size.area())};
}

cv::Mat EightBits(const cv::Mat& picture) { return image::ToImage(picture, 0, 1); }

cv::Rect ExpectedArea(const RectifyParams& params) {
  const auto along = [&](int length) {
    const double share = std::min(1.0, params.areaScale + 2 * kClipMargin);
    return std::clamp(static_cast<int>(std::lround(length * share)), 1, length);
  };
  const cv::Size size(along(params.imageSize.width), along(params.imageSize.height));
  return {(params.imageSize.width - size.width) / 2, (params.imageSize.height - size.height) / 2,
          size.width, size.height};
}

cv::Rect GrownInside(const cv::Rect& r, cv::Size by, cv::Size picture) {
  return cv::Rect(r.tl() - cv::Point(by), r.br() + cv::Point(by)) & cv::Rect({}, picture);
}

cv::Mat LitParts(cv::Mat& gray, const RectifyParams& params) {
  image::BinarizeByOtsu(gray, gray);
  const cv::Rect area = ExpectedArea(params);
  const cv::Rect around = GrownInside(area, CleaningReach(params.kernel), gray.size());
  cv::Mat lit = gray(around);
  image::CloseThenOpen(lit, params.kernel);
  return gray(area);
}

bool AnythingLit(const cv::Mat& gray, const RectifyParams& params, cv::Mat& scratch) {
  image::BinarizeByOtsu(gray, scratch);
  const cv::Rect area = ExpectedArea(params);
  for (int y = area.y; y < area.br().y; y += kBand) {
    const cv::Rect band(area.x, y, area.width, std::min(kBand, area.br().y - y));
    const cv::Rect around = GrownInside(band, CleaningReach(params.kernel), gray.size());
    cv::Mat lit = scratch(around).clone();
    image::CloseThenOpen(lit, params.kernel);
    if (cv::countNonZero(lit(band - around.tl())) > 0) return true;
  }
  return false;
}

}  // namespace dravix::checkerboard
