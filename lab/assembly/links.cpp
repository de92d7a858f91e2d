#include "lab/assembly/links.h"

#include <cmath>

#include "lab/analysis/figures.h"
#include "lab/assembly/lattice.h"
#include "lab/assembly/limits.h"
#include "lab/assembly/pairs.h"

namespace dravix::lab {
namespace {

/// NaN where an LED says nothing about a gain: only finite values above 0 have a logarithm.
double Usable(double value) { return value > 0 && std::isfinite(value) ? value : kNotKnown; }

/// The mean of log(value b / value a) over the LEDs that both have.
template <class A, class B>
Mean LogRatioOf(const OverlappingPair& pair, const PlacedResult& a, const PlacedResult& b) {
  const Lattice columnsOfA = ColumnsOf(a.placement);
  const Lattice columnsOfB = ColumnsOf(b.placement);
  const Lattice rowsOfA = RowsOf(a.placement);
  const Lattice rowsOfB = RowsOf(b.placement);
  Mean all;
  for (int i = 0; i < pair.rows.count; ++i) {
    const int y = pair.rows.At(i);
    const A* rowOfA = a.values.ptr<A>(rowsOfA.IndexOf(y));
    const B* rowOfB = b.values.ptr<B>(rowsOfB.IndexOf(y));
    Mean row;
    for (int j = 0; j < pair.columns.count; ++j) {
      const int x = pair.columns.At(j);
      const double valueOfA = Usable(static_cast<double>(rowOfA[columnsOfA.IndexOf(x)]));
      const double valueOfB = Usable(static_cast<double>(rowOfB[columnsOfB.IndexOf(x)]));
      row.Add(std::log(Usable(valueOfB / valueOfA)));
    }
    all.Add(row);
  }
  return all;
}

Mean LogRatioOf(const OverlappingPair& pair, const PlacedResult& a, const PlacedResult& b) {
  const bool floatsInA = a.values.type() == CV_32FC1;
  const bool floatsInB = b.values.type() == CV_32FC1;
  if (floatsInA && floatsInB) return LogRatioOf<float, float>(pair, a, b);
  if (floatsInA) return LogRatioOf<float, double>(pair, a, b);
  if (floatsInB) return LogRatioOf<double, float>(pair, a, b);
  return LogRatioOf<double, double>(pair, a, b);
}

template <class T>
double MeanOf(const cv::Mat& values, const Block& block) {
  Mean all;
  for (int i = block.rows.begin; i < block.rows.end; ++i) {
    const T* row = values.ptr<T>(i);
    Mean mean;
    for (int j = block.columns.begin; j < block.columns.end; ++j) {
      mean.Add(Usable(static_cast<double>(row[j])));
    }
    all.Add(mean);
  }
  return all.Value();
}

double MeanOf(const cv::Mat& values, const Block& block) {
  return values.type() == CV_32FC1 ? MeanOf<float>(values, block) : MeanOf<double>(values, block);
}

}  // namespace

std::vector<Placement> PlacementsOf(const std::vector<PlacedResult>& results) {
  std::vector<Placement> placements;
  placements.reserve(results.size());
  for (const PlacedResult& result : results) placements.push_back(result.placement);
  return placements;
}

std::vector<Link> OverlapLinks(const std::vector<PlacedResult>& results) {
  std::vector<Link> links;
  for (const OverlappingPair& pair : OverlappingPairs(PlacementsOf(results), kMostPairs)) {
    const Mean ratio = LogRatioOf(pair, results[pair.a], results[pair.b]);
    if (ratio.count == 0) continue;
    links.push_back({pair.a, pair.b, ratio.Value(), static_cast<double>(ratio.count)});
  }
  return links;
}

std::vector<Link> SeamLinks(const std::vector<PlacedResult>& results) {
  std::vector<Link> links;
  for (const BlockPair& pair : MeetingPairs(PlacementsOf(results), kMostPairs)) {
    const double meanOfA = MeanOf(results[pair.a].values, pair.inA);
    const double meanOfB = MeanOf(results[pair.b].values, pair.inB);
    const double quotient = Usable(meanOfB / meanOfA);
    if (IsKnown(quotient)) links.push_back({pair.a, pair.b, std::log(quotient), 1});
  }
  return links;
}

}  // namespace dravix::lab
