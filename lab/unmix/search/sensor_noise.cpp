#include "lab/unmix/search/sensor_noise.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace dravix::lab::unmix {

double SensorNoise(const cv::Mat1f& photo, const Grid& grid, const std::vector<Block>& blocks) {
  const cv::Matx<float, 1, 5> fourth(1, -4, 6, -4, 1);
  constexpr double kGain = 70.0 * 70.0;  // 1 + 16 + 36 + 16 + 1 along either axis
  double squares = 0;
  double pixels = 0;
  for (const Block& block : blocks) {
    const BlockView view = ViewOf(grid, block, photo.size());
    if (view.frame.empty()) continue;
    cv::Mat1f differences;
    cv::sepFilter2D(photo(view.frame), differences, CV_32F, fourth, fourth, {-1, -1}, 0,
                    cv::BORDER_REFLECT_101);
    // At the photograph's border the picture is continued by itself, which is no noise.
    cv::Mat1b mask = view.mask.clone();
    const cv::Rect all(cv::Point(0, 0), photo.size());
    const cv::Rect safe =
        (cv::Rect(2, 2, all.width - 4, all.height - 4) & view.frame) - view.frame.tl();
    cv::Mat1b kept(mask.size(), std::uint8_t{0});
    mask(safe).copyTo(kept(safe));
    squares += std::pow(cv::norm(differences, cv::NORM_L2, kept), 2);
    pixels += cv::countNonZero(kept);
  }
  return pixels > 0 ? std::sqrt(squares / pixels / kGain) : 0.0;
}

}  // namespace dravix::lab::unmix
