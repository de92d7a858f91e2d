#include <dravix/algolog.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "extractor/extractor.h"

namespace {

/// How many groups of `rowGroup` rows `rows` make. Division and rounding are in single precision:
/// that is the table's definition, and above 2^24 rows it shows.
std::size_t GroupCount(std::int32_t rows, std::int32_t rowGroup) {
  const float count = std::ceil(static_cast<float>(rows) / static_cast<float>(rowGroup));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

/// The nearest 32-bit value: single precision may round a difference of counts up to 2^31.
std::int32_t InRange(std::int64_t count) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp(count, std::int64_t{Limits::min()}, std::int64_t{Limits::max()}));
}

}  // namespace

std::int32_t Dravix::GetRowLedNums(std::int32_t topLedNum, std::int32_t bottomLedNum,
                                   std::int32_t newRowGroup) {
  if (topLedNum > ledWidth || bottomLedNum > ledWidth) {
    AlgoLogError("Dravix::GetRowLedNums -- topLedNum or bottomLedNum is greater than led width.");
    return DRAVIX_BAD_ARGUMENT;
  }
  if (newRowGroup < 1) {
    AlgoLogError("Dravix::GetRowLedNums -- rowGroup is %d, at least 1 is needed.", newRowGroup);
    return DRAVIX_BAD_ARGUMENT;
  }
  const std::size_t groups = GroupCount(ledHeight, newRowGroup);
  std::vector<std::int32_t> table(groups, topLedNum);  // a single group keeps the top row's count
  if (groups > 1) {
    const auto difference = static_cast<float>(std::int64_t{bottomLedNum} - topLedNum);
    const float step = difference / static_cast<float>(groups - 1);
    for (std::size_t i = 0; i < groups; ++i) {
      const float offset = static_cast<float>(i) * step;
      // Truncation rounds rising counts half up and falling ones toward the larger value.
      // NOLINTNEXTLINE(bugprone-incorrect-roundings): this rounding is the table's definition.
      const auto more = static_cast<std::int64_t>(static_cast<double>(offset) + 0.5);
      table[i] = InRange(topLedNum + more);
    }
  }
  rowGroup = newRowGroup;
  rowLedNums.swap(table);
  return DRAVIX_OK;
}
