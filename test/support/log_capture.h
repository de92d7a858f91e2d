/// The AlgoLog functions of the tests: the capture that is alive keeps every line.
#pragma once

#include <string>
#include <vector>

namespace dravix::test {

enum class LogLevel { kError, kWarn, kInfo, kDebug };

struct LogLine {
  LogLevel level;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

/// Records the lines that are written while it lives. Where captures are nested, the innermost one
/// records. Lines may come from several threads.
class LogCapture {
 public:
  LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

  std::vector<LogLine> Lines() const;
  std::vector<std::string> Errors() const { return Texts(LogLevel::kError); }
  std::vector<std::string> Warnings() const { return Texts(LogLevel::kWarn); }
  std::vector<std::string> Infos() const { return Texts(LogLevel::kInfo); }
  std::vector<std::string> Debugs() const { return Texts(LogLevel::kDebug); }
  /// What the logging library was given as the format of each line.
  std::vector<std::string> Formats() const;
  void Clear();

  void Add(LogLine line, std::string format);

 private:
  std::vector<std::string> Texts(LogLevel level) const;

  std::vector<LogLine> lines_;
  std::vector<std::string> formats_;
  LogCapture* outer_;
};

}  // namespace dravix::test
