/// What a second photograph that shows the spots brings to un-mixing.
#pragma once

#include <cstdint>

namespace dravix {

/// Prints a table: by kind of screen and spot, the RMS error with the photograph alone, with sparse
/// photographs, with a checkerboard, and with the true spot, which is the most that there is to
/// gain.
void PrintSpots(std::uint64_t seed);

}  // namespace dravix
