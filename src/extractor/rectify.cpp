#include "extractor/rectify.h"

#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "image/large_mat.h"
#include "kernels/parts.h"

namespace dravix::extractor {

cv::Size WorkingSize(cv::Size photo, double warpScale) {
  return {static_cast<int>(photo.width * warpScale), static_cast<int>(photo.height * warpScale)};
}

cv::Mat WorkingFromPhoto(const std::vector<cv::Point>& photoCorners,
                         const std::array<cv::Point2f, 4>& workingCorners) {
  std::array<cv::Point2f, 4> source;
  for (std::size_t i = 0; i < source.size(); ++i) {
    source[i] =
        cv::Point2f(static_cast<float>(photoCorners[i].x), static_cast<float>(photoCorners[i].y));
  }
  return cv::getPerspectiveTransform(source.data(), workingCorners.data(), cv::DECOMP_LU);
}

bool AnyThreeOnALine(const std::vector<cv::Point>& corners) {
  for (std::size_t left = 0; left < corners.size(); ++left) {
    const cv::Point a = corners[(left + 1) % corners.size()];
    const cv::Point b = corners[(left + 2) % corners.size()];
    const cv::Point c = corners[(left + 3) % corners.size()];
    // Differences of 32-bit coordinates need 33 bits, their products 66. A long double has 64 bits
    // of mantissa, and so is exact for all coordinates that a photograph can have.
    const auto cross =
        static_cast<long double>(std::int64_t{b.x} - a.x) * (std::int64_t{c.y} - a.y) -
        static_cast<long double>(std::int64_t{b.y} - a.y) * (std::int64_t{c.x} - a.x);
    if (cross == 0) return true;
  }
  return false;
}

cv::Mat WarpToWorkingImage(const cv::Mat& photo, const cv::Mat& workingFromPhoto, cv::Size size) {
  cv::Mat working = image::LargeZeros(size, photo.type());
  cv::warpPerspective(photo, working, workingFromPhoto, size, cv::INTER_CUBIC, cv::BORDER_CONSTANT,
                      cv::Scalar::all(0));
  return working;
}

cv::Mat WholeWorkingImage(const kernels::CubicWarp& rows) {
  using kernels::CubicWarp;
  const cv::Size size = rows.Size();
  cv::Mat padded = image::LargeZeros({CubicWarp::PaddedWidth(size.width), size.height}, CV_16UC1);
  kernels::ForEachPartOfRows(size.height, [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      rows.Row(y, cv::Range(0, size.width), padded.ptr<std::uint16_t>(y));
    }
  });
  return padded.colRange(0, size.width);
}

}  // namespace dravix::extractor
