/// The quotient of two pictures, row by row, with the bits of cv::divide.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dravix::kernels {

/// quotients[i] = above[i] * scale / below[i] in 8 bits, rounded half to even; 0 where below[i] is
/// 0. Whole vectors are computed: up to 63 values after the last one are read and written.
void Quotients(const std::uint16_t* above, const std::uint16_t* below, std::size_t count,
               float scale, std::uint8_t* quotients);

}  // namespace dravix::kernels
