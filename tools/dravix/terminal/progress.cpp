#include "terminal/progress.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <system_error>

#include "base/one_line.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace dravix::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<bool>& IsOff() {
  static std::atomic<bool> off = false;
  return off;
}

}  // namespace

void Progress::TurnOff() { IsOff() = true; }

bool Progress::HasTerminal() {
  if (IsOff()) return false;
#ifdef _WIN32
  return _isatty(2) != 0;
#else
  return isatty(STDERR_FILENO) == 1;
#endif
}

Progress::Progress(const std::string& what) : what_(base::Visible(what)) {
  if (!HasTerminal()) return;
  try {
    thread_ = std::thread([this] { Show(); });
  } catch (const std::system_error&) {
    // Where no thread can be started, the work goes on without a display.
    done_ = true;
  }
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  ended_.notify_all();
  thread_.join();
}

void Progress::Say(const std::string& what) {
  const std::lock_guard lock(mutex_);
  what_ = base::Visible(what);
}

void Progress::Show() {
  static constexpr char kSpinner[] = {'|', '/', '-', '\\'};
  const auto start = steady_clock::now();
  std::unique_lock lock(mutex_);
  if (ended_.wait_for(lock, milliseconds(1000), [this] { return done_; })) return;
  int longest = 0;
  for (unsigned turn = 0; !done_; ++turn) {
    const double seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    const int length =
        std::fprintf(stderr, "\r%c %s, %.0f s ", kSpinner[turn % 4], what_.c_str(), seconds);
    // Blanks over what a longer line left.
    std::fprintf(stderr, "%*s", std::max(0, longest - length), "");
    longest = std::max(longest, length);
    std::fflush(stderr);
    ended_.wait_for(lock, milliseconds(150), [this] { return done_; });
  }
  std::fprintf(stderr, "\r%*s\r", longest, "");
  std::fflush(stderr);
}

}  // namespace dravix::tool
