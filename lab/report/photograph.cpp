#include "lab/report/photograph.h"

#include <algorithm>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace dravix::lab {
namespace {

/// The image reduced to at most that many pixels a side, as floats.
cv::Mat Reduced(const cv::Mat& image, int longestSide) {
  const double factor = static_cast<double>(longestSide) / std::max(image.cols, image.rows);
  cv::Mat small = image;
  if (factor < 1) {
    const cv::Size size(std::max(1, cvRound(image.cols * factor)),
                        std::max(1, cvRound(image.rows * factor)));
    cv::resize(image, small, size, 0, 0, cv::INTER_AREA);
  }
  cv::Mat samples;
  small.convertTo(samples, CV_32F);
  return samples;
}

/// 8 bits with the usual transfer curve, without which the dark surroundings could not be seen.
cv::Mat Displayable(cv::Mat samples) {
  constexpr double kTransferCurve = 1 / 2.2;
  cv::patchNaNs(samples, 0);
  cv::max(samples, 0, samples);
  double brightest = 0;
  cv::minMaxLoc(samples.reshape(1), nullptr, &brightest);
  if (brightest > 0) samples *= 1 / brightest;
  cv::pow(samples, kTransferCurve, samples);
  cv::Mat picture;
  samples.convertTo(picture, CV_8U, 255);
  return picture;
}

}  // namespace

std::vector<std::uint8_t> JpegOf(const cv::Mat& image, std::size_t most) {
  constexpr int kLongestSide = 1600;  // pixels; more is not seen beside the page's margins
  constexpr int kShortestSide = 200;  // below, nothing would be recognized
  constexpr int kQualities[] = {85, 70, 55};
  std::vector<std::uint8_t> jpeg;
  for (int side = kLongestSide; side >= kShortestSide; side = side * 3 / 4) {
    const cv::Mat picture = Displayable(Reduced(image, side));
    for (const int quality : kQualities) {
      cv::imencode(".jpg", picture, jpeg, {cv::IMWRITE_JPEG_QUALITY, quality});
      if (jpeg.size() <= most) return jpeg;
    }
  }
  return jpeg;
}

}  // namespace dravix::lab
