// A vector holds the values of neighboring columns, and one of its instructions compares all of
// them with their neighbors in one direction. The median is found by forgetting: the least and the
// largest of the first 14 of 24 values cannot be among the middle two, because 12 values are above
// or below each. Both are dropped, the next value takes the place of one, and so on until all
// values have been seen and the middle two are left. Nothing branches on values, so that noise
// costs no more than an even screen, and nothing is rounded.
#include "lab/analysis/neighbor_lanes.h"

#include <cstddef>
#include <opencv2/core/hal/intrin.hpp>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

static_assert(CV_SIMD128 && CV_SIMD128_64F, "the matrix library has vectors on 64-bit processors");

template <class T>
struct LanesOf;
template <>
struct LanesOf<float> {
  using Vector = cv::v_float32x4;
  static Vector All(float value) { return cv::v_setall_f32(value); }
  // Smaller numbers are rounded too coarsely for the margin of SoundRatios.
  static constexpr float kLeast = 1e-30F;
};
template <>
struct LanesOf<double> {
  using Vector = cv::v_float64x2;
  static Vector All(double value) { return cv::v_setall_f64(value); }
  static constexpr double kLeast = 1e-290;
};

template <class T>
using Vector = typename LanesOf<T>::Vector;

/// Calls `use` with the neighbors in each of the 24 directions.
template <class T, class Use>
void ForEachNeighbor(const Surroundings<T>& around, int x, Use&& use) {
  for (int dy = -kReach; dy <= kReach; ++dy) {
    const T* row = around.Row(dy) + x;
    for (int dx = -kReach; dx <= kReach; ++dx) {
      if (dx != 0 || dy != 0) use(cv::v_load(row + dx));
    }
  }
}

/// Moves the smaller ones of each pair to `a`, the larger ones to `b`.
template <class V>
void Sort(V& a, V& b) {
  const V low = cv::v_min(a, b);
  b = cv::v_max(a, b);
  a = low;
}

/// Moves the least of the values to the first place and the largest to the last.
template <int kCount, class V>
void MoveExtremesOut(V* values) {
  for (int i = 0; i < kCount / 2; ++i) Sort(values[i], values[kCount - 1 - i]);
  // The least is in the lower half now, the largest in the upper one; a middle one is in both.
  for (int i = 1; i < (kCount + 1) / 2; ++i) Sort(values[0], values[i]);
  for (int i = kCount / 2; i < kCount - 1; ++i) Sort(values[i], values[kCount - 1]);
}

constexpr int kCandidates = kNeighbors / 2 + 2;  // the first values that are looked at together
constexpr std::size_t kLowerMiddle = kCandidates - 3;  // place of the lower one when all are done

/// Leaves the middle two of all values in places kLowerMiddle and kLowerMiddle + 1. kCount values
/// are candidates; `next` is the first one that has not been looked at. Counts are known when this
/// is compiled, so that no loop is left.
template <int kCount, class V>
void ForgetExtremes(V* candidates, const V* next) {
  MoveExtremesOut<kCount>(candidates);
  if constexpr (kCount > 4) {
    // The least one stays behind, the largest one is replaced.
    candidates[kCount - 1] = *next;
    ForgetExtremes<kCount - 1>(candidates + 1, next + 1);
  }
}

}  // namespace

template <class T>
bool AreSound(const Surroundings<T>& around, int x, const SoundRatios<T>& sound) {
  const auto all = [](T value) { return LanesOf<T>::All(value); };
  const Vector<T> value = cv::v_load(around.Row(0) + x);
  const Vector<T> most = value / all(sound.low);    // a median up to this: not too dark
  const Vector<T> least = value / all(sound.high);  // a median from this on: not too bright
  const Vector<T> one = all(1);
  Vector<T> notTooDark = all(0);
  Vector<T> notTooBright = all(0);
  ForEachNeighbor(around, x, [&](const Vector<T>& neighbor) {
    notTooDark += (neighbor <= most) & one;
    notTooBright += (neighbor >= least) & one;
  });
  const Vector<T> isExact = (cv::v_abs(value) >= all(LanesOf<T>::kLeast)) | (value == all(0));
  const Vector<T> half = all(kNeighbors / 2);
  return cv::v_check_all(isExact & (notTooDark > half) & (notTooBright > half));
}

template <class T>
std::array<double, kLanes<T>> Medians(const Surroundings<T>& around, int x) {
  std::array<Vector<T>, kNeighbors> values;
  std::size_t filled = 0;
  Vector<T> known = LanesOf<T>::All(0) == LanesOf<T>::All(0);
  ForEachNeighbor(around, x, [&](const Vector<T>& neighbor) {
    known = known & (neighbor == neighbor);
    values[filled++] = neighbor;
  });
  ForgetExtremes<kCandidates>(values.data(), values.data() + kCandidates);
  std::array<T, kLanes<T>> lower;
  std::array<T, kLanes<T>> upper;
  std::array<T, kLanes<T>> isKnown;
  cv::v_store(lower.data(), values[kLowerMiddle]);
  cv::v_store(upper.data(), values[kLowerMiddle + 1]);
  cv::v_store(isKnown.data(), known & LanesOf<T>::All(1));
  std::array<double, kLanes<T>> medians;
  for (std::size_t i = 0; i < medians.size(); ++i) {
    medians[i] = isKnown[i] != 0
                     ? static_cast<double>(lower[i]) / 2 + static_cast<double>(upper[i]) / 2
                     : kNotKnown;
  }
  return medians;
}

template bool AreSound(const Surroundings<float>&, int, const SoundRatios<float>&);
template bool AreSound(const Surroundings<double>&, int, const SoundRatios<double>&);
template std::array<double, kLanes<float>> Medians(const Surroundings<float>&, int);
template std::array<double, kLanes<double>> Medians(const Surroundings<double>&, int);

}  // namespace dravix::lab
