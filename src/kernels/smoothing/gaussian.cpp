// Integers only, so that the order of sums cannot matter: values are at most 255 and the weights
// add up to 256, hence a column's sums are below 2^16 and the sums of sums below 2^24; the result
// is (sum + 2^15) / 2^16, rounded down. The library stores the same numbers as fixed-point
// fractions. Sums of columns are kept with 2^15 taken off, as signed numbers: then one instruction
// multiplies two neighbors by their weights and adds the products. Doing so from each even place
// gives every second result, and from each odd place the others. The weights' sum of 256 makes 2^23
// of the offset.
#include "kernels/smoothing/gaussian.h"

#include <cstddef>
#include <numeric>
#include <opencv2/imgproc.hpp>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/smoothing/gaussian.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::int32_t kOffset = 1 << 15;       // taken off each column's sum
constexpr std::int32_t kOffsetInAll = 1 << 23;  // of 256 / 256 columns
constexpr std::int32_t kHalf = 1 << 15;         // of 2^16, for rounding

void SmoothDown(const std::int16_t* weights, int radius, const std::uint16_t* const* rows,
                int count, std::uint16_t* sums) {
  const hn::ScalableTag<std::uint16_t> shorts;
  const auto offset = hn::Set(shorts, static_cast<std::uint16_t>(kOffset));
  const auto weight = [&](int i) {
    return hn::Set(shorts, static_cast<std::uint16_t>(weights[i]));
  };
  for (int x = 0; x < count; x += static_cast<int>(hn::Lanes(shorts))) {
    auto sum = hn::Mul(hn::LoadU(shorts, rows[radius] + x), weight(radius));
    for (int i = 0; i < radius; ++i) {  // the weights are symmetric
      const auto pair =
          hn::Add(hn::LoadU(shorts, rows[i] + x), hn::LoadU(shorts, rows[2 * radius - i] + x));
      sum = hn::Add(sum, hn::Mul(pair, weight(i)));
    }
    hn::StoreU(hn::Xor(sum, offset), shorts, sums + x);
  }
}

#if HWY_TARGET == HWY_SCALAR

void SmoothAcross(const std::int16_t* weights, int radius, const std::uint16_t* sums, int count,
                  std::uint8_t* smoothed) {
  for (int x = 0; x < count; ++x) {
    std::int32_t sum = kOffsetInAll + kHalf;
    for (int i = -radius; i <= radius; ++i) {
      sum += weights[radius + i] * static_cast<std::int16_t>(sums[x + i]);
    }
    smoothed[x] = static_cast<std::uint8_t>(sum >> 16);
  }
}

#else

void SmoothAcross(const std::int16_t* weights, int radius, const std::uint16_t* sums, int count,
                  std::uint8_t* smoothed) {
  const hn::ScalableTag<std::int16_t> shorts;
  const hn::RebindToUnsigned<decltype(shorts)> places;
  const hn::RepartitionToWide<decltype(shorts)> ints;
  const hn::Rebind<std::uint8_t, decltype(shorts)> bytes;
  const auto start = hn::Set(ints, kOffsetInAll + kHalf);
  const auto highHalf = hn::Set(ints, static_cast<std::int32_t>(0xFFFF0000));
  for (int x = 0; x < count; x += static_cast<int>(hn::Lanes(shorts))) {
    auto even = start;
    auto odd = start;
    auto evenRest = hn::Zero(ints);
    auto oddRest = hn::Zero(ints);
    const std::uint16_t* first = sums + x - radius;
    for (int i = 0; i <= 2 * radius; i += 2) {
      const int second = i < 2 * radius ? weights[i + 1] : 0;
      const auto pair = hn::BitCast(shorts, hn::Set(ints, weights[i] | (second << 16)));
      even = hn::ReorderWidenMulAccumulate(ints, hn::BitCast(shorts, hn::LoadU(places, first + i)),
                                           pair, even, evenRest);
      odd = hn::ReorderWidenMulAccumulate(
          ints, hn::BitCast(shorts, hn::LoadU(places, first + i + 1)), pair, odd, oddRest);
    }
    even = hn::ShiftRight<16>(hn::RearrangeToOddPlusEven(even, evenRest));
    odd = hn::And(hn::RearrangeToOddPlusEven(odd, oddRest), highHalf);
    const auto both = hn::BitCast(shorts, hn::Or(even, odd));
    hn::StoreU(hn::DemoteTo(bytes, both), bytes, smoothed + x);
  }
}

#endif

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(SmoothAcross);
HWY_EXPORT(SmoothDown);

/// The library's weights in 1/256: what it makes of a single white pixel in a picture of one row,
/// which it smooths across only. A weight w becomes 255 * w / 256, which rounds to w up to 127.
std::vector<std::int16_t> LibraryWeights(int side, double sigma) {
  constexpr int kWhite = 255;
  cv::Mat row = cv::Mat::zeros(1, 4 * side + 1, CV_8UC1);
  const int middle = 2 * side;
  row.at<std::uint8_t>(0, middle) = kWhite;
  cv::GaussianBlur(row, row, cv::Size(side, side), sigma, 0, cv::BORDER_DEFAULT);
  std::vector<std::int16_t> weights;
  for (int i = -(side / 2); i <= side / 2; ++i) {
    weights.push_back(row.at<std::uint8_t>(0, middle + i));
  }
  return weights;
}

}  // namespace

std::optional<Gaussian> Gaussian::Of(int side, double sigma) {
  constexpr int kLongest = 63;
  constexpr int kHeaviest = 127;
  constexpr int kSum = 256;
  if (side < 3 || side > kLongest || side % 2 == 0 || !(sigma > 0)) return std::nullopt;
  std::vector<std::int16_t> weights = LibraryWeights(side, sigma);
  const int sum = std::accumulate(weights.begin(), weights.end(), 0);
  if (sum != kSum || weights.at(weights.size() / 2) > kHeaviest) return std::nullopt;
  return Gaussian(std::move(weights));
}

void Gaussian::Down(const std::vector<const std::uint16_t*>& rows, int count,
                    std::uint16_t* sums) const {
  CV_DbgAssert(rows.size() == weights_.size());
  HWY_DYNAMIC_DISPATCH(SmoothDown)(weights_.data(), Radius(), rows.data(), count, sums);
}

void Gaussian::Across(std::uint16_t* sums, int count, std::uint8_t* smoothed) const {
  for (int i = 1; i <= Radius(); ++i) {
    sums[-i] = sums[i];
    sums[count - 1 + i] = sums[count - 1 - i];
  }
  HWY_DYNAMIC_DISPATCH(SmoothAcross)(weights_.data(), Radius(), sums, count, smoothed);
}

}  // namespace dravix::kernels
#endif
