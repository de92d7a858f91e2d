/// Uniformity over the usual sets of measuring points.
#pragma once

#include <dravix/lab/analysis.h>

#include <array>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

/// Over 5, 9, 13 and 25 points. `at` is the screen position of the matrix's LED (0, 0).
[[nodiscard]] std::array<Uniformity, 4> UniformityOf(const CountedRows& rows, cv::Point at);

}  // namespace dravix::lab
