#include <dravix/lab/assembly.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "lab/assembly/gains.h"
#include "lab/assembly/gaps.h"
#include "lab/assembly/links.h"
#include "lab/assembly/merge.h"
#include "lab/assembly/seam_rms.h"
#include "lab/base/size_text.h"

namespace dravix::lab {
namespace {

constexpr std::size_t kMostGaps = 1000;

void CheckValues(const std::vector<PlacedResult>& results) {
  for (const PlacedResult& result : results) {
    const int type = result.values.type();
    if (type != CV_32FC1 && type != CV_64FC1) {
      throw std::invalid_argument(result.name + ": found " + cv::typeToString(type) +
                                  ", expected CV_32FC1 or CV_64FC1");
    }
    const cv::Size expected = LitLeds(result.placement);
    if (result.values.dims != 2 || result.values.size() != expected) {
      throw std::invalid_argument(result.name + ": found " + SizeText(result.values.size()) +
                                  " values, expected " + SizeText(expected) + " by the placement");
    }
  }
}

std::vector<double> MatchingGains(const std::vector<PlacedResult>& results, Match match) {
  switch (match) {
    case Match::kOverlap:
      return GainsOf(results.size(), OverlapLinks(results));
    case Match::kSeams:
      return GainsOf(results.size(), SeamLinks(results));
    case Match::kNone:
      break;
  }
  return std::vector<double>(results.size(), 1.0);
}

}  // namespace

AssembledPlane Assemble(const std::string& plane, const std::vector<PlacedResult>& results,
                        Match match) {
  if (results.empty()) throw std::invalid_argument("results: found none, expected at least one");
  Check(PlacementsOf(results), match);
  CheckValues(results);
  AssembledPlane assembled;
  PlaneFigures& figures = assembled.figures;
  figures.plane = plane;
  figures.size = results.front().placement.screen;

  const PartitionBorders borders = PartitionBordersOf(results);
  const std::vector<double> gains = MatchingGains(results, match);
  if (match != Match::kNone) {
    const std::vector<double> ones(results.size(), 1.0);
    figures.seamRmsBefore = SeamRmsOf(Merge(results, ones).values, borders);
  }
  Merged merged = Merge(results, gains);
  figures.seamRmsAfter = SeamRmsOf(merged.values, borders);
  if (match == Match::kNone) figures.seamRmsBefore = figures.seamRmsAfter;

  figures.measured = merged.measured;
  figures.missing = static_cast<std::int64_t>(merged.values.total()) - merged.measured;
  figures.doubled = merged.doubled;
  figures.missingRectangles = LargestGaps(merged.counts, kMostGaps);
  for (std::size_t i = 0; i < results.size(); ++i) {
    figures.gains.push_back({results[i].name, gains[i]});
  }
  assembled.values = std::move(merged.values);
  assembled.counts = std::move(merged.counts);
  return assembled;
}

}  // namespace dravix::lab
