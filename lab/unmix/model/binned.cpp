#include "lab/unmix/model/binned.h"

#include <algorithm>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace dravix::lab::unmix {

cv::Mat1f Binned(const cv::Mat1f& photo, int side) {
  const cv::Size size(photo.cols / side, photo.rows / side);
  cv::Mat1f binned;
  cv::resize(photo(cv::Rect(0, 0, size.width * side, size.height * side)), binned, size, 0, 0,
             cv::INTER_AREA);
  return binned;
}

Resolutions ResolutionsOf(const cv::Mat& photo, double pitch) {
  constexpr double kCoarsest = 5.0;  // coarse pixels from LED to LED, at least
  Resolutions both;
  both.fine.create(photo.size());
  cv::parallel_for_(cv::Range(0, photo.rows), [&](const cv::Range& rows) {
    cv::Mat part = both.fine.rowRange(rows);
    photo.rowRange(rows).convertTo(part, CV_32F);
  });
  both.binning = std::max(1, static_cast<int>(pitch / kCoarsest));
  both.coarse = both.binning > 1 ? Binned(both.fine, both.binning) : both.fine;
  return both;
}

}  // namespace dravix::lab::unmix
