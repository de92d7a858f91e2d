#include "image/binary.h"

#include <opencv2/imgproc.hpp>

namespace dravix::image {

void BinarizeByOtsu(const cv::Mat& gray, cv::Mat& binary) {
  cv::threshold(gray, binary, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
}

void CloseThenOpen(cv::Mat& binary, int side) {
  const cv::Mat square = cv::getStructuringElement(cv::MORPH_RECT, {side, side});
  cv::morphologyEx(binary, binary, cv::MORPH_CLOSE, square);
  cv::morphologyEx(binary, binary, cv::MORPH_OPEN, square);
}

}  // namespace dravix::image
