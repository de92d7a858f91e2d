#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/core.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "sim/render.h"
#include "support/temp_dir.h"
#include "tools/camera_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::DirectDng;
using dravix::test::Outcome;
using dravix::test::RunToolIn;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// The README's first block of that language.
std::string CodeBlock(const std::string& text, const std::string& language) {
  const std::string opening = "```" + language + "\n";
  const auto begin = text.find(opening);
  if (begin == std::string::npos) return {};
  const auto end = text.find("\n```", begin + opening.size());
  return text.substr(begin + opening.size(), end + 1 - begin - opening.size());
}

/// The words after "dravix" of every indented line that begins with it, in order.
std::vector<std::vector<std::string>> CommandsOf(const std::string& text) {
  std::vector<std::vector<std::string>> commands;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("    dravix ")) continue;
    std::istringstream words(line.substr(0, line.find(" #")));
    std::string word;
    words >> word;
    commands.emplace_back();
    while (words >> word) commands.back().push_back(word);
  }
  return commands;
}

/// What the README calls camera.dng: a screen of 256 x 128 LEDs through a color sensor.
std::string CameraFile() {
  dravix::sim::Scene scene;
  scene.screen.ledWidth = 256;
  scene.screen.ledHeight = 128;
  scene.sensor.mosaic = dravix::sim::Mosaic::kRggb;
  const cv::Mat upright = dravix::sim::Render(scene).shot.image;
  cv::Mat stored;
  cv::flip(upright, stored, 0);
  return DirectDng(stored);
}

TEST(Readme, LinesTypedInOrderSucceedAndLeaveTheTruthAlone) {
  const auto commands = CommandsOf(Slurp(std::string(DRAVIX_SOURCE_DIR) + "/README.md"));
  ASSERT_GE(commands.size(), 8U);
  const TempDir folder;
  Spill(folder.File("camera.dng"), CameraFile());
  std::string truth;
  std::string luminances;
  for (const auto& words : commands) {
    const Outcome outcome = RunToolIn(folder.Path(), words);
    EXPECT_EQ(outcome.exit, 0) << testing::PrintToString(words) << ": " << outcome.err;
    if (words.front() != "simulate") continue;
    truth = Slurp(folder.File("screen.json"));
    luminances = Slurp(folder.File("screen.truth.npy"));
  }
  EXPECT_FALSE(luminances.empty());
  EXPECT_EQ(Slurp(folder.File("screen.json")), truth);
  EXPECT_EQ(Slurp(folder.File("screen.truth.npy")), luminances);
  EXPECT_NE(Slurp(folder.File("screen.npy")), luminances);
}

TEST(Readme, HostExampleIsTheOneThatIsCompiled) {
  const std::string folder = DRAVIX_SOURCE_DIR;
  EXPECT_EQ(CodeBlock(Slurp(folder + "/README.md"), "cpp"), Slurp(folder + "/examples/host.cpp"));
}

}  // namespace
