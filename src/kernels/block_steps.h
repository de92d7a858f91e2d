/// The part of a perspective's coordinates that every block of columns shares.
#pragma once

#include <array>

namespace dravix::kernels {

/// What a perspective's numerators and denominator grow by from the origin of a block of columns to
/// each of its columns.
struct BlockSteps {
  static constexpr int kColumns = 64;
  std::array<double, kColumns> x;
  std::array<double, kColumns> y;
  std::array<double, kColumns> w;
};

}  // namespace dravix::kernels
