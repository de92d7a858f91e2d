/// Keeps a pipe that nobody reads from ending the host's process.
#pragma once

#ifndef _WIN32
#include <csignal>
#include <ctime>
#endif

namespace dravix::base {

#ifdef _WIN32
/// Windows has no such signal.
class [[maybe_unused]] HoldBrokenPipe {};
#else
/// While the object lives, writing to a pipe without a reader fails instead of raising SIGPIPE in
/// this thread. A SIGPIPE that was already pending stays pending.
class HoldBrokenPipe {
 public:
  HoldBrokenPipe() {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    wasWaiting_ = sigismember(&waiting, SIGPIPE) == 1;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  HoldBrokenPipe(const HoldBrokenPipe&) = delete;
  HoldBrokenPipe& operator=(const HoldBrokenPipe&) = delete;
  ~HoldBrokenPipe() {
    const timespec now{};
    if (!wasWaiting_) sigtimedwait(&pipe_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool wasWaiting_ = false;
};
#endif

}  // namespace dravix::base
