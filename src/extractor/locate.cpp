#include <dravix/algolog.h>

#include <opencv2/imgproc.hpp>

#include "extractor/extractor.h"
#include "shot/lit_area.h"
#include "shot/picture.h"

namespace {

/// The rectified image in 8-bit grey, scaled by the sensor's full range.
cv::Mat ToGray8(const cv::Mat& image, int fullScale) {
  constexpr int kColourChannels = 3;
  if (image.channels() != kColourChannels) return dravix::shot::ToImage(image, fullScale, 1);
  cv::Mat bgr;
  cv::cvtColor(image, bgr, cv::COLOR_XYZ2BGR);
  return dravix::shot::ToImage(bgr, fullScale, 1);
}

/// Black and white, single LEDs melted into one area.
cv::Mat Binarize(cv::Mat grey, int kernelSize, float sigma) {
  cv::GaussianBlur(grey, grey, cv::Size(kernelSize, kernelSize), static_cast<double>(sigma), 0,
                   cv::BORDER_DEFAULT);
  cv::threshold(grey, grey, 0, 255.0, cv::THRESH_BINARY | cv::THRESH_OTSU);
  return grey;
}

/// Closes before it opens: gaps between LEDs are bridged first, small specks removed after.
cv::Mat BridgeThenDespeckle(cv::Mat binary, int kernelSize) {
  const cv::Mat square =
      cv::getStructuringElement(cv::MORPH_RECT, cv::Size(kernelSize, kernelSize));
  cv::morphologyEx(binary, binary, cv::MORPH_CLOSE, square);
  cv::morphologyEx(binary, binary, cv::MORPH_OPEN, square);
  return binary;
}

}  // namespace

void Dravix::AutoBlurLocate(const cv::Mat& image, cv::Mat& mask, cv::Rect& rect) const {
  const int fullScale = shot != nullptr ? dravix::shot::FullScale(*shot) : 0;
  const cv::Mat lit = BridgeThenDespeckle(
      Binarize(ToGray8(image, fullScale), blurKernelSize, blurSigma), blurKernelSize);
  const dravix::shot::Contours outlines = dravix::shot::OuterContours(lit);
  if (outlines.empty()) {
    AlgoLogError("Dravix::AutoBlurLocate--Error :: Cannot find led area.");
    return;
  }
  if (outlines.size() > 1) AlgoLogError("Dravix::AutoBlurLocate--Warning :: Find >1 areas.");
  const std::size_t largest = dravix::shot::LargestByMinAreaRect(outlines);
  mask = dravix::shot::Filled(outlines, largest, lit.size());
  rect = cv::boundingRect(outlines[largest]);
}
