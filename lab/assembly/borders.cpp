#include "lab/assembly/borders.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace dravix::lab {
namespace {

cv::Rect Transposed(const cv::Rect& r) { return {r.y, r.x, r.height, r.width}; }

/// Adds where the right side of one rectangle lies on the left side of another one. `vertical` says
/// what that is for the caller, who may have transposed them.
void AddBorders(const std::vector<cv::Rect>& rectangles, bool vertical, std::size_t most,
                std::vector<Border>& borders) {
  std::map<int, std::vector<std::size_t>> beginningAt;
  for (std::size_t i = 0; i < rectangles.size(); ++i) beginningAt[rectangles[i].x].push_back(i);
  for (std::size_t a = 0; a < rectangles.size(); ++a) {
    const auto beginning = beginningAt.find(rectangles[a].br().x);
    if (beginning == beginningAt.end()) continue;
    for (const std::size_t b : beginning->second) {
      const int begin = std::max(rectangles[a].y, rectangles[b].y);
      const int end = std::min(rectangles[a].br().y, rectangles[b].br().y);
      if (begin >= end) continue;
      if (borders.size() >= most) return;
      borders.push_back({a, b, vertical, rectangles[b].x, begin, end});
    }
  }
}

}  // namespace

std::vector<Border> BordersOf(const std::vector<cv::Rect>& rectangles, std::size_t most) {
  std::vector<Border> borders;
  AddBorders(rectangles, true, most, borders);
  std::vector<cv::Rect> transposed(rectangles.size());
  std::transform(rectangles.begin(), rectangles.end(), transposed.begin(), Transposed);
  AddBorders(transposed, false, most, borders);
  return borders;
}

std::vector<cv::Rect> Distinct(std::vector<cv::Rect> rectangles) {
  const auto order = [](const cv::Rect& a, const cv::Rect& b) {
    return std::tie(a.y, a.x, a.height, a.width) < std::tie(b.y, b.x, b.height, b.width);
  };
  std::sort(rectangles.begin(), rectangles.end(), order);
  rectangles.erase(std::unique(rectangles.begin(), rectangles.end()), rectangles.end());
  return rectangles;
}

}  // namespace dravix::lab
