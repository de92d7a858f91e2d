/// Finds the lit area of a working image.
///
/// The image is blurred until single LEDs melt into one bright area, and one threshold for the
/// whole image (Otsu's) tells that area from the dark surround. Closing bridges the gaps that are
/// left between LEDs, opening removes specks, and the largest outline that remains is the area.
/// One threshold cannot serve a screen whose parts differ widely in brightness: the darker part, or
/// a dead corner, is then taken for surround.
#include "extractor/locate.h"

#include <dravix/algolog.h>

#include <opencv2/imgproc.hpp>

#include "extractor/extractor.h"
#include "extractor/locate.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "image/picture.h"
#include "shot/shot_picture.h"

namespace dravix::extractor {
namespace {

/// The image in 8-bit gray, `fullScale` at 255. Three channels are converted from XYZ to BGR first.
cv::Mat ToGray8(const cv::Mat& image, std::int32_t fullScale) {
  constexpr int kColorChannels = 3;
  if (image.channels() != kColorChannels) return image::ToImage(image, fullScale, 1);
  cv::Mat bgr;
  cv::cvtColor(image, bgr, cv::COLOR_XYZ2BGR);
  return image::ToImage(bgr, fullScale, 1);
}

}  // namespace

std::optional<LitArea> LargestArea(const cv::Mat& lit) {
  const image::Contours outlines = image::OuterContours(lit);
  if (outlines.empty()) {
    AlgoLogError("Dravix::AutoBlurLocate--Error :: Cannot find led area.");
    return std::nullopt;
  }
  if (outlines.size() > 1) AlgoLogError("Dravix::AutoBlurLocate--Warning :: Find >1 areas.");
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  return LitArea{image::Filled(outlines, largest, lit.size()), cv::boundingRect(outlines[largest])};
}

void SmoothedGray(const cv::Mat& image, std::int32_t fullScale, const Melting& melting,
                  cv::Mat& smoothed) {
  cv::GaussianBlur(ToGray8(image, fullScale), smoothed,
                   cv::Size(melting.kernelSize, melting.kernelSize),
                   static_cast<double>(melting.sigma), 0, cv::BORDER_DEFAULT);
}

std::optional<LitArea> LocateLitArea(const cv::Mat& image, std::int32_t fullScale,
                                     const Melting& melting) {
  cv::Mat lit;
  SmoothedGray(image, fullScale, melting, lit);
  image::BinarizeByOtsu(lit, lit);
  image::CloseThenOpen(lit, melting.kernelSize);
  return LargestArea(lit);
}

}  // namespace dravix::extractor

void Dravix::AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const {
  const std::int32_t fullScale = shot != nullptr ? dravix::shot::FullScale(*shot) : 0;
  const auto area = dravix::extractor::LocateLitArea(image, fullScale, {blurKernelSize, blurSigma});
  if (!area) return;
  mask = area->mask;
  rect = area->rect;
}
