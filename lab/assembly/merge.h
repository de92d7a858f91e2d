/// Results put together.
#pragma once

#include <dravix/lab/assembly.h>

#include <cstdint>
#include <vector>

namespace dravix::lab {

struct Merged {
  cv::Mat1f values;
  cv::Mat1b counts;
  std::int64_t measured = 0;
  std::int64_t doubled = 0;
};

/// The mean of each LED's finite values, each times its result's gain.
[[nodiscard]] Merged Merge(const std::vector<PlacedResult>& results,
                           const std::vector<double>& gains);

}  // namespace dravix::lab
