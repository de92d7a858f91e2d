/// How true the luminances are, measured by either pipeline.
#pragma once

#include <optional>
#include <vector>

#include "fidelity/detect.h"

namespace dravix::fidelity {

/// RMS error of the luminances against the truth, relative to their mean, one gain for all taken
/// out, the outer 4 LEDs aside. Empty when the pipeline refused.
[[nodiscard]] std::optional<double> AutomaticError(const Subject& subject);
[[nodiscard]] std::optional<double> CheckerboardError(const Subject& subject);

/// Of values in any order; 0 of none.
[[nodiscard]] double Median(std::vector<double> values);

}  // namespace dravix::fidelity
