// The order of corner lists, and the corners of rectangles.
#include <dravix/region.h>

#include <algorithm>

#include "fuzz/pictures.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

cv::Point TakeAnyPoint(Input& input) {
  const auto x = input.Take<std::int32_t>();
  return {x, input.Take<std::int32_t>()};
}

bool Less(const cv::Point& a, const cv::Point& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; }

std::vector<cv::Point> Sorted(std::vector<cv::Point> points) {
  std::sort(points.begin(), points.end(), Less);
  return points;
}

}  // namespace

FUZZ_TARGET(corner_order, input) {
  std::vector<cv::Point> points(input.TakeBelow(8));
  for (cv::Point& point : points) point = TakeAnyPoint(input);
  const std::vector<cv::Point> ordered = OrderCorners(points);
  if (!ordered.empty()) {
    Require(Sorted(ordered) == Sorted(points), "the corners are those that were given");
    Require(ordered[0].x <= ordered[1].x && ordered[3].x <= ordered[2].x,
            "left corners are left of right ones");
    Require(std::max(ordered[0].y, ordered[1].y) <= std::min(ordered[2].y, ordered[3].y),
            "upper corners are above lower ones");
  }
  const cv::Point origin = TakeAnyPoint(input);
  const cv::Point size = TakeAnyPoint(input);
  Require(RectToCorners(cv::Rect(origin.x, origin.y, size.x, size.y)).size() == 4, "four corners");
  const cv::RotatedRect box({input.Take<float>(), input.Take<float>()},
                            {input.Take<float>(), input.Take<float>()}, input.Take<float>());
  Require(RectToCorners(box).size() == 4, "four corners");
}

}  // namespace dravix::fuzz
