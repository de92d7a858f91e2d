/// System calls that fail when a test wants them to. Linux only.
///
/// A program that links failing_calls.cpp has functions of its own under the names of the C
/// library's (open, write, fsync, ...), which the dynamic linker also gives to the C++ and OpenCV
/// libraries. They do what the system does until a FailingCall is alive.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace dravix::test {

enum class Call {
  kOpen,
  kRead,
  kWrite,
  kFlush,
  kClose,
  kRename,
  kLink,
  kMakeFolder,
  kRemove,
  kMode,
  kOwner,
  kAccessList,
  kLock,
  kCut,
  kSeek,
};

std::vector<Call> AllCalls();
std::string NameOf(Call call);

/// While it lives, the n-th call of that kind (from 1) in this thread fails for that reason. A file
/// that fails to be closed is closed all the same, as the system does it.
class FailingCall {
 public:
  FailingCall(Call call, int n, int error);
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();
  /// True when there was an n-th call.
  [[nodiscard]] bool Happened() const;
  /// True when it was to flush that file or folder.
  [[nodiscard]] bool WasFlushOf(const std::filesystem::path& path) const;
};

/// While it lives, every write of this thread takes no more than three bytes at a time, and every
/// other one is interrupted.
class HaltingWrites {
 public:
  HaltingWrites();
  HaltingWrites(const HaltingWrites&) = delete;
  HaltingWrites& operator=(const HaltingWrites&) = delete;
  ~HaltingWrites();
};

}  // namespace dravix::test
