/// Threads that each have a worker process, and share out jobs among themselves.
#pragma once

#include <cstddef>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "batch/jobs/batch_job.h"
#include "batch/workers/worker_process.h"

namespace dravix::tool {

/// One worker process, which is started when the first question is asked, and again when it has
/// gone.
class Worker {
 public:
  explicit Worker(const std::vector<std::string>& words) : words_(words) {}

  /// The answer and the bytes that belong to it. Where the process goes before it has answered, it
  /// is asked once more, since the system may have ended it for a reason that has nothing to do
  /// with the job; where it goes again, the answer has the code kInternal.
  [[nodiscard]] std::pair<Answer, std::string> Ask(Task task, const BatchJob& job);

  /// Does something beside the next question, so that the process need not wait for it, and forgets
  /// it when it is done. Waits for what was begun before, and throws on what that threw.
  void DoBeside(std::function<void()> work);
  /// Waits for what DoBeside began last, likewise.
  void FinishBeside();

 private:
  [[nodiscard]] std::optional<std::pair<Answer, std::string>> Try(const std::string& question);

  const std::vector<std::string>& words_;
  std::optional<WorkerProcess> process_;
  std::future<void> beside_;  ///< whose destructor waits
};

/// Calls `work` once for each number below `count`, in this order, from as many threads as there
/// are to be workers. The first exception ends all of it and is thrown on.
void ShareOut(std::size_t count, unsigned workers, const std::vector<std::string>& words,
              const std::function<void(std::size_t, Worker&)>& work);

}  // namespace dravix::tool
