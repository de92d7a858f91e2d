#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "batch/workers/worker_process.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

extern char** environ;  // NOLINT(readability-redundant-declaration): not all systems declare it

namespace dravix::tool {
namespace {

struct Pipe {
  int from = -1, to = -1;
};

/// A pipe that other processes of this one do not inherit: one that kept it open would keep the
/// reader waiting for its end.
Pipe MakePipe() {
  std::array<int, 2> ends{};
#ifdef __linux__
  const bool made = pipe2(ends.data(), O_CLOEXEC) == 0;
#else
  const bool made = pipe(ends.data()) == 0 && fcntl(ends[0], F_SETFD, FD_CLOEXEC) == 0 &&
                    fcntl(ends[1], F_SETFD, FD_CLOEXEC) == 0;
#endif
  if (!made) throw std::system_error(errno, std::generic_category(), "pipe");
  return {ends[0], ends[1]};
}

void CloseEnd(int& end) {
  if (end >= 0) close(end);
  end = -1;
}

/// What the system calls the program of this process, also when its file was replaced meanwhile.
constexpr const char* kOwnProgram = "/proc/self/exe";

}  // namespace

struct WorkerProcess::Handles {
  pid_t process = -1;
  int questions = -1, answers = -1;
};

WorkerProcess::WorkerProcess(const std::vector<std::string>& words)
    : handles_(std::make_unique<Handles>()) {
  Pipe questions = MakePipe();
  Pipe answers = MakePipe();
  std::vector<std::string> copies = {"dravix"};
  copies.insert(copies.end(), words.begin(), words.end());
  std::vector<char*> arguments;
  arguments.reserve(copies.size() + 1);
  for (std::string& word : copies) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, questions.from, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, answers.to, STDOUT_FILENO);
  const int failed =
      posix_spawn(&handles_->process, kOwnProgram, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  CloseEnd(questions.from);
  CloseEnd(answers.to);
  handles_->questions = questions.to;
  handles_->answers = answers.from;
  if (failed == 0) return;
  handles_->process = -1;
  Close();
  throw std::system_error(failed, std::generic_category(), "a worker cannot be started");
}

WorkerProcess::~WorkerProcess() { static_cast<void>(HowItEnded()); }

void WorkerProcess::Close() {
  CloseEnd(handles_->questions);
  CloseEnd(handles_->answers);
}

bool WorkerProcess::Send(std::string_view line) {
  while (!line.empty()) {
    const ssize_t written = write(handles_->questions, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    line.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::size_t WorkerProcess::Read(char* to, std::size_t count) {
  while (true) {
    const ssize_t bytes = read(handles_->answers, to, count);
    if (bytes >= 0) return static_cast<std::size_t>(bytes);
    if (errno != EINTR) return 0;
  }
}

std::string WorkerProcess::HowItEnded() {
  Close();
  if (handles_->process < 0) return "was not started";
  int status = 0;
  while (waitpid(handles_->process, &status, 0) < 0 && errno == EINTR) continue;
  handles_->process = -1;
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return "ended with code " + std::to_string(WEXITSTATUS(status));
}

AnswerStream::AnswerStream() : descriptor_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

AnswerStream::~AnswerStream() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool AnswerStream::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace dravix::tool
