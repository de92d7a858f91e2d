// The region's own corner search against the matrix library's search in the whole frame.
#include "region/strong_corners.h"

#include <opencv2/imgproc.hpp>

#include "fuzz/pictures.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(strong_corners, input) {
  const double quality = (1 + input.Take<std::uint8_t>()) / 256.0;
  const int left = input.Take<std::uint8_t>();
  const int top = input.Take<std::uint8_t>();
  const int right = input.Take<std::uint8_t>();
  const int bottom = input.Take<std::uint8_t>();
  const bool gray = input.TakeBool();
  const cv::Mat picture = TakeLargePicture(input);
  if (picture.empty()) return;
  cv::Mat mask = picture >= 128;
  if (gray) picture.convertTo(mask, CV_8U);
  cv::Mat frame;
  cv::copyMakeBorder(mask, frame, top, bottom, left, right, cv::BORDER_CONSTANT);
  const cv::Rect lit = cv::boundingRect(frame);
  if (lit.empty()) return;  // a region without a lit pixel has no rectangle to search
  std::vector<cv::Point2f> expected;
  cv::goodFeaturesToTrack(frame, expected, 4, quality, 100.0, cv::noArray(), 111, false, 0.04);
  Require(dravix::region::StrongCorners(frame, lit, quality) == expected,
          "the corners are those of the search in the whole frame");
}

}  // namespace dravix::fuzz
