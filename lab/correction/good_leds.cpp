#include "lab/correction/good_leds.h"

#include <dravix/lab/analysis.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "lab/analysis/counted_rows.h"
#include "lab/analysis/defects.h"

namespace dravix::lab {
namespace {

bool IsAbove(const cv::Point& a, const cv::Point& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; }

/// LEDs that are dead beside their neighbors. Dim and bright ones are not looked for, so that a
/// noisy plane does not make a long list.
std::vector<cv::Point> DeadBesideNeighbors(const cv::Mat& values) {
  AnalysisOptions options;
  options.dim = 0;
  options.bright = std::numeric_limits<double>::infinity();
  std::vector<cv::Point> dead;
  for (const Defect& defect : DefectsOf(CountedRows(values, 0), options)) {
    if (defect.kind == DefectKind::kDead) dead.push_back(defect.position);
  }
  return dead;
}

/// Finite values that are not above 0.
template <class T>
std::vector<cv::Point> Dark(const cv::Mat& values) {
  std::vector<cv::Point> dark;
  for (int y = 0; y < values.rows; ++y) {
    const T* row = values.ptr<T>(y);
    for (int x = 0; x < values.cols; ++x) {
      if (std::isfinite(row[x]) && row[x] <= 0) dark.emplace_back(x, y);
    }
  }
  return dark;
}

/// NaN where an LED is not finite or is one of the dead.
template <class T>
cv::Mat WithoutOthers(const cv::Mat& values, const std::vector<cv::Point>& dead) {
  constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
  cv::Mat good(values.size(), values.type());
  for (int y = 0; y < values.rows; ++y) {
    const T* from = values.ptr<T>(y);
    std::transform(from, from + values.cols, good.ptr<T>(y),
                   [](T value) { return std::isfinite(value) ? value : kNaN; });
  }
  for (const cv::Point& led : dead) good.at<T>(led) = kNaN;
  return good;
}

template <class T>
GoodLeds GoodLedsIn(const cv::Mat& values) {
  const std::vector<cv::Point> dark = Dark<T>(values);
  const std::vector<cv::Point> beside = DeadBesideNeighbors(values);
  GoodLeds good;
  std::set_union(dark.begin(), dark.end(), beside.begin(), beside.end(),
                 std::back_inserter(good.dead), IsAbove);
  good.values = WithoutOthers<T>(values, good.dead);
  return good;
}

}  // namespace

GoodLeds GoodLedsOf(const cv::Mat& values) {
  return values.type() == CV_32FC1 ? GoodLedsIn<float>(values) : GoodLedsIn<double>(values);
}

}  // namespace dravix::lab
