/// Means of the modules of a screen, and the steps between them.
#pragma once

#include <dravix/lab/analysis.h>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

/// Which modules of that size the matrix touches, and the figures of their means. `at` is the
/// screen position of the matrix's LED (0, 0), `levelMean` the mean of all LEDs that count.
[[nodiscard]] Modules ModulesOf(const CountedRows& rows, cv::Point at, cv::Size module,
                                double levelMean);

/// The column and row of the module that holds the LED at a screen position.
[[nodiscard]] cv::Point ModuleAt(cv::Point position, cv::Size module);

}  // namespace dravix::lab
