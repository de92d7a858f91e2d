#include "checkerboard/geometry/statistics.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace dravix::checkerboard {

double MiddleMean(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto quarter = static_cast<std::ptrdiff_t>(values.size() / 4);
  const auto first = values.begin() + quarter;
  const auto last = values.end() - quarter;
  return std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace dravix::checkerboard
