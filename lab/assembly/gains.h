/// One gain for each result, from what pairs of results say.
#pragma once

#include <cstddef>
#include <vector>

#include "lab/assembly/links.h"

namespace dravix::lab {

/// The gains of `count` results that make the sum of weight (log(gain a) - log(gain b) - ratio)^2
/// over the links smallest. The geometric mean of those that links connect is 1.
[[nodiscard]] std::vector<double> GainsOf(std::size_t count, const std::vector<Link>& links);

}  // namespace dravix::lab
