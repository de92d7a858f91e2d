/// How long a batch will still take.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace dravix::tool {

/// Work is counted in pixels, since the time of a job grows with them.
struct WorkDone {
  double seconds = 0;         ///< since the work began
  std::uint64_t jobs = 0;     ///< that have been worked on and have ended
  double work = 0, left = 0;  ///< of these jobs, and of those that have not ended
  unsigned workers = 1;
};

/// Seconds until the end, if the rest goes on as what has been done. Empty as long as that says
/// little: before each worker has ended two jobs.
[[nodiscard]] std::optional<double> SecondsLeft(const WorkDone& done);

/// "about 40 s", "about 12 min", "about 3 h 20 min"
[[nodiscard]] std::string DurationText(double seconds);

}  // namespace dravix::tool
