/// LEDs that stand out of their surroundings.
#pragma once

#include <dravix/lab/analysis.h>

#include <vector>

#include "lab/analysis/counted_rows.h"

namespace dravix::lab {

[[nodiscard]] std::vector<Defect> DefectsOf(const CountedRows& rows,
                                            const AnalysisOptions& options);

[[nodiscard]] DefectCounts CountsOf(const std::vector<Defect>& defects);

}  // namespace dravix::lab
