// One product and one division in single precision per sample, each rounded by itself, as the
// matrix library computes it. What is too large for 8 bits becomes 255, but what is too large even
// for the 32 bits that the library rounds to becomes 0, as it does there.
#include "kernels/quotient.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/quotient.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void DivideRows(const std::uint16_t* above, const std::uint16_t* below, std::size_t count,
                float scale, std::uint8_t* quotients) {
  constexpr float kWhite = 255.0F;
  constexpr float kTooLarge = 2147483648.0F;  // 2^31
  const hn::ScalableTag<float> floats;
  const hn::RebindToSigned<decltype(floats)> ints;
  const hn::Rebind<std::uint16_t, decltype(floats)> shorts;
  const hn::Rebind<std::uint8_t, decltype(floats)> bytes;
  const auto factor = hn::Set(floats, scale);
  const auto sample = [&](const std::uint16_t* row) {
    return hn::ConvertTo(floats, hn::PromoteTo(ints, hn::LoadU(shorts, row)));
  };
  for (std::size_t i = 0; i < count; i += hn::Lanes(floats)) {
    const auto divisor = sample(below + i);
    const auto quotient = hn::Div(hn::Mul(factor, sample(above + i)), divisor);
    // Not true for what is no number either.
    const auto usable =
        hn::And(hn::Gt(divisor, hn::Zero(floats)), hn::Lt(quotient, hn::Set(floats, kTooLarge)));
    const auto value = hn::Min(hn::IfThenElseZero(usable, quotient), hn::Set(floats, kWhite));
    hn::StoreU(hn::DemoteTo(bytes, hn::NearestInt(value)), bytes, quotients + i);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {
HWY_EXPORT(DivideRows);
}  // namespace

void Quotients(const std::uint16_t* above, const std::uint16_t* below, std::size_t count,
               float scale, std::uint8_t* quotients) {
  HWY_DYNAMIC_DISPATCH(DivideRows)(above, below, count, scale, quotients);
}

}  // namespace dravix::kernels
#endif
