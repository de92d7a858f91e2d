// The matrix library would make the 8-bit picture first: a product in single precision per sample,
// rounded half to even. A larger sample never becomes a smaller 8-bit value, so a threshold of the
// 8-bit picture is one of the samples, and only their histogram needs the 8-bit values, which live
// for one row.
#include "kernels/sample_levels.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <mutex>
#include <vector>

#include "kernels/strips.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/sample_levels.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Rows have whole vectors: PaddedRows sees to it.

std::uint16_t LargestOfRow(const std::uint16_t* samples, std::size_t count) {
  const hn::ScalableTag<std::uint16_t> shorts;
  auto largest = hn::Zero(shorts);
  std::size_t i = 0;
  for (; i + hn::Lanes(shorts) <= count; i += hn::Lanes(shorts)) {
    largest = hn::Max(largest, hn::LoadU(shorts, samples + i));
  }
  if (i < count) {
    const auto inside = hn::FirstN(shorts, count - i);
    largest = hn::Max(largest, hn::IfThenElseZero(inside, hn::LoadU(shorts, samples + i)));
  }
  return hn::GetLane(hn::MaxOfLanes(shorts, largest));
}

/// Sums of whole vectors fit 32 bits in each lane: up to 2^16 of them.
std::uint64_t SumOfRow(const std::uint16_t* samples, std::size_t count) {
  const hn::ScalableTag<std::uint32_t> ints;
  const hn::Rebind<std::uint16_t, decltype(ints)> shorts;
  auto sums = hn::Zero(ints);
  std::size_t i = 0;
  for (; i + hn::Lanes(ints) <= count; i += hn::Lanes(ints)) {
    sums = hn::Add(sums, hn::PromoteTo(ints, hn::LoadU(shorts, samples + i)));
  }
  HWY_ALIGN std::uint32_t lanes[hn::MaxLanes(ints)];
  hn::Store(sums, ints, lanes);
  std::uint64_t sum = 0;
  for (std::size_t lane = 0; lane < hn::Lanes(ints); ++lane) sum += lanes[lane];
  for (; i < count; ++i) sum += samples[i];
  return sum;
}

void AddRow(std::uint32_t* sums, const std::uint16_t* samples, std::size_t count) {
  const hn::ScalableTag<std::uint32_t> ints;
  const hn::Rebind<std::uint16_t, decltype(ints)> shorts;
  for (std::size_t i = 0; i < count; i += hn::Lanes(ints)) {
    const auto sample = hn::PromoteTo(ints, hn::LoadU(shorts, samples + i));
    hn::StoreU(hn::Add(hn::LoadU(ints, sums + i), sample), ints, sums + i);
  }
}

void ScaleRow(const std::uint16_t* samples, std::size_t count, float scale, std::uint8_t* values) {
  constexpr int kWhite = 255;
  const hn::ScalableTag<float> floats;
  const hn::RebindToSigned<decltype(floats)> ints;
  const hn::Rebind<std::uint16_t, decltype(floats)> shorts;
  const hn::Rebind<std::uint8_t, decltype(floats)> bytes;
  const auto factor = hn::Set(floats, scale);
  const auto white = hn::Set(ints, kWhite);
  for (std::size_t i = 0; i < count; i += hn::Lanes(floats)) {
    const auto sample = hn::PromoteTo(ints, hn::LoadU(shorts, samples + i));
    const auto value = hn::NearestInt(hn::Mul(hn::ConvertTo(floats, sample), factor));
    hn::StoreU(hn::DemoteTo(bytes, hn::Min(value, white)), bytes, values + i);
  }
}

/// Bit x is set where sample x is above `level`; `words` words of them.
void CompareShorts(const std::uint16_t* samples, std::uint16_t level, std::size_t words,
                   std::uint64_t* bits) {
  constexpr std::size_t kBits = BitPicture::kWordBits;
#if HWY_TARGET == HWY_SCALAR
  for (std::size_t word = 0; word < words; ++word) {
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < kBits; ++i) {
      found |= static_cast<std::uint64_t>(samples[word * kBits + i] > level) << i;
    }
    bits[word] = found;
  }
#else
  const hn::CappedTag<std::uint16_t, kBits / 2> shorts;
  const auto limit = hn::Set(shorts, level);
  for (std::size_t i = 0; i < words * kBits; i += hn::Lanes(shorts)) {
    // Above means that the larger of the two is not the limit.
    const auto sample = hn::LoadU(shorts, samples + i);
    const auto above = hn::Ne(hn::Max(sample, limit), limit);
    hn::StoreMaskBits(shorts, above, reinterpret_cast<std::uint8_t*>(bits) + i / 8);
  }
#endif
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(AddRow);
HWY_EXPORT(CompareShorts);
HWY_EXPORT(LargestOfRow);
HWY_EXPORT(ScaleRow);
HWY_EXPORT(SumOfRow);

}  // namespace

int LargestSample(const cv::Mat& picture) {
  std::mutex mutex;
  int largest = 0;
  ForEachStrip(picture.rows, [&](int begin, int end) {
    PaddedRows row(picture);
    int found = 0;
    for (int y = begin; y < end; ++y) {
      found =
          std::max<int>(found, HWY_DYNAMIC_DISPATCH(LargestOfRow)(row.At(y), row.PaddedCount()));
    }
    const std::lock_guard<std::mutex> lock(mutex);
    largest = std::max(largest, found);
  });
  return largest;
}

int LargestOf(const std::uint16_t* samples, int count) {
  return HWY_DYNAMIC_DISPATCH(LargestOfRow)(samples, static_cast<std::size_t>(count));
}

std::uint64_t SumOf(const std::uint16_t* samples, int count) {
  return HWY_DYNAMIC_DISPATCH(SumOfRow)(samples, static_cast<std::size_t>(count));
}

void AddTo(std::uint32_t* sums, const std::uint16_t* samples, int count) {
  HWY_DYNAMIC_DISPATCH(AddRow)(sums, samples, static_cast<std::size_t>(count));
}

float ScaleToWhite(int largest) {
  constexpr double kWhite = 255;
  return largest > 0 ? static_cast<float>(kWhite / largest) : 0.0F;
}

Histogram EightBitCounts(const cv::Mat& picture, float scale) {
  std::mutex mutex;
  Histogram counts{};
  ForEachStrip(picture.rows, [&](int begin, int end) {
    PaddedRows row(picture);
    std::vector<std::uint8_t> values(row.PaddedCount());
    ValueCounter counter;
    for (int y = begin; y < end; ++y) {
      HWY_DYNAMIC_DISPATCH(ScaleRow)(row.At(y), row.PaddedCount(), scale, values.data());
      counter.Add(values.data(), static_cast<std::size_t>(picture.cols));
    }
    const Histogram found = counter.Counts();
    const std::lock_guard<std::mutex> lock(mutex);
    std::transform(found.begin(), found.end(), counts.begin(), counts.begin(), std::plus<>());
  });
  return counts;
}

int LargestSampleUpTo(int level, float scale) {
  int low = 0;  // its value is at most the level
  int high = std::numeric_limits<std::uint16_t>::max() + 1;
  while (high - low > 1) {
    const int middle = low + (high - low) / 2;
    const bool atMost = cvRound(static_cast<float>(middle) * scale) <= level;
    (atMost ? low : high) = middle;
  }
  return low;
}

BitPicture Above(const cv::Mat& picture, int level) {
  BitPicture bits(picture.size());
  if (level >= std::numeric_limits<std::uint16_t>::max()) return bits;
  ForEachStrip(picture.rows, [&](int begin, int end) {
    PaddedRows row(picture);
    for (int y = begin; y < end; ++y) {
      HWY_DYNAMIC_DISPATCH(CompareShorts)
      (row.At(y), static_cast<std::uint16_t>(level), row.Words(), bits.Row(y));
    }
  });
  return bits;
}

int OtsuSample(const cv::Mat& picture, int largest) {
  const float scale = ScaleToWhite(largest);
  return LargestSampleUpTo(OtsuLevel(EightBitCounts(picture, scale)), scale);
}

}  // namespace dravix::kernels
#endif
