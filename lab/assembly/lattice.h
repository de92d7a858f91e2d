/// The LEDs of a result along one axis of the screen.
#pragma once

#include <dravix/lab/assembly.h>

#include <optional>

namespace dravix::lab {

/// Screen positions first, first + step, ... of `count` LEDs.
struct Lattice {
  int first = 0;
  int step = 1;
  int count = 0;

  [[nodiscard]] int At(int index) const { return first + index * step; }
  [[nodiscard]] int Last() const { return At(count - 1); }
  /// The index of an LED of the lattice.
  [[nodiscard]] int IndexOf(int position) const { return (position - first) / step; }
};

[[nodiscard]] Lattice ColumnsOf(const Placement& placement);
[[nodiscard]] Lattice RowsOf(const Placement& placement);

/// The LEDs that both have; empty where there is none.
[[nodiscard]] std::optional<Lattice> Shared(const Lattice& a, const Lattice& b);

/// The indices [begin, end) of the LEDs whose positions lie in [from, to).
struct Indices {
  int begin = 0;
  int end = 0;
  [[nodiscard]] bool Empty() const { return begin >= end; }
};
[[nodiscard]] Indices Within(const Lattice& lattice, int from, int to);

}  // namespace dravix::lab
