/// Random numbers that are the same on every machine and with every compiler.
#pragma once

#include <cstdint>

namespace dravix::sim {

/// SplitMix64, by Sebastiano Vigna (public domain), after Steele, Lea, Flood: "Fast splittable
/// pseudorandom number generators", OOPSLA 2014. 64 bits of state, one step per number.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  /// A generator of its own for part `index` of a scene, so that parts do not depend on each
  /// other's order.
  Random(std::uint64_t seed, std::uint64_t index);

  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
  }
  /// In [0, 1), 53 bits.
  double Uniform() { return static_cast<double>(Next() >> 11U) * 0x1p-53; }
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  /// low..high, both possible; low <= high.
  int Between(int low, int high);
  bool Chance(double share) { return Uniform() < share; }
  /// Standard normal deviate (see NormalTable).
  double Normal();

 private:
  std::uint64_t state_;
};

/// Quantiles of the standard normal distribution at (i + 0.5) / kNormalSteps. The sum of two draws
/// from it over the root of 2 has the tails to 5 sigma and variance 1 that a normal deviate needs.
constexpr int kNormalSteps = 4096;
/// kNormalSteps values, ascending, scaled to variance 1/2 so that the sum of two has variance 1.
const float* NormalTable();

}  // namespace dravix::sim
