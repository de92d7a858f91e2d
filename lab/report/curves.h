/// The curves of a report: how luminances are distributed, and how they run across the screen.
/// They are over the LEDs that count in the analysis.
#pragma once

#include <dravix/lab/report.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// Means of the rows and of the columns, NaN where no LED of one counts.
struct Profiles {
  std::vector<float> rows;     ///< from the top
  std::vector<float> columns;  ///< from the left
};

[[nodiscard]] Profiles ProfilesOf(const ReportInput& input);

/// Bin k of n holds the values from low + k (high - low) / n on, up to the next bin; the last bin
/// holds `high` as well.
struct Histogram {
  double low = 0;
  double high = 0;
  std::vector<std::int64_t> counts;
  std::int64_t below = 0;  ///< LEDs below the first bin
  std::int64_t above = 0;  ///< LEDs above the last one
};

/// The histograms of all inputs over the same bins. These reach from the 1st percentile to the 99th
/// and half as far again on both sides, but not beyond the smallest and the largest value: single
/// dead or bright LEDs shall not press all others into one bin.
[[nodiscard]] std::vector<Histogram> HistogramsOf(const std::vector<ReportInput>& inputs);

/// The smallest 1st percentile and the largest 99th of the inputs, with some room where they are
/// equal.
[[nodiscard]] ReportScale PercentileScale(const std::vector<ReportInput>& inputs);

}  // namespace dravix::lab
