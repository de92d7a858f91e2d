/// Sums of many columns at once, in the order in which each column alone would be added.
#pragma once

#include <cstdint>
#include <vector>

namespace dravix::kernels {

/// sums[i] = (fresh ? 0 : sums[i]) + weight * samples[begin + i] for `count` neighboring columns.
struct WeightedRow {
  int begin = 0;
  int count = 0;
  float weight = 0;
  bool fresh = false;
  float* sums = nullptr;
};

/// Adds one row of samples. Each product and each sum is rounded to single precision by itself.
void AddWeighted(const std::uint16_t* samples, const std::vector<WeightedRow>& rows);

}  // namespace dravix::kernels
