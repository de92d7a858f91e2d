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

/// 255 where the image is lit, with single LEDs melted into one area; `gray` is overwritten.
cv::Mat Binarize(cv::Mat gray, const Melting& melting) {
  cv::GaussianBlur(gray, gray, cv::Size(melting.kernelSize, melting.kernelSize),
                   static_cast<double>(melting.sigma), 0, cv::BORDER_DEFAULT);
  image::BinarizeByOtsu(gray, gray);
  image::CloseThenOpen(gray, melting.kernelSize);
  return gray;
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

std::optional<LitArea> LocateLitArea(const cv::Mat& image, std::int32_t fullScale,
                                     const Melting& melting) {
  return LargestArea(Binarize(ToGray8(image, fullScale), melting));
}

}  // namespace dravix::extractor

void Dravix::AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const {
  const std::int32_t fullScale = shot != nullptr ? dravix::shot::FullScale(*shot) : 0;
  const auto area = dravix::extractor::LocateLitArea(image, fullScale, {blurKernelSize, blurSigma});
  if (!area) return;
  mask = area->mask;
  rect = area->rect;
}
