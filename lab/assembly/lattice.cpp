#include "lab/assembly/lattice.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace dravix::lab {
namespace {

/// The first index whose LED lies at `position` or behind it.
int IndexFrom(const Lattice& lattice, int position) {
  if (position <= lattice.first) return 0;
  const int index = (position - lattice.first - 1) / lattice.step + 1;
  return std::min(index, lattice.count);
}

}  // namespace

Lattice ColumnsOf(const Placement& placement) {
  return {placement.partition.x + placement.phase.x, placement.interval.width,
          LitLeds(placement).width};
}

Lattice RowsOf(const Placement& placement) {
  return {placement.partition.y + placement.phase.y, placement.interval.height,
          LitLeds(placement).height};
}

std::optional<Lattice> Shared(const Lattice& a, const Lattice& b) {
  const int begin = std::max(a.first, b.first);
  const int end = std::min(a.Last(), b.Last());
  // After that many LEDs of `a` all distances to those of `b` have come once.
  const int period = b.step / std::gcd(a.step, b.step);
  int index = IndexFrom(a, begin);
  for (int tries = 0; tries < period; ++tries, ++index) {
    if (index >= a.count || a.At(index) > end) return std::nullopt;
    if ((a.At(index) - b.first) % b.step != 0) continue;
    const std::int64_t step = std::int64_t{a.step} * period;
    const int span = end - a.At(index);
    // A step beyond the span is never taken.
    const int taken = static_cast<int>(std::min<std::int64_t>(step, std::int64_t{span} + 1));
    return Lattice{a.At(index), taken, span / taken + 1};
  }
  return std::nullopt;
}

Indices Within(const Lattice& lattice, int from, int to) {
  return {IndexFrom(lattice, from), IndexFrom(lattice, to)};
}

}  // namespace dravix::lab
