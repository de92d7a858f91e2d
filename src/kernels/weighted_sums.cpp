// Columns lie side by side in a vector and do not meet, so that each column's sum has the bits that
// it would have alone. No fused multiply-add: the product is rounded before it is added.
#include "kernels/weighted_sums.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/weighted_sums.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class Floats>
HWY_INLINE void AddVector(Floats floats, const std::uint16_t* samples, const WeightedRow& row,
                          float* sums) {
  const hn::RebindToSigned<Floats> ints;
  const hn::Rebind<std::uint16_t, Floats> shorts;
  const auto sample = hn::ConvertTo(floats, hn::PromoteTo(ints, hn::LoadU(shorts, samples)));
  const auto product = hn::Mul(sample, hn::Set(floats, row.weight));
  hn::StoreU(row.fresh ? product : hn::Add(hn::LoadU(floats, sums), product), floats, sums);
}

void AddAll(const std::uint16_t* samples, const WeightedRow* rows, std::size_t count) {
  const hn::ScalableTag<float> floats;
  const hn::CappedTag<float, 1> single;
  const auto lanes = static_cast<int>(hn::Lanes(floats));
  for (std::size_t k = 0; k < count; ++k) {
    const WeightedRow& row = rows[k];
    int i = 0;
    for (; i + lanes <= row.count; i += lanes) {
      AddVector(floats, samples + row.begin + i, row, row.sums + i);
    }
    for (; i < row.count; ++i) AddVector(single, samples + row.begin + i, row, row.sums + i);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {
HWY_EXPORT(AddAll);
}  // namespace

void AddWeighted(const std::uint16_t* samples, const std::vector<WeightedRow>& rows) {
  HWY_DYNAMIC_DISPATCH(AddAll)(samples, rows.data(), rows.size());
}

}  // namespace dravix::kernels
#endif
