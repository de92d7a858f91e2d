/// Tells a person at a terminal that something is going on.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace dravix::tool {

/// Shows what is being done and for how long, on stderr and only where that is a terminal, from the
/// second second on; removes the line when it dies.
class Progress {
 public:
  explicit Progress(std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

 private:
  void Show();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace dravix::tool
