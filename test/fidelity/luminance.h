/// How exactly either pipeline measures luminances.
#pragma once

#include <optional>

#include "fidelity/detect.h"

namespace dravix::fidelity {

/// Root mean square error of the luminances against the truth, as a share of their mean, without
/// the outer 4 LEDs at each side; one gain for all LEDs is taken out first. Empty when the pipeline
/// refused the scene.
[[nodiscard]] std::optional<double> AutomaticError(const Subject& subject);
[[nodiscard]] std::optional<double> CheckerboardError(const Subject& subject);

}  // namespace dravix::fidelity
