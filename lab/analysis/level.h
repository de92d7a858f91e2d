/// Mean, spread and order statistics of the LEDs that count.
#pragma once

#include <dravix/lab/analysis.h>

#include <cstdint>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

struct CountedLevel {
  Level level;
  std::int64_t counted = 0;
};

[[nodiscard]] CountedLevel LevelOf(const CountedRows& rows);

}  // namespace dravix::lab
