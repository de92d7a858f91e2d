/// Keeps writing from ending the host's process.
#pragma once

#ifndef _WIN32
#include <array>
#include <csignal>
#include <ctime>
#endif

namespace dravix::base {

#ifdef _WIN32
/// Windows has no such signals.
class [[maybe_unused]] HoldWriteSignals {};
#else
/// While the object lives, writing to a pipe without a reader (SIGPIPE) and writing beyond the
/// limit of a file's size (SIGXFSZ) fail instead of raising a signal in this thread. A signal that
/// was already pending stays pending.
class HoldWriteSignals {
 public:
  HoldWriteSignals() {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    sigset_t both;
    sigemptyset(&both);
    sigemptyset(&ours_);
    for (const int signal : kHeld) {
      sigaddset(&both, signal);
      if (sigismember(&waiting, signal) != 1) sigaddset(&ours_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &both, &before_);
  }
  HoldWriteSignals(const HoldWriteSignals&) = delete;
  HoldWriteSignals& operator=(const HoldWriteSignals&) = delete;
  ~HoldWriteSignals() {
    // Takes those away that came meanwhile. Each can be pending once.
    const timespec now{};
    while (sigtimedwait(&ours_, nullptr, &now) > 0) continue;
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  static constexpr std::array<int, 2> kHeld = {SIGPIPE, SIGXFSZ};
  sigset_t ours_{};
  sigset_t before_{};
};
#endif

}  // namespace dravix::base
