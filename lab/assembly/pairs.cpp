#include "lab/assembly/pairs.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <utility>

#include "lab/assembly/borders.h"

namespace dravix::lab {
namespace {

/// Places in the list by something that the placements have in common.
template <class Key, class KeyOf>
std::map<Key, std::vector<std::size_t>> GroupedBy(const std::vector<Placement>& placements,
                                                  KeyOf&& keyOf) {
  std::map<Key, std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < placements.size(); ++i) groups[keyOf(placements[i])].push_back(i);
  return groups;
}

using Four = std::array<int, 4>;

Four IntervalAndPhase(const Placement& p) {
  return {p.interval.width, p.interval.height, p.phase.x, p.phase.y};
}

Four PartitionOf(const Placement& p) {
  return {p.partition.x, p.partition.y, p.partition.width, p.partition.height};
}

/// The LEDs along the border of results `before` and `behind`; columns are across a vertical
/// border.
BlockPair AtBorder(const Border& border, const Placement& before, const Placement& behind) {
  const Lattice acrossBefore = border.vertical ? ColumnsOf(before) : RowsOf(before);
  const Lattice acrossBehind = border.vertical ? ColumnsOf(behind) : RowsOf(behind);
  const Lattice alongBefore = border.vertical ? RowsOf(before) : ColumnsOf(before);
  const Lattice alongBehind = border.vertical ? RowsOf(behind) : ColumnsOf(behind);
  const int lines = std::min({kMostBorderLines, acrossBefore.count, acrossBehind.count});
  Block inBefore{{acrossBefore.count - lines, acrossBefore.count},
                 Within(alongBefore, border.begin, border.end)};
  Block inBehind{{0, lines}, Within(alongBehind, border.begin, border.end)};
  if (!border.vertical) {
    std::swap(inBefore.columns, inBefore.rows);
    std::swap(inBehind.columns, inBehind.rows);
  }
  return {0, 0, inBefore, inBehind};
}

bool HasLeds(const Block& block) { return !block.columns.Empty() && !block.rows.Empty(); }

void AddBorderPairs(const std::vector<Placement>& placements, std::size_t most,
                    std::vector<BlockPair>& pairs) {
  for (const auto& [phase, group] : GroupedBy<Four>(placements, IntervalAndPhase)) {
    std::vector<cv::Rect> partitions;
    for (const std::size_t i : group) partitions.push_back(placements[i].partition);
    for (const Border& border : BordersOf(partitions, most - pairs.size())) {
      const std::size_t before = group[border.before];
      const std::size_t behind = group[border.behind];
      BlockPair pair = AtBorder(border, placements[before], placements[behind]);
      pair.a = before;
      pair.b = behind;
      if (HasLeds(pair.inA) && HasLeds(pair.inB)) pairs.push_back(pair);
    }
  }
}

Block AllOf(const Placement& placement) {
  const cv::Size leds = LitLeds(placement);
  return {{0, leds.width}, {0, leds.height}};
}

void AddPartitionPairs(const std::vector<Placement>& placements, std::size_t most,
                       std::vector<BlockPair>& pairs) {
  for (const auto& [partition, group] : GroupedBy<Four>(placements, PartitionOf)) {
    for (std::size_t i = 0; i < group.size(); ++i) {
      for (std::size_t j = i + 1; j < group.size(); ++j) {
        if (pairs.size() >= most) return;
        pairs.push_back(
            {group[i], group[j], AllOf(placements[group[i]]), AllOf(placements[group[j]])});
      }
    }
  }
}

}  // namespace

std::vector<OverlappingPair> OverlappingPairs(const std::vector<Placement>& placements,
                                              std::size_t most) {
  std::vector<std::size_t> fromLeft(placements.size());
  std::iota(fromLeft.begin(), fromLeft.end(), std::size_t{0});
  std::stable_sort(fromLeft.begin(), fromLeft.end(), [&](std::size_t a, std::size_t b) {
    return placements[a].partition.x < placements[b].partition.x;
  });
  std::vector<OverlappingPair> pairs;
  for (std::size_t i = 0; i < fromLeft.size(); ++i) {
    const Placement& a = placements[fromLeft[i]];
    for (std::size_t j = i + 1; j < fromLeft.size(); ++j) {
      const Placement& b = placements[fromLeft[j]];
      if (b.partition.x >= a.partition.br().x) break;
      if ((a.partition & b.partition).empty()) continue;
      const auto columns = Shared(ColumnsOf(a), ColumnsOf(b));
      const auto rows = columns ? Shared(RowsOf(a), RowsOf(b)) : std::nullopt;
      if (!rows) continue;
      if (pairs.size() >= most) return pairs;
      pairs.push_back({fromLeft[i], fromLeft[j], *columns, *rows});
    }
  }
  return pairs;
}

std::vector<BlockPair> MeetingPairs(const std::vector<Placement>& placements, std::size_t most) {
  std::vector<BlockPair> pairs;
  AddBorderPairs(placements, most, pairs);
  AddPartitionPairs(placements, most, pairs);
  return pairs;
}

}  // namespace dravix::lab
