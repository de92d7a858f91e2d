#include <dravix/algolog.h>

#include <opencv2/imgproc.hpp>

#include "extractor/extractor.h"
#include "extractor/largest_area.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "image/picture.h"
#include "shot/shot_picture.h"

namespace {

/// The rectified image in 8-bit grey, scaled by the sensor's full range.
cv::Mat ToGray8(const cv::Mat& image, int fullScale) {
  constexpr int kColourChannels = 3;
  if (image.channels() != kColourChannels) return dravix::image::ToImage(image, fullScale, 1);
  cv::Mat bgr;
  cv::cvtColor(image, bgr, cv::COLOR_XYZ2BGR);
  return dravix::image::ToImage(bgr, fullScale, 1);
}

/// Black and white, single LEDs melted into one area.
cv::Mat Binarize(cv::Mat grey, int kernelSize, float sigma) {
  cv::GaussianBlur(grey, grey, cv::Size(kernelSize, kernelSize), static_cast<double>(sigma), 0,
                   cv::BORDER_DEFAULT);
  dravix::image::BinarizeByOtsu(grey, grey);
  dravix::image::CloseThenOpen(grey, kernelSize);
  return grey;
}

}  // namespace

std::optional<dravix::extractor::LitArea> dravix::extractor::LargestArea(const cv::Mat& lit) {
  const image::Contours outlines = image::OuterContours(lit);
  if (outlines.empty()) {
    AlgoLogError("Dravix::AutoBlurLocate--Error :: Cannot find led area.");
    return std::nullopt;
  }
  if (outlines.size() > 1) AlgoLogError("Dravix::AutoBlurLocate--Warning :: Find >1 areas.");
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  return LitArea{image::Filled(outlines, largest, lit.size()), cv::boundingRect(outlines[largest])};
}

void Dravix::AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const {
  const int fullScale = shot != nullptr ? dravix::shot::FullScale(*shot) : 0;
  const cv::Mat lit = Binarize(ToGray8(image, fullScale), blurKernelSize, blurSigma);
  const auto largest = dravix::extractor::LargestArea(lit);
  if (!largest) return;
  mask = largest->mask;
  rect = largest->rect;
}
