#include "tools/tool_runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "support/log_capture.h"

#ifdef _WIN32
#include <chrono>
#include <filesystem>
#include <thread>
#else
#include <sys/wait.h>
#endif

namespace dravix::test {
namespace {

#ifdef _WIN32
constexpr char kQuote = '"';
#else
constexpr char kQuote = '\'';
#endif

std::string Quoted(const std::string& word) {
  EXPECT_EQ(word.find(kQuote), std::string::npos);
  return kQuote + word + kQuote;
}

int ExitOf(int status) {
#ifdef _WIN32
  return status;
#else
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

/// What the program printed. On Windows lines end in two characters, of which one is kept.
std::string Printed(const std::string& fullname) {
  std::string text = Slurp(fullname);
#ifdef _WIN32
  std::erase(text, '\r');
#endif
  return text;
}

/// Runs a command line whose output goes to the file `out`.
int StatusOf(const std::string& command, const std::string& out) {
#ifdef _WIN32
  // On a busy machine Wine sometimes cannot start the shell. Nothing has run then, not even the
  // redirection, so that it is safe to try again.
  constexpr int kMoreTries = 4;
  for (int i = 0; i < kMoreTries; ++i) {
    const int status = std::system(command.c_str());
    if (status != -1 || std::filesystem::exists(out)) return status;
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
#else
  static_cast<void>(out);
#endif
  return std::system(command.c_str());  // NOLINT(cert-env33-c)
}

Outcome Run(const std::string& shell, const std::vector<std::string>& words) {
  const TempDir folder;
  std::string command = shell + Quoted(ToolName());
  for (const std::string& word : words) command += " " + Quoted(word);
  command += " >" + Quoted(folder.File("out")) + " 2>" + Quoted(folder.File("err"));
#ifdef _WIN32
  // cmd removes one pair of quotes around the whole.
  command = '"' + command + '"';
#endif
  Outcome outcome;
  outcome.exit = ExitOf(StatusOf(command, folder.File("out")));
  outcome.out = Printed(folder.File("out"));
  outcome.err = Printed(folder.File("err"));
  return outcome;
}

}  // namespace

std::string ToolName() {
  const char* named = std::getenv("DRAVIX_TOOL");  // NOLINT(concurrency-mt-unsafe)
  return named != nullptr ? named : DRAVIX_TOOL;
}

Outcome RunTool(const std::vector<std::string>& words) { return Run({}, words); }

Outcome RunToolIn(const std::filesystem::path& folder, const std::vector<std::string>& words) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  Outcome outcome = RunTool(words);
  std::filesystem::current_path(before);
  return outcome;
}

#ifndef _WIN32
Outcome RunToolAfter(const std::string& shell, const std::vector<std::string>& words) {
  return Run(shell, words);
}
#endif

bool IsOneLine(const Outcome& outcome) {
  return outcome.out.empty() && outcome.err.rfind("dravix: ", 0) == 0 && outcome.err.size() > 10 &&
         outcome.err.back() == '\n' &&
         std::count(outcome.err.begin(), outcome.err.end(), '\n') == 1;
}

void ExpectRefused(const Outcome& outcome, int exit, const std::string& says) {
  EXPECT_EQ(outcome.exit, exit) << outcome.err;
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(says), std::string::npos) << outcome.err << "expected: " << says;
}

std::vector<std::string> Joined(std::vector<std::string> words,
                                const std::vector<std::string>& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

Shot Loaded(const std::string& name) {
  const LogCapture log;
  Shot shot;
  EXPECT_EQ(shot.Load(name), 0) << testing::PrintToString(log.Errors());
  return shot;
}

SmallScreen::SmallScreen(const std::vector<std::string>& more) {
  std::vector<std::string> words = {"simulate",       Photo(), "--truth",   Truth(),
                                    "--checkerboard", Board(), "--modules", "0.05"};
  const bool sized = std::find(more.begin(), more.end(), "--leds") != more.end();
  if (!sized) words = Joined(words, {"--leds", "40x30", "--block", "5"});
  const Outcome outcome = RunTool(Joined(words, more));
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
}

std::string SmallScreen::Measured() const {
  const std::string result = File("result.lum");
  const Outcome outcome = RunTool({"measure", Photo(), "--truth", Truth(), "-o", result});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  return result;
}

}  // namespace dravix::test
