/// What the values say about the ratio of two results' gains.
#pragma once

#include <dravix/lab/assembly.h>

#include <cstddef>
#include <vector>

namespace dravix::lab {

/// `weight` equations log(gain a) - log(gain b) = ratio, or one of their mean and that weight.
struct Link {
  std::size_t a = 0;
  std::size_t b = 0;
  double ratio = 0;  ///< natural logarithm
  double weight = 1;
};

/// For Match::kOverlap, one link for each two results that share LEDs with values above 0; its
/// weight is the number of these.
[[nodiscard]] std::vector<Link> OverlapLinks(const std::vector<PlacedResult>& results);
/// For Match::kSeams, one link of weight 1 for each two means.
[[nodiscard]] std::vector<Link> SeamLinks(const std::vector<PlacedResult>& results);

[[nodiscard]] std::vector<Placement> PlacementsOf(const std::vector<PlacedResult>& results);

}  // namespace dravix::lab
