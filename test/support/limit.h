/// Limits of the process, for tests of what happens when something runs out.
#pragma once

#ifndef _WIN32
#include <sys/resource.h>

#include <csignal>

namespace dravix::test {

/// Holds one of the process's limits down while it lives.
class Limit {
 public:
  Limit(decltype(RLIMIT_AS) what, rlim_t most) : what_(what) {
    getrlimit(what_, &before_);
    const rlimit limit{most, before_.rlim_max};
    setrlimit(what_, &limit);
    signalBefore_ = std::signal(SIGXFSZ, SIG_IGN);  // beyond it, writing fails instead
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit() {
    setrlimit(what_, &before_);
    std::signal(SIGXFSZ, signalBefore_);
  }

 private:
  decltype(RLIMIT_AS) what_;
  rlimit before_{};
  void (*signalBefore_)(int) = nullptr;
};

}  // namespace dravix::test
#endif
