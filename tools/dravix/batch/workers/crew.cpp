#include "batch/workers/crew.h"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "terminal/exit_codes.h"

namespace dravix::tool {

std::optional<std::pair<Answer, std::string>> Worker::Try(const std::string& question) {
  if (!process_) process_.emplace(words_);
  if (!process_->Send(question)) return std::nullopt;
  const auto line = process_->ReceiveLine();
  if (!line) return std::nullopt;
  Answer answer = ParseAnswer(*line);
  auto bytes = process_->Receive(static_cast<std::size_t>(answer.bytes));
  if (!bytes) return std::nullopt;
  return std::pair(std::move(answer), *std::move(bytes));
}

std::pair<Answer, std::string> Worker::Ask(Task task, const BatchJob& job) {
  const std::string question = QuestionLine(task, job.options);
  std::string how;
  constexpr int kTries = 2;
  for (int i = 0; i < kTries; ++i) {
    if (auto answered = Try(question)) return *std::move(answered);
    how = process_->HowItEnded();
    process_.reset();
  }
  Answer answer;
  answer.code = static_cast<int>(ExitCode::kInternal);
  answer.message = "dravix: internal error: the process that measured " + how;
  return {answer, {}};
}

void Worker::DoBeside(std::function<void()> work) {
  FinishBeside();
  // The future keeps what it calls until somebody asks for the outcome. What the work holds would
  // be held as long, memory that the next question may be waiting for.
  const auto kept = std::make_shared<std::function<void()>>(std::move(work));
  const auto doAndForget = [kept] { std::exchange(*kept, nullptr)(); };
  try {
    beside_ = std::async(std::launch::async, doAndForget);
  } catch (const std::system_error&) {
    doAndForget();  // no thread can be started
  }
}

void Worker::FinishBeside() {
  if (beside_.valid()) beside_.get();
}

void ShareOut(std::size_t count, unsigned workers, const std::vector<std::string>& words,
              const std::function<void(std::size_t, Worker&)>& work) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto run = [&] {
    try {
      Worker worker(words);
      for (std::size_t i = next++; i < count; i = next++) work(i, worker);
      worker.FinishBeside();
    } catch (...) {
      next = count;
      const std::lock_guard lock(mutex);
      if (!failure) failure = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < workers && i < count; ++i) threads.emplace_back(run);
  for (std::thread& thread : threads) thread.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace dravix::tool
