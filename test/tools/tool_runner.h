/// Runs the tool as its users do and keeps what it said.
#pragma once

#include <dravix/shot.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace dravix::test {

struct Outcome {
  int exit = -1;
  std::string out;
  std::string err;

  /// The answer as JSON; null when it is none.
  [[nodiscard]] nlohmann::json Json() const { return nlohmann::json::parse(out, nullptr, false); }
};

/// The tool's file: the build's own, unless the environment names another one.
std::string ToolName();

/// Each word is one argument, blanks and all.
Outcome RunTool(const std::vector<std::string>& words);
/// The same with `folder` as the current folder.
Outcome RunToolIn(const std::filesystem::path& folder, const std::vector<std::string>& words);
#ifndef _WIN32
/// The same with `shell` in front, for example "ulimit -f 1; " or "timeout 20 ".
Outcome RunToolAfter(const std::string& shell, const std::vector<std::string>& words);
#endif

/// Whether there is one line on stderr, which begins with "dravix: ", and nothing on stdout.
bool IsOneLine(const Outcome& outcome);

/// Expects that exit code, and one line that says so.
void ExpectRefused(const Outcome& outcome, int exit, const std::string& says);

/// The words, and more of them behind.
std::vector<std::string> Joined(std::vector<std::string> words,
                                const std::vector<std::string>& more);

/// A shot that the tool wrote; the library's error lines are shown when it cannot be read.
Shot Loaded(const std::string& name);

/// A small screen, 40 x 30 LEDs in about 0.1 megapixels, simulated into a folder of its own:
/// photo.shot, board.shot (8 x 6 blocks of 5 LEDs), truth.json and truth.truth.npy. Another size
/// comes with {"--leds", "64x48", "--block", "8"}.
class SmallScreen {
 public:
  explicit SmallScreen(const std::vector<std::string>& more = {});

  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] std::string Photo() const { return File("photo.shot"); }
  [[nodiscard]] std::string Board() const { return File("board.shot"); }
  [[nodiscard]] std::string Truth() const { return File("truth.json"); }
  /// Measures into result.lum and gives its name.
  [[nodiscard]] std::string Measured() const;

 private:
  TempDir folder_;
};

}  // namespace dravix::test
