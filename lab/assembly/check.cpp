// Placements may come from files of any origin. Whatever would be kept in memory or compared LED by
// LED is counted here first, from the placements alone.
#include <dravix/lab/assembly.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "lab/assembly/borders.h"
#include "lab/assembly/limits.h"
#include "lab/assembly/pairs.h"
#include "lab/base/size_text.h"
#include "lab/base/unexpected.h"

namespace dravix::lab {
namespace {

/// A 16K screen has 133 million.
constexpr std::int64_t kMostLeds = 150000000;
/// A 16K screen measured four times. They take 2.4 GB.
constexpr std::int64_t kMostValues = 600000000;
/// Comparing takes about 10 ns for each; a 16K screen measured six times has half of them.
constexpr std::int64_t kMostCompared = 4000000000;

std::string Text(cv::Point point) {
  return std::to_string(point.x) + "," + std::to_string(point.y);
}

std::int64_t Area(cv::Size size) { return std::int64_t{size.width} * size.height; }

void CheckPartition(const cv::Rect& partition, cv::Size screen) {
  if (partition.width < 1 || partition.height < 1) {
    throw Unexpected("partition", SizeText(partition.size()) + " LEDs", "at least one");
  }
  // Differences of what is not negative cannot overflow.
  const bool within = partition.x >= 0 && partition.y >= 0 &&
                      partition.x <= screen.width - partition.width &&
                      partition.y <= screen.height - partition.height;
  if (!within) {
    throw Unexpected("partition", SizeText(partition.size()) + " LEDs at " + Text(partition.tl()),
                     "a part of the screen of " + SizeText(screen));
  }
}

std::int64_t LedsIn(const Block& block) {
  return std::int64_t{block.columns.end - block.columns.begin} *
         (block.rows.end - block.rows.begin);
}

void CheckPairs(const std::vector<Placement>& placements, Match match) {
  std::size_t pairs = 0;
  std::int64_t compared = 0;
  if (match == Match::kOverlap) {
    for (const OverlappingPair& pair : OverlappingPairs(placements, kMostPairs + 1)) {
      ++pairs;
      compared += std::int64_t{pair.columns.count} * pair.rows.count;
    }
  } else {
    for (const BlockPair& pair : MeetingPairs(placements, kMostPairs + 1)) {
      ++pairs;
      compared += LedsIn(pair.inA) + LedsIn(pair.inB);
    }
  }
  if (pairs > kMostPairs) {
    throw Unexpected("match",
                     "more than " + std::to_string(kMostPairs) + " pairs of results to compare",
                     "fewer; is the same result listed many times?");
  }
  if (compared > kMostCompared) {
    throw Unexpected("match", std::to_string(compared) + " LEDs to compare",
                     "at most " + std::to_string(kMostCompared));
  }
}

void CheckBorders(const std::vector<Placement>& placements) {
  std::vector<cv::Rect> partitions;
  partitions.reserve(placements.size());
  for (const Placement& placement : placements) partitions.push_back(placement.partition);
  if (BordersOf(Distinct(std::move(partitions)), kMostPairs + 1).size() <= kMostPairs) return;
  throw Unexpected("partitions", "more than " + std::to_string(kMostPairs) + " shared borders",
                   "fewer");
}

}  // namespace

cv::Size LitLeds(const Placement& placement) {
  const cv::Rect& part = placement.partition;
  return {(part.width - placement.phase.x - 1) / placement.interval.width + 1,
          (part.height - placement.phase.y - 1) / placement.interval.height + 1};
}

void Check(const Placement& placement) {
  const cv::Size screen = placement.screen;
  if (screen.width < 1 || screen.height < 1 || Area(screen) > kMostLeds) {
    throw Unexpected("screen", SizeText(screen) + " LEDs", "1 to " + std::to_string(kMostLeds));
  }
  CheckPartition(placement.partition, screen);
  const cv::Size interval = placement.interval;
  if (interval.width < 1 || interval.height < 1)
    throw Unexpected("interval", SizeText(interval), "1 or more");
  const cv::Point phase = placement.phase;
  if (phase.x < 0 || phase.y < 0 || phase.x >= interval.width || phase.y >= interval.height) {
    throw Unexpected("place of the lit LED", Text(phase),
                     "one within the interval of " + SizeText(interval));
  }
  if (phase.x >= placement.partition.width || phase.y >= placement.partition.height) {
    throw Unexpected(
        "place of the lit LED", Text(phase),
        "one within the partition of " + SizeText(placement.partition.size()) + " LEDs");
  }
}

void Check(const std::vector<Placement>& placements, Match match) {
  std::int64_t values = 0;
  for (const Placement& placement : placements) {
    Check(placement);
    if (placement.screen != placements.front().screen) {
      throw Unexpected("screen", SizeText(placement.screen),
                       SizeText(placements.front().screen) + " as before");
    }
    values += Area(LitLeds(placement));
  }
  if (values > kMostValues) {
    throw Unexpected("results of one plane", std::to_string(values) + " values",
                     "at most " + std::to_string(kMostValues));
  }
  if (match != Match::kNone) CheckPairs(placements, match);
  CheckBorders(placements);
}

}  // namespace dravix::lab
