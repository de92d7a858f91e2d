// Integers, so that the order of sums cannot matter.
#include "kernels/row_sums.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/row_sums.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

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
  std::size_t i = 0;
  for (; i + hn::Lanes(ints) <= count; i += hn::Lanes(ints)) {
    const auto sample = hn::PromoteTo(ints, hn::LoadU(shorts, samples + i));
    hn::StoreU(hn::Add(hn::LoadU(ints, sums + i), sample), ints, sums + i);
  }
  for (; i < count; ++i) sums[i] += samples[i];
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(AddRow);
HWY_EXPORT(SumOfRow);

}  // namespace

std::uint64_t SumOf(const std::uint16_t* samples, int count) {
  return HWY_DYNAMIC_DISPATCH(SumOfRow)(samples, static_cast<std::size_t>(count));
}

void AddTo(std::uint32_t* sums, const std::uint16_t* samples, int count) {
  HWY_DYNAMIC_DISPATCH(AddRow)(sums, samples, static_cast<std::size_t>(count));
}

}  // namespace dravix::kernels
#endif
