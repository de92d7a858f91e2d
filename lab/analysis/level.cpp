#include "lab/analysis/level.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "lab/analysis/figures.h"
#include "lab/analysis/order_statistics.h"

namespace dravix::lab {
namespace {

struct Moments {
  Mean mean;
  double minimum = std::numeric_limits<double>::infinity();
  double maximum = -std::numeric_limits<double>::infinity();
};

/// Each row is summed by itself: sums of sums lose less than one long sum does.
Moments MomentsOf(const CountedRows& rows) {
  Moments all;
  rows.ForEachRow([&](int, const double* row) {
    Mean mean;
    for (int x = 0; x < rows.Size().width; ++x) {
      mean.Add(row[x]);
      all.minimum = row[x] < all.minimum ? row[x] : all.minimum;
      all.maximum = row[x] > all.maximum ? row[x] : all.maximum;
    }
    all.mean.Add(mean);
  });
  return all;
}

double VarianceOf(const CountedRows& rows, double center) {
  Mean all;
  rows.ForEachRow([&](int, const double* row) {
    Mean mean;
    for (int x = 0; x < rows.Size().width; ++x) {
      const double difference = row[x] - center;
      mean.Add(difference * difference);
    }
    all.Add(mean);
  });
  return all.Value();
}

void SetOrderStatistics(const CountedRows& rows, std::int64_t count, Level& level) {
  const Between low = PlaceOf(0.01, count);
  const Between high = PlaceOf(0.99, count);
  const std::vector<double> values = OrderStatistics(
      rows, {low.lower, low.upper, (count - 1) / 2, count / 2, high.lower, high.upper});
  level.p01 = low.Blend(values[0], values[1]);
  // Halves are added, since the sum of two large values could be infinite.
  level.median = values[2] / 2 + values[3] / 2;
  level.p99 = high.Blend(values[4], values[5]);
}

}  // namespace

CountedLevel LevelOf(const CountedRows& rows) {
  const Moments moments = MomentsOf(rows);
  CountedLevel result;
  result.counted = moments.mean.count;
  if (result.counted == 0) {
    result.level = {kNotKnown, kNotKnown, kNotKnown, kNotKnown,
                    kNotKnown, kNotKnown, kNotKnown, kNotKnown};
    return result;
  }
  Level& level = result.level;
  level.minimum = moments.minimum;
  level.maximum = moments.maximum;
  // The limits catch what rounding does to the mean of equal values: their deviation is then 0.
  level.mean = std::clamp(moments.mean.Value(), level.minimum, level.maximum);
  level.standardDeviation = std::sqrt(VarianceOf(rows, level.mean));
  level.cv = Quotient(level.standardDeviation, level.mean);
  SetOrderStatistics(rows, result.counted, level);
  return result;
}

}  // namespace dravix::lab
