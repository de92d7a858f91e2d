#include "terminal/progress.h"

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

bool StderrIsTerminal() {
#ifdef _WIN32
  return _isatty(2) != 0;
#else
  return isatty(STDERR_FILENO) == 1;
#endif
}

}  // namespace

Progress::Progress(const std::string& what) : what_(base::Visible(what)) {
  if (!StderrIsTerminal()) return;
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

void Progress::Show() {
  static constexpr char kSpinner[] = {'|', '/', '-', '\\'};
  const auto start = steady_clock::now();
  std::unique_lock lock(mutex_);
  if (ended_.wait_for(lock, milliseconds(1000), [this] { return done_; })) return;
  for (unsigned turn = 0; !done_; ++turn) {
    const double seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    std::fprintf(stderr, "\r%c %s, %.0f s ", kSpinner[turn % 4], what_.c_str(), seconds);
    std::fflush(stderr);
    ended_.wait_for(lock, milliseconds(150), [this] { return done_; });
  }
  std::fprintf(stderr, "\r%*s\r", static_cast<int>(what_.size()) + 16, "");
  std::fflush(stderr);
}

}  // namespace dravix::tool
