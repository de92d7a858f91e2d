#include "image/lit_area.h"

#include <climits>
#include <opencv2/imgproc.hpp>

namespace dravix::image {

Contours OuterContours(const cv::Mat& binary) {
  Contours contours;
  cv::findContours(binary, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  return contours;
}

std::size_t LargestByMinAreaRect(const Contours& contours) {
  if (contours.size() <= 1) return 0;
  std::size_t largest = 0;
  float largestArea = 0.0F;
  for (std::size_t i = 0; i < contours.size(); ++i) {
    const cv::Size2f sides = cv::minAreaRect(contours[i]).size;
    const float area = sides.width * sides.height;  // single precision decides ties
    if (area > largestArea) {
      largestArea = area;
      largest = i;
    }
  }
  return largest;
}

cv::Mat Filled(const Contours& contours, std::size_t index, cv::Size size) {
  cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
  cv::drawContours(mask, contours, static_cast<int>(index), cv::Scalar(255, 255, 255, 0),
                   cv::FILLED, cv::LINE_8, cv::noArray(), INT_MAX);
  return mask;
}

}  // namespace dravix::image
