/// Steps of luminance at the seams between modules.
#pragma once

#include <dravix/lab/analysis.h>

#include <vector>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

/// One seam where a module begins and the LEDs on both sides are inside the edge that does not
/// count. Vertical ones first, ascending. `at` is the screen position of the matrix's LED (0, 0).
[[nodiscard]] std::vector<Seam> SeamsOf(const CountedRows& rows, cv::Point at, cv::Size module);

/// Root of the mean square of the steps that are known; NaN without any.
[[nodiscard]] double RmsOf(const std::vector<Seam>& seams);

}  // namespace dravix::lab
