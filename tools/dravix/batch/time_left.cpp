#include "batch/time_left.h"

#include <cmath>

namespace dravix::tool {

std::optional<double> SecondsLeft(const WorkDone& done) {
  constexpr std::uint64_t kJobsOfEach = 2;
  if (done.jobs < kJobsOfEach * done.workers || !(done.work > 0)) return std::nullopt;
  return done.seconds * done.left / done.work;
}

std::string DurationText(double seconds) {
  constexpr double kMinute = 60;
  // A figure with more digits would claim to be known better than it is.
  if (seconds < 100) return "about " + std::to_string(std::lround(seconds)) + " s";
  if (seconds < 100 * kMinute) {
    return "about " + std::to_string(std::lround(seconds / kMinute)) + " min";
  }
  const long minutes = std::lround(seconds / kMinute / 10) * 10;
  return "about " + std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

}  // namespace dravix::tool
