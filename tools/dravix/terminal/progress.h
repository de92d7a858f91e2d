/// Shows a person at a terminal that the tool is working.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace dravix::tool {

/// Shows on stderr what is being done and for how long, once it has taken a second and only where
/// stderr is a terminal. The destructor removes the line.
class Progress {
 public:
  explicit Progress(const std::string& what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// Shows something else from now on.
  void Say(const std::string& what);
  /// Shows nothing from now on in this process, which another one speaks for.
  static void TurnOff();
  /// Whether there is a terminal to show it on, and showing is not turned off.
  [[nodiscard]] static bool HasTerminal();

 private:
  void Show();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace dravix::tool
