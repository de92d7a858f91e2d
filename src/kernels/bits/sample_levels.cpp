// The matrix library would make the 8-bit picture first: a product in single precision per sample,
// rounded half to even. Equal samples become equal values, so the histogram of the samples gives
// that of the values. A larger sample never becomes a smaller value, so a threshold of the 8-bit
// picture is one of the samples. No 8-bit picture is ever made.
#include "kernels/bits/sample_levels.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <mutex>

#include "kernels/bits/padded_rows.h"
#include "kernels/parts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/bits/sample_levels.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

/// Bit x is set where sample x is above `level`; `words` words of them, of whole vectors.
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

HWY_EXPORT(CompareShorts);

}  // namespace

float ScaleToWhite(int largest) {
  constexpr double kWhite = 255;
  return largest > 0 ? static_cast<float>(kWhite / largest) : 0.0F;
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
  ForEachPartOfRows(picture.rows, [&](int begin, int end) {
    PaddedRows row(picture);
    for (int y = begin; y < end; ++y) {
      HWY_DYNAMIC_DISPATCH(CompareShorts)
      (row.At(y), static_cast<std::uint16_t>(level), row.Words(), bits.Row(y));
      bits.ClearBeyondWidth(y);
    }
  });
  return bits;
}

int OtsuSample(const SampleCounter& counted) {
  const float scale = ScaleToWhite(counted.Largest());
  return LargestSampleUpTo(OtsuLevel(counted.EightBitCounts(scale)), scale);
}

int OtsuSample(const cv::Mat& picture) {
  std::mutex mutex;
  SampleCounter counted;
  ForEachPartOfRows(picture.rows, [&](int begin, int end) {
    PaddedRows row(picture);
    SampleCounter found;
    for (int y = begin; y < end; ++y) found.Add(row.At(y), static_cast<std::size_t>(picture.cols));
    const std::lock_guard<std::mutex> lock(mutex);
    counted.Add(found);
  });
  return OtsuSample(counted);
}

}  // namespace dravix::kernels
#endif
