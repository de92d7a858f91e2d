#include "kernels/bits/histogram.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <functional>
#include <numeric>
#include <opencv2/core.hpp>

namespace dravix::kernels {

void ValueCounter::Add(const std::uint8_t* values, std::size_t count) {
  std::size_t i = 0;
  for (; i + sizeof(std::uint64_t) <= count; i += sizeof(std::uint64_t)) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, values + i, sizeof(eight));
    ++first_[eight & 0xFFFF];
    ++second_[(eight >> 16) & 0xFFFF];
    ++first_[(eight >> 32) & 0xFFFF];
    ++second_[eight >> 48];
  }
  for (; i < count; ++i) ++single_[values[i]];
}

Histogram ValueCounter::Counts() const {
  Histogram counts = single_;
  for (std::size_t pair = 0; pair < kPairs; ++pair) {
    const std::int32_t found = first_[pair] + second_[pair];
    counts[pair & 0xFF] += found;
    counts[pair >> 8] += found;
  }
  return counts;
}

void SampleCounter::Add(const std::uint16_t* samples, std::size_t count) {
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    std::uint64_t four = 0;
    std::memcpy(&four, samples + i, sizeof(four));
    ++first_[four & 0xFFFF];
    ++second_[(four >> 16) & 0xFFFF];
    ++first_[(four >> 32) & 0xFFFF];
    ++second_[four >> 48];
  }
  for (; i < count; ++i) ++first_[samples[i]];
}

void SampleCounter::Add(const SampleCounter& other) {
  std::transform(first_.begin(), first_.end(), other.first_.begin(), first_.begin(), std::plus<>());
  std::transform(second_.begin(), second_.end(), other.second_.begin(), second_.begin(),
                 std::plus<>());
}

int SampleCounter::Largest() const {
  std::size_t sample = kSamples - 1;
  while (sample > 0 && first_[sample] + second_[sample] == 0) --sample;
  return static_cast<int>(sample);
}

Histogram SampleCounter::EightBitCounts(float scale) const {
  constexpr int kWhite = 255;
  Histogram counts{};
  for (int sample = Largest(); sample >= 0; --sample) {
    const int value = std::min(cvRound(static_cast<float>(sample) * scale), kWhite);
    const auto i = static_cast<std::size_t>(sample);
    counts[static_cast<std::size_t>(value)] += first_[i] + second_[i];
  }
  return counts;
}

int OtsuLevel(const Histogram& histogram) {
  const double scale = 1.0 / std::accumulate(histogram.begin(), histogram.end(), 0);
  double mean = 0;
  for (std::size_t i = 0; i < histogram.size(); ++i) {
    mean += static_cast<double>(i) * static_cast<double>(histogram[i]);
  }
  mean *= scale;
  double darkMean = 0;
  double darkShare = 0;
  double largest = 0;
  int level = 0;
  for (std::size_t i = 0; i < histogram.size(); ++i) {
    const double share = histogram[i] * scale;
    darkMean *= darkShare;
    darkShare += share;
    const double brightShare = 1.0 - darkShare;
    if (std::min(darkShare, brightShare) < static_cast<double>(FLT_EPSILON) ||
        std::max(darkShare, brightShare) > 1.0 - static_cast<double>(FLT_EPSILON)) {
      continue;
    }
    darkMean = (darkMean + static_cast<double>(i) * share) / darkShare;
    const double brightMean = (mean - darkShare * darkMean) / brightShare;
    const double variance =
        darkShare * brightShare * (darkMean - brightMean) * (darkMean - brightMean);
    if (variance > largest) {
      largest = variance;
      level = static_cast<int>(i);
    }
  }
  return level;
}

}  // namespace dravix::kernels
