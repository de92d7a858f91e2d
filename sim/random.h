/// Random numbers that are the same on every machine and with every compiler.
#pragma once

#include <cstdint>

namespace dravix::sim {

/// The generator SplitMix64 by Sebastiano Vigna (public domain), after Steele, Lea, Flood: "Fast
/// splittable pseudorandom number generators", OOPSLA 2014. It has 64 bits of state and takes one
/// step per number.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  /// A generator for part `index` of a scene alone, so that no part's numbers depend on the order
  /// in which the parts are made.
  Random(std::uint64_t seed, std::uint64_t index);

  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
  }
  /// The generator as it is after so many numbers, which takes no longer than one number.
  Random After(std::uint64_t numbers) const {
    Random later = *this;
    later.state_ += numbers * 0x9E3779B97F4A7C15U;
    return later;
  }
  /// Uniformly distributed in [0, 1), with 53 random bits.
  double Uniform() { return static_cast<double>(Next() >> 11U) * 0x1p-53; }
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  /// A whole number from low to high, both included; low <= high.
  int Between(int low, int high);
  bool Chance(double share) { return Uniform() < share; }
  /// A standard normal deviate: the sum of two draws from NormalTable.
  double Normal();

 private:
  std::uint64_t state_;
};

/// The number of values in NormalTable.
constexpr int kNormalSteps = 4096;
/// Quantiles of the normal distribution at (i + 0.5) / kNormalSteps for i from 0 to kNormalSteps -
/// 1, ascending. They are scaled to a variance of 1/2, so that the sum of two random ones has
/// variance 1. A single draw would end at 3.7 sigma and repeat 4096 values; the sum of two
/// reaches 5.2 sigma.
const float* NormalTable();

}  // namespace dravix::sim
