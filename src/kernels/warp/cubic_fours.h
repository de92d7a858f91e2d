/// The cubic warp four pixels at a time, for processors without the vector instructions that
/// cubic_warp.cpp is made for: those with SSE2 alone, which every 64-bit PC has.
#pragma once

#include <cstdint>

#include "kernels/warp/cubic_sample.h"
#include "kernels/warp/perspective.h"

namespace dravix::kernels {

/// Writes the columns from `begin` to `end` of the working image's row y, and up to three samples
/// more, without meaning. `begin` is a multiple of Perspective::kBlock. The samples have the bits
/// of CubicSample.
void WarpRowByFours(const Samples16& photo, const Perspective& p, int y, int begin, int end,
                    std::uint16_t* samples);

}  // namespace dravix::kernels
