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

}  // namespace dravix::lab
