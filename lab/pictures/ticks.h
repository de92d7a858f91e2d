/// The numbers that stand beside a scale.
#pragma once

#include <string>
#include <vector>

namespace dravix::lab {

struct Tick {
  double share = 0;  ///< of the scale, 0 at its low end
  std::string text;
};

/// At most about `count` ticks at round numbers within [low, high]; `low` is below `high`. No two
/// have the same text. Numbers of very many digits are written with an exponent.
[[nodiscard]] std::vector<Tick> TicksOf(double low, double high, int count);

}  // namespace dravix::lab
