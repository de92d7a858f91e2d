/// Threads for the matrix library's parallel loops that the thread sanitizer can see.
#pragma once

#include <opencv2/core/parallel/parallel_backend.hpp>
#include <string>
#include <thread>
#include <vector>

namespace dravix::test {

/// Runs each loop on a few threads of its own. The library that OpenCV takes otherwise is built
/// without the sanitizer, which does not see that it waits for its threads, and reports what they
/// have read before.
class VisibleThreads : public cv::parallel::ParallelForAPI {
 public:
  void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kThreads; ++i) {
      const int begin = tasks * i / kThreads;
      const int end = tasks * (i + 1) / kThreads;
      if (begin == end) continue;
      threads.emplace_back([=] {
        Number() = i;
        body(begin, end, data);
      });
    }
  }
  int getThreadNum() const override { return Number(); }
  int getNumThreads() const override { return kThreads; }
  int setNumThreads(int) override { return kThreads; }
  const char* getName() const override { return "visible"; }

 private:
  static constexpr int kThreads = 3;
  static int& Number() {
    thread_local int number = 0;
    return number;
  }
};

}  // namespace dravix::test
