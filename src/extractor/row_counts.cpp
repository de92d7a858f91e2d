#include <dravix/algolog.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "extractor/extractor.h"

namespace {

/// Groups of `rowGroup` rows that `rows` make, in single precision as the table has always been
/// made.
std::size_t GroupCount(std::int32_t rows, std::int32_t rowGroup) {
  const float count = std::ceil(static_cast<float>(rows) / static_cast<float>(rowGroup));
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

/// Single precision may round a difference of counts beyond what 32 bits hold.
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
  std::vector<std::int32_t> table(groups, topLedNum);  // one group has no step: the top row's count
  if (groups > 1) {
    const auto difference = static_cast<float>(std::int64_t{bottomLedNum} - topLedNum);
    const float step = difference / static_cast<float>(groups - 1);
    for (std::size_t i = 0; i < groups; ++i) {
      const float offset = static_cast<float>(i) * step;
      // Truncation rounds half up for rising counts and towards the larger value for falling ones.
      // NOLINTNEXTLINE(bugprone-incorrect-roundings): those roundings are the table's definition.
      const auto more = static_cast<std::int64_t>(static_cast<double>(offset) + 0.5);
      table[i] = InRange(topLedNum + more);
    }
  }
  rowGroup = newRowGroup;
  rowLedNums.swap(table);
  return DRAVIX_OK;
}
