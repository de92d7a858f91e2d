// The input is a matrix of up to tens of millions of values, of which a few ranks are wanted. The
// first pass counts how many values fall into each of a million bins. The bins are the leading
// bits of a value, so that their order is that of the values and each covers 1/256 of an octave.
// The second pass collects the values of those bins that hold a wanted rank, and selection within
// a bin finds it. Two passes and a small selection replace sorting. Values that are all within one
// bin make it an ordinary selection.
#include "lab/analysis/order_statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

constexpr int kBinBits = 20;  // sign, exponent and 8 bits of the fraction
constexpr std::size_t kBins = std::size_t{1} << kBinBits;

/// The bin of a value; larger values never have a smaller bin. The bits of positive numbers grow
/// with them; those of negative ones fall, and their sign bit is set.
std::size_t BinOf(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63U;
  const std::uint64_t ordered = (bits & kSign) != 0 ? ~bits : bits | kSign;
  return static_cast<std::size_t>(ordered >> (64U - kBinBits));
}

template <class Use>
void ForEachCounted(const CountedRows& rows, Use&& use) {
  rows.ForEachRow([&](int, const double* row) {
    for (int x = 0; x < rows.Size().width; ++x) {
      if (IsKnown(row[x])) use(row[x]);
    }
  });
}

/// A bin that holds a wanted rank.
struct WantedBin {
  std::size_t bin = 0;
  std::int64_t firstRank = 0;  ///< of its smallest value
  std::vector<double> values;
};

std::vector<WantedBin> WantedBins(const std::vector<std::uint32_t>& counts,
                                  std::vector<std::int64_t> ranks) {
  std::sort(ranks.begin(), ranks.end());
  std::vector<WantedBin> wanted;
  std::int64_t firstRank = 0;
  auto rank = ranks.begin();
  for (std::size_t bin = 0; bin < counts.size() && rank != ranks.end(); ++bin) {
    const std::int64_t end = firstRank + counts[bin];
    if (*rank < end) wanted.push_back({bin, firstRank, {}});
    while (rank != ranks.end() && *rank < end) ++rank;
    firstRank = end;
  }
  return wanted;
}

double ValueAt(std::int64_t rank, std::vector<WantedBin>& wanted) {
  // The last bin that begins at or before the rank holds it.
  auto after = std::upper_bound(wanted.begin(), wanted.end(), rank,
                                [](std::int64_t r, const WantedBin& b) { return r < b.firstRank; });
  WantedBin& bin = *std::prev(after);
  const auto at = bin.values.begin() + (rank - bin.firstRank);
  std::nth_element(bin.values.begin(), at, bin.values.end());
  return *at;
}

}  // namespace

std::vector<double> OrderStatistics(const CountedRows& rows,
                                    const std::vector<std::int64_t>& ranks) {
  std::vector<std::uint32_t> counts(kBins);
  ForEachCounted(rows, [&](double value) { ++counts[BinOf(value)]; });

  std::vector<WantedBin> wanted = WantedBins(counts, ranks);
  // 1 and more is the place in `wanted` plus 1.
  std::vector<unsigned char> places(kBins);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    places[wanted[i].bin] = static_cast<unsigned char>(i + 1);
    wanted[i].values.reserve(counts[wanted[i].bin]);
  }
  ForEachCounted(rows, [&](double value) {
    const unsigned char place = places[BinOf(value)];
    if (place != 0) wanted[place - 1U].values.push_back(value);
  });

  std::vector<double> found;
  found.reserve(ranks.size());
  for (const std::int64_t rank : ranks) found.push_back(ValueAt(rank, wanted));
  return found;
}

Between PlaceOf(double quantile, std::int64_t count) {
  const double place = quantile * static_cast<double>(count - 1);
  const auto lower = static_cast<std::int64_t>(std::floor(place));
  return {lower, std::min(lower + 1, count - 1), place - std::floor(place)};
}

}  // namespace dravix::lab
