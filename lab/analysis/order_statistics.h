/// Values by their rank, without sorting all of them.
#pragma once

#include <cstdint>
#include <vector>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

/// The values of the LEDs that count with these ranks, where rank 0 is the smallest. The ranks are
/// below the number of LEDs that count, in any order.
[[nodiscard]] std::vector<double> OrderStatistics(const CountedRows& rows,
                                                  const std::vector<std::int64_t>& ranks);

/// A place between two order statistics and how far it lies from the lower one to the upper one.
struct Between {
  std::int64_t lower = 0;
  std::int64_t upper = 0;
  double share = 0;

  [[nodiscard]] double Blend(double atLower, double atUpper) const {
    return atLower + (atUpper - atLower) * share;
  }
};

/// The position quantile x (count - 1); the quantile is 0 to 1 and the count 1 or more.
[[nodiscard]] Between PlaceOf(double quantile, std::int64_t count);

}  // namespace dravix::lab
