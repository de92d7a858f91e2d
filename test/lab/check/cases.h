/// Photographs for the checks, simulated: good ones of all kinds, and such as have one mistake.
#pragma once

#include <dravix/lab/check.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::test {

/// A photograph and what is given beside it.
struct CheckCase {
  std::string what;  ///< the mistake in a few words, "" for a good photograph
  Shot photo;
  std::optional<Shot> board;
  std::optional<RegionOI> region;
  std::vector<cv::Point> corners;
  cv::Size blocks;

  [[nodiscard]] lab::CheckOptions Options() const;
};

/// The ids that a photograph can have.
const std::vector<std::string>& CheckIds();
/// Other ids that follow from that one or stand for it: a screen that is cut off has a wrong count.
const std::vector<std::string>& MayStandBeside(const std::string& id);

/// The `index`-th good photograph of a series. Each seed has its own series.
CheckCase GoodCase(std::uint64_t seed, int index);
/// The `index`-th photograph with the mistake of that id, and no other.
CheckCase WrongCase(const std::string& id, std::uint64_t seed, int index);

/// The ids of the findings, in their order.
std::vector<std::string> IdsOf(const std::vector<lab::Finding>& findings);

}  // namespace dravix::test
