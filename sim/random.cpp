#include "sim/random.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "sim/fixed_math.h"

namespace dravix::sim {
namespace {

constexpr int kSteps = 1 << 15;  // steps of the integral from 0 to kReach
constexpr double kReach = 4.5;   // in sigma; the outermost quantile lies at 3.7

/// The upper half of the quantiles. Simpson's rule sums up the distribution function step by step;
/// whenever a step passes a wanted probability, its quantile is interpolated inside that step.
std::array<double, kNormalSteps / 2> UpperQuantiles() {
  constexpr double kStep = kReach / kSteps;
  constexpr double kDensityAtZero = 0.3989422804014327;
  const auto density = [](double x) { return kDensityAtZero * FixedExp(-0.5 * x * x); };
  std::array<double, kNormalSteps / 2> quantiles{};
  double below = 0.5;
  std::size_t next = 0;
  for (int i = 0; i < kSteps && next < quantiles.size(); ++i) {
    const double x = i * kStep;
    const double part =
        (density(x) + 4.0 * density(x + 0.5 * kStep) + density(x + kStep)) * (kStep / 6.0);
    while (next < quantiles.size()) {
      const double wanted = 0.5 + (static_cast<double>(next) + 0.5) / kNormalSteps;
      if (wanted > below + part) break;
      quantiles[next++] = x + kStep * (wanted - below) / part;
    }
    below += part;
  }
  return quantiles;
}

std::array<float, kNormalSteps> MakeTable() {
  const auto upper = UpperQuantiles();
  double squares = 0;
  for (const double q : upper) squares += q * q;
  const double scale = std::sqrt(0.5 * static_cast<double>(upper.size()) / squares);
  std::array<float, kNormalSteps> table{};
  for (std::size_t i = 0; i < upper.size(); ++i) {
    const auto value = static_cast<float>(scale * upper[i]);
    table[upper.size() + i] = value;
    table[upper.size() - 1 - i] = -value;
  }
  return table;
}

}  // namespace

Random::Random(std::uint64_t seed, std::uint64_t index) : state_(seed) {
  state_ = Next() ^ (index * 0xD1342543DE82EF95U);
  state_ = Next();
}

int Random::Between(int low, int high) {
  const auto count = static_cast<std::uint64_t>(high - low) + 1;
  return low + static_cast<int>(((Next() >> 32U) * count) >> 32U);
}

double Random::Normal() {
  constexpr std::uint64_t kMask = kNormalSteps - 1;
  const std::uint64_t bits = Next();
  const float* table = NormalTable();
  return static_cast<double>(table[bits & kMask]) +
         static_cast<double>(table[(bits >> 12U) & kMask]);
}

const float* NormalTable() {
  static const std::array<float, kNormalSteps> table = MakeTable();
  return table.data();
}

}  // namespace dravix::sim
