#include "lab/unmix/binned.h"

#include <opencv2/imgproc.hpp>

namespace dravix::lab::unmix {

cv::Mat1f Binned(const cv::Mat1f& photo, int side) {
  const cv::Size size(photo.cols / side, photo.rows / side);
  cv::Mat1f binned;
  cv::resize(photo(cv::Rect(0, 0, size.width * side, size.height * side)), binned, size, 0, 0,
             cv::INTER_AREA);
  return binned;
}

}  // namespace dravix::lab::unmix
