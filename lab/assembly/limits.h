/// What an assembly may cost.
#pragma once

#include <cstddef>

namespace dravix::lab {

/// Pairs of results that are compared, and borders between partitions. A 16K screen in 256
/// partitions with 16 phases has about 40,000 in one plane.
inline constexpr std::size_t kMostPairs = 1000000;

}  // namespace dravix::lab
