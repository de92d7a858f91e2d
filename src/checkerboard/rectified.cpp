#include "checkerboard/rectified.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "image/binary.h"
#include "image/picture.h"

namespace dravix::checkerboard {
namespace {

constexpr int kSmoothing = 5;  // side of the Gaussian, pixels
/// Beyond the expected rectangle the lens may still move the outline a little; 1 % keeps such
/// outlines and cuts off reflections beside the screen.
constexpr double kClipMargin = 0.01;
constexpr int kBand = 256;  // rows looked at together

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
  cv::Mat warped;  // once for both: the memory of large pictures costs as much as many a step
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

cv::Mat LitParts(cv::Mat& grey, const RectifyParams& params) {
  image::BinarizeByOtsu(grey, grey);
  const cv::Rect area = ExpectedArea(params);
  const cv::Rect around = GrownInside(area, CleaningReach(params.kernel), grey.size());
  cv::Mat lit = grey(around);
  image::CloseThenOpen(lit, params.kernel);
  return grey(area);
}

bool AnythingLit(const cv::Mat& grey, const RectifyParams& params, cv::Mat& scratch) {
  image::BinarizeByOtsu(grey, scratch);
  const cv::Rect area = ExpectedArea(params);
  for (int y = area.y; y < area.br().y; y += kBand) {
    const cv::Rect band(area.x, y, area.width, std::min(kBand, area.br().y - y));
    const cv::Rect around = GrownInside(band, CleaningReach(params.kernel), grey.size());
    cv::Mat lit = scratch(around).clone();
    image::CloseThenOpen(lit, params.kernel);
    if (cv::countNonZero(lit(band - around.tl())) > 0) return true;
  }
  return false;
}

}  // namespace dravix::checkerboard
