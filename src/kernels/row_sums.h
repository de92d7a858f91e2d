/// Sums of 16-bit samples along a row and across rows.
#pragma once

#include <cstdint>

namespace dravix::kernels {

/// The sum of some samples.
[[nodiscard]] std::uint64_t SumOf(const std::uint16_t* samples, int count);
/// Adds samples to as many sums.
void AddTo(std::uint32_t* sums, const std::uint16_t* samples, int count);

}  // namespace dravix::kernels
