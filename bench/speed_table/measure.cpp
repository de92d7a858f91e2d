#include "speed_table/measure.h"

#include <hwy/targets.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>

#ifndef _WIN32
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace dravix::bench {
namespace {

double Now(Clock clock) {
  using std::chrono::duration;
  if (clock == Clock::kWall) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return duration<double, std::milli>(now).count();
  }
#ifdef _WIN32
  return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
#else
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
#endif
}

#ifndef _WIN32
std::size_t StatusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(key, 0) == 0) return std::stoull(line.substr(key.size())) * 1024;
  }
  return 0;
}
#endif

}  // namespace

std::vector<double> ShortestInTurns(int turns, const std::vector<Work>& works, Clock clock) {
  std::vector<double> shortest(works.size(), std::numeric_limits<double>::max());
  for (int turn = 0; turn < turns; ++turn) {
    for (std::size_t i = 0; i < works.size(); ++i) {
      const double begin = Now(clock);
      works[i]();
      shortest[i] = std::min(shortest[i], Now(clock) - begin);
    }
  }
  return shortest;
}

#ifndef _WIN32
double PeakMemory(const Work& work) {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    work();  // a child has to load the pages of code anew, which are no memory of the work
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // the mark falls to the present
    const std::size_t before = StatusBytes("VmRSS:");
    work();
    const double extra = static_cast<double>(StatusBytes("VmHWM:")) - static_cast<double>(before);
    const bool told = write(ends[1], &extra, sizeof(extra)) == sizeof(extra);
    _exit(told ? 0 : 1);
  }
  double extra = 0;
  const bool told = child > 0 && read(ends[0], &extra, sizeof(extra)) == sizeof(extra);
  if (child > 0) waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return told ? extra : 0;
}
#else
double PeakMemory(const Work& /*work*/) { return 0; }
#endif

bool SameBits(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) return false;
  const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
  for (int y = 0; y < a.rows; ++y) {
    if (std::memcmp(a.ptr(y), b.ptr(y), bytes) != 0) return false;
  }
  return true;
}

std::vector<std::int64_t> Targets() { return hwy::SupportedAndGeneratedTargets(); }

void Force(std::int64_t target) {
  hwy::SetSupportedTargetsForTest(target);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

std::string NameOf(std::int64_t target) {
  return (target & (HWY_EMU128 | HWY_SCALAR)) != 0 ? "none" : hwy::TargetName(target);
}

}  // namespace dravix::bench
