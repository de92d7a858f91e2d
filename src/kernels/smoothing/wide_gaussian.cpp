// Integers only, so that the order of sums cannot matter. Samples are below 2^16 and the weights
// add up to 2^16, hence a column's sum fits 32 bits and the sum of sums 48; the result is that sum
// plus 2^31, divided by 2^32 and rounded down. The library keeps the same numbers as fixed-point
// fractions of 32 and 64 bits. Here everything stays in 32 bits: a column's sum is taken apart into
// its upper and lower 16 bits, U and L, which are smoothed across each by itself. The sum of sums
// is 2^16 * U' + L', and so the result is (U' + L' / 2^16 + 2^15) / 2^16, each quotient rounded
// down. It does not overflow, because the largest sums of all, those of a white picture, have L' =
// 0.
#include "kernels/smoothing/wide_gaussian.h"

#include <cstddef>
#include <numeric>
#include <opencv2/imgproc.hpp>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/smoothing/wide_gaussian.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void SmoothWideDown(const std::uint32_t* weights, int radius, const std::uint16_t* const* rows,
                    int count, std::uint32_t* sums) {
  const hn::ScalableTag<std::uint32_t> ints;
  const hn::Rebind<std::uint16_t, decltype(ints)> shorts;
  for (int x = 0; x < count; x += static_cast<int>(hn::Lanes(ints))) {
    const auto sample = [&](int i) { return hn::PromoteTo(ints, hn::LoadU(shorts, rows[i] + x)); };
    auto sum = hn::Mul(sample(radius), hn::Set(ints, weights[radius]));
    for (int i = 0; i < radius; ++i) {  // the weights are symmetric
      const auto pair = hn::Add(sample(i), sample(2 * radius - i));
      sum = hn::Add(sum, hn::Mul(pair, hn::Set(ints, weights[i])));
    }
    hn::StoreU(sum, ints, sums + x);
  }
}

void SmoothWideAcross(const std::uint32_t* weights, int radius, const std::uint32_t* sums,
                      int count, std::uint16_t* smoothed) {
  const hn::ScalableTag<std::uint32_t> ints;
  const hn::RebindToSigned<decltype(ints)> places;
  const hn::Rebind<std::uint16_t, decltype(ints)> shorts;
  const auto lowHalf = hn::Set(ints, 0xFFFF);
  const auto half = hn::Set(ints, 1U << 15);
  for (int x = 0; x < count; x += static_cast<int>(hn::Lanes(ints))) {
    const auto center = hn::LoadU(ints, sums + x);
    auto upper = hn::Mul(hn::ShiftRight<16>(center), hn::Set(ints, weights[radius]));
    auto lower = hn::Mul(hn::And(center, lowHalf), hn::Set(ints, weights[radius]));
    for (int i = 0; i < radius; ++i) {
      const auto before = hn::LoadU(ints, sums + x + i - radius);
      const auto after = hn::LoadU(ints, sums + x + radius - i);
      const auto weight = hn::Set(ints, weights[i]);
      const auto uppers = hn::Add(hn::ShiftRight<16>(before), hn::ShiftRight<16>(after));
      const auto lowers = hn::Add(hn::And(before, lowHalf), hn::And(after, lowHalf));
      upper = hn::Add(upper, hn::Mul(uppers, weight));
      lower = hn::Add(lower, hn::Mul(lowers, weight));
    }
    const auto rounded =
        hn::ShiftRight<16>(hn::Add(hn::Add(upper, hn::ShiftRight<16>(lower)), half));
    hn::StoreU(hn::DemoteTo(shorts, hn::BitCast(places, rounded)), shorts, smoothed + x);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(SmoothWideAcross);
HWY_EXPORT(SmoothWideDown);

/// The library's weights in 2^-16: what it makes of a single white pixel in a picture of one row,
/// which it smooths across only. A weight w becomes 65535 * w / 65536, which rounds to w below
/// 2^15.
std::vector<std::uint32_t> LibraryWeights(int side, double sigma) {
  cv::Mat row = cv::Mat::zeros(1, 4 * side + 1, CV_16UC1);
  const int middle = 2 * side;
  row.at<std::uint16_t>(0, middle) = std::uint16_t{0xFFFF};
  cv::GaussianBlur(row, row, cv::Size(side, side), sigma, 0, cv::BORDER_DEFAULT);
  std::vector<std::uint32_t> weights;
  for (int i = -(side / 2); i <= side / 2; ++i) {
    weights.push_back(row.at<std::uint16_t>(0, middle + i));
  }
  return weights;
}

}  // namespace

std::optional<WideGaussian> WideGaussian::Of(int side, double sigma) {
  constexpr int kLongest = 31;
  constexpr std::uint32_t kHeaviest = (1U << 15) - 1;
  constexpr std::uint32_t kSum = 1U << 16;
  if (side < 3 || side > kLongest || side % 2 == 0 || !(sigma > 0)) return std::nullopt;
  std::vector<std::uint32_t> weights = LibraryWeights(side, sigma);
  const std::uint32_t sum = std::accumulate(weights.begin(), weights.end(), 0U);
  if (sum != kSum || weights.at(weights.size() / 2) > kHeaviest) return std::nullopt;
  return WideGaussian(std::move(weights));
}

void WideGaussian::Down(const std::vector<const std::uint16_t*>& rows, int count,
                        std::uint32_t* sums) const {
  CV_DbgAssert(rows.size() == weights_.size());
  HWY_DYNAMIC_DISPATCH(SmoothWideDown)(weights_.data(), Radius(), rows.data(), count, sums);
}

void WideGaussian::Across(std::uint32_t* sums, int count, std::uint16_t* smoothed) const {
  for (int i = 1; i <= Radius(); ++i) {
    sums[-i] = sums[i];
    sums[count - 1 + i] = sums[count - 1 - i];
  }
  HWY_DYNAMIC_DISPATCH(SmoothWideAcross)(weights_.data(), Radius(), sums, count, smoothed);
}

}  // namespace dravix::kernels
#endif
