/// A process of this program that does one job after another, so that a job that crashes takes no
/// other with it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::tool {

/// A question is a line; an answer is a line and the bytes that it announces.
class WorkerProcess {
 public:
  /// Starts this program with these words behind its name; its answers come from its stdout.
  /// Throws std::system_error where that fails.
  explicit WorkerProcess(const std::vector<std::string>& words);
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;
  /// Tells the process to end, and waits for it.
  ~WorkerProcess();

  /// Sends a line, which has its line's end. False when the process has gone.
  [[nodiscard]] bool Send(std::string_view line);
  /// The next line without its end; empty when the process has gone.
  [[nodiscard]] std::optional<std::string> ReceiveLine();
  /// The next bytes; empty when the process goes before it has sent them all.
  [[nodiscard]] std::optional<std::string> Receive(std::size_t count);

  /// Waits for the end of a process that has gone: "was ended by signal 9", "ended with code 1".
  [[nodiscard]] std::string HowItEnded();

 private:
  /// Up to `count` bytes; 0 at the end.
  [[nodiscard]] std::size_t Read(char* to, std::size_t count);
  [[nodiscard]] bool Fill();
  void Close();

  struct Handles;
  std::unique_ptr<Handles> handles_;
  std::string received_;  ///< but not yet asked for
};

/// To be called once by the process that answers: keeps stdout for answers and sends to stderr what
/// else would be printed there, and lets the system end the process when its parent goes.
class AnswerStream {
 public:
  AnswerStream();
  AnswerStream(const AnswerStream&) = delete;
  AnswerStream& operator=(const AnswerStream&) = delete;
  ~AnswerStream();

  /// False when nobody listens any more.
  [[nodiscard]] bool Send(std::string_view bytes);

 private:
  int descriptor_;
};

}  // namespace dravix::tool
