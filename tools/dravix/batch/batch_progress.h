/// How far a batch is, and when it will probably end.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "batch/time_left.h"
#include "terminal/progress.h"

namespace dravix::tool {

/// Says it in one line that changes, on a terminal; elsewhere, as in the log of a cluster, in one
/// line a minute. Its methods must not be called at the same time.
class BatchProgress {
 public:
  /// `samples` are those of all jobs.
  BatchProgress(std::size_t jobs, double samples, unsigned workers);

  /// A job was done already. Its time says nothing about the others.
  void Keep(std::uint64_t samples);
  void End(std::uint64_t samples, bool measured);

 private:
  [[nodiscard]] std::string Text() const;
  void Show();

  std::size_t jobs_;
  unsigned workers_;
  double left_;      ///< samples of jobs that have not ended
  double done_ = 0;  ///< samples of jobs that this run has worked on
  std::size_t kept_ = 0, worked_ = 0, failed_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point shown_ = start_;
  Progress line_;
};

}  // namespace dravix::tool
