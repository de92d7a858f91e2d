// One product in single precision per sample, rounded like the matrix library rounds it.
#include "kernels/eight_bits.h"

#include <algorithm>
#include <opencv2/core.hpp>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/eight_bits.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void ConvertSamples(std::uint16_t* samples, std::size_t count, float scale) {
  constexpr int kWhite = 255;
  const hn::ScalableTag<float> floats;
  const hn::RebindToSigned<decltype(floats)> ints;
  const hn::Rebind<std::uint16_t, decltype(floats)> shorts;
  const auto factor = hn::Set(floats, scale);
  const auto white = hn::Set(ints, kWhite);
  for (std::size_t i = 0; i < count; i += hn::Lanes(floats)) {
    const auto sample = hn::PromoteTo(ints, hn::LoadU(shorts, samples + i));
    const auto value = hn::NearestInt(hn::Mul(hn::ConvertTo(floats, sample), factor));
    hn::StoreU(hn::DemoteTo(shorts, hn::Min(value, white)), shorts, samples + i);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {
HWY_EXPORT(ConvertSamples);
}  // namespace

void ToEightBits(std::uint16_t* samples, std::size_t count, float scale) {
  HWY_DYNAMIC_DISPATCH(ConvertSamples)(samples, count, scale);
}

}  // namespace dravix::kernels
#endif
