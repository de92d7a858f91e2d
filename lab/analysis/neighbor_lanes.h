/// Neighboring LEDs of a row, a vector of them at a time.
#pragma once

#include <array>

#include "lab/analysis/surroundings.h"

namespace dravix::lab {

/// The LEDs of that many columns are looked at together.
template <class T>
inline constexpr int kLanes = 16 / static_cast<int>(sizeof(T));

/// Ratios of an LED to the median of its neighbors that are no defect, with a little less than the
/// options allow: quotients here are rounded differently from the one that decides.
template <class T>
struct SoundRatios {
  T low;
  T high;
};

/// Whether all LEDs of columns [x, x + kLanes) are seen to be sound: more than half of the 24
/// neighbors speak for each. False says nothing.
template <class T>
[[nodiscard]] bool AreSound(const Surroundings<T>& around, int x, const SoundRatios<T>& sound);

/// The medians around the LEDs of columns [x, x + kLanes); NaN where one of the 24 neighbors does
/// not count.
template <class T>
[[nodiscard]] std::array<double, kLanes<T>> Medians(const Surroundings<T>& around, int x);

}  // namespace dravix::lab
