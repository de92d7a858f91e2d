// The input is a photograph and the perspective that maps it to the working image. It is warped and
// smoothed, so that the gaps between LEDs do not stand out; from here on, the screen is an upright
// rectangle in the middle, whose place is known but for what the lens bends. The first question to
// that picture is answered here too: what of it is brighter than one threshold, once gaps are
// closed and specks removed. The output is the picture, and this lit part. One threshold is not
// exact at the outline where the light falls off; later steps refine it.
//
// 16-bit photographs are warped and smoothed row by row by the kernels, which give the bits of the
// matrix library: the warped picture itself is never stored.
#include "checkerboard/pictures/rectified.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <vector>

#include "image/large_mat.h"
#include "image/picture.h"
#include "kernels/bits/bit_parts.h"
#include "kernels/bits/sample_levels.h"
#include "kernels/parts.h"
#include "kernels/smoothing/smoothed_rows.h"
#include "kernels/smoothing/wide_gaussian.h"
#include "kernels/warp/cubic_warp.h"

namespace dravix::checkerboard {
namespace {

using kernels::CubicWarp;
using kernels::WideGaussian;

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

/// The warped and smoothed photograph, or nothing where the kernels cannot do it.
std::optional<WorkingPicture> MadeByRows(const cv::Mat& photo, const RectifyParams& params,
                                         const cv::Rect& stored) {
  if (!params.byRows || params.transform.type() != CV_64FC1) return std::nullopt;
  const auto warp =
      CubicWarp::Of(photo, params.transform, params.imageSize, kernels::Border::kRepeated);
  const auto blur = WideGaussian::Of(kSmoothing, static_cast<double>(params.blurSigma));
  if (!warp || !blur) return std::nullopt;
  const cv::Size size = params.imageSize;
  const auto width = static_cast<std::size_t>(size.width);
  cv::Mat samples = image::LargeZeros(stored.size(), CV_16UC1);
  std::mutex mutex;
  kernels::SampleCounter counted;
  kernels::ForEachPartOfRows(size.height, [&](int begin, int end) {
    kernels::SmoothedRows rows(*blur, size, begin, [&](int y, std::uint16_t* warped) {
      warp->Row(y, cv::Range(0, size.width), warped);
    });
    std::vector<std::uint16_t> row(width + WideGaussian::kPadding);
    kernels::SampleCounter found;
    for (int y = begin; y < end; ++y) {
      rows.Row(y, row.data());
      found.Add(row.data(), width);
      if (y < stored.y || y >= stored.br().y) continue;
      std::copy_n(row.begin() + stored.x, stored.width, samples.ptr<std::uint16_t>(y - stored.y));
    }
    const std::lock_guard<std::mutex> lock(mutex);
    counted.Add(found);
  });
  return WorkingPicture({samples, stored.tl(), params.imageSize}, kernels::OtsuSample(counted));
}

}  // namespace

Samples SamplesFor(const cv::Mat& board, const cv::Mat& measured) {
  const bool wide = board.type() == CV_16UC1 && measured.type() == CV_16UC1;
  return wide ? Samples::kKept : Samples::kEightBits;
}

WorkingPicture::WorkingPicture(const cv::Mat& picture)
    : samples(picture), level(kernels::OtsuSample(picture)) {}

WorkingPicture WarpForDetection(const cv::Mat& photo, Samples samples, const RectifyParams& params,
                                Extent extent) {
  if (samples == Samples::kKept) {
    const cv::Rect whole({}, params.imageSize);
    const cv::Rect stored =
        extent == Extent::kWhole ? whole : WithSurroundings(ExpectedArea(params), params);
    if (const auto made = MadeByRows(photo, params, stored)) return *made;
  }
  cv::Mat picture;
  cv::warpPerspective(photo, picture, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  if (samples == Samples::kEightBits) picture = EightBits(picture);
  cv::Mat smooth;
  cv::GaussianBlur(picture, smooth, {kSmoothing, kSmoothing}, static_cast<double>(params.blurSigma),
                   0);
  return WorkingPicture(smooth);
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

cv::Rect WithSurroundings(const cv::Rect& part, const RectifyParams& params) {
  return GrownInside(part, CleaningReach(params.kernel), params.imageSize);
}

namespace {

/// What is above `level` in a part of a picture, cleaned as it would be in the whole picture.
kernels::BitPicture CleanedAbove(const PartialPicture& picture, int level, const cv::Rect& part,
                                 int kernel) {
  const cv::Rect around = GrownInside(part, CleaningReach(kernel), picture.Size());
  kernels::BitPicture lit = kernels::Above(picture(around), level);
  kernels::CloseThenOpen(lit, kernel);
  return kernels::Cut(lit, part - around.tl());
}

}  // namespace

kernels::BitPicture LitParts(const WorkingPicture& picture, const RectifyParams& params) {
  return CleanedAbove(picture.samples, picture.level, ExpectedArea(params), params.kernel);
}

bool AnythingLit(const WorkingPicture& picture, const RectifyParams& params) {
  const cv::Rect area = ExpectedArea(params);
  for (int y = area.y; y < area.br().y; y += kBand) {
    const cv::Rect band(area.x, y, area.width, std::min(kBand, area.br().y - y));
    const kernels::BitPicture lit =
        CleanedAbove(picture.samples, picture.level, band, params.kernel);
    if (!kernels::BoundsOf(lit).empty()) return true;
  }
  return false;
}

}  // namespace dravix::checkerboard
