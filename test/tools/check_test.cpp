#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Loaded;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;

namespace {

std::vector<std::string> CornersOf(const SmallScreen& screen) {
  std::vector<std::string> corners;
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  for (const auto& point : truth["corner_pixels"]) {
    corners.push_back(point[0].dump() + "," + point[1].dump());
  }
  return corners;
}

/// The ids that `dravix check` finds; its exit code must say whether one of them is an error.
std::vector<std::string> Ids(const std::vector<std::string>& words) {
  std::vector<std::string> check = {"check", "--json"};
  check.insert(check.end(), words.begin(), words.end());
  const Outcome outcome = RunTool(check);
  const auto json = outcome.Json();
  EXPECT_TRUE(json.is_array()) << outcome.err;
  if (!json.is_array() || json.size() != 1) return {"no answer"};
  EXPECT_EQ(outcome.exit, json[0]["ok"].get<bool>() ? 0 : 5) << outcome.err;
  std::vector<std::string> ids;
  for (const auto& finding : json[0]["findings"]) ids.push_back(finding["id"]);
  return ids;
}

using List = std::vector<std::string>;

TEST(CheckCommand, SaysInWordsThatThereIsNothing) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"check", screen.Photo()});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, screen.Photo() + ": no findings\n");
  EXPECT_EQ(outcome.err, "");
}

TEST(CheckCommand, GivesOneBlockForEachPhotographInOrder) {
  const SmallScreen good;
  const SmallScreen dark({"--exposure", "0.01"});
  const Outcome text = RunTool({"check", dark.Photo(), good.Photo()});
  EXPECT_EQ(text.exit, 0) << text.err;
  EXPECT_EQ(text.out.find(dark.Photo() + ":\n  warning too-dark: "), 0U) << text.out;
  EXPECT_NE(text.out.find("\n" + good.Photo() + ": no findings\n"), std::string::npos);
  const auto json = RunTool({"check", dark.Photo(), good.Photo(), "--json"}).Json();
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["photo"], dark.Photo());
  EXPECT_EQ(json[0]["ok"], true);
  EXPECT_EQ(json[0]["findings"][0]["severity"], "warning");
  EXPECT_LT(json[0]["findings"][0]["values"]["share"], 0.05);
  EXPECT_EQ(json[1]["findings"], nlohmann::json::array());
}

TEST(CheckCommand, ErrorEndsWithFive) {
  const SmallScreen screen({"--exposure", "2"});
  const Outcome outcome = RunTool({"check", screen.Photo()});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_NE(outcome.out.find("  error saturated: "), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.err.find("found errors in 1 of 1 photographs"), std::string::npos);
}

TEST(CheckCommand, UnreadablePhotographEndsWithThreeAfterTheOthers) {
  const SmallScreen screen;
  Spill(screen.File("bad.shot"), "nothing");
  const Outcome outcome = RunTool({"check", screen.File("bad.shot"), screen.Photo(), "--json"});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("bad.shot"), std::string::npos) << outcome.err;
  const auto json = outcome.Json();
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["ok"], false);
  EXPECT_EQ(json[1]["ok"], true);
  EXPECT_EQ(RunTool({"check", screen.File("none.shot")}).exit, 3);
}

TEST(CheckCommand, CornersAndRegionExcludeEachOther) {
  const SmallScreen screen;
  const Outcome outcome = RunTool(
      {"check", screen.Photo(), "--corners", "1,1", "9,1", "9,9", "1,9", "--region", "a.roi"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(RunTool({"check", screen.Photo(), "--blocks", "8x6"}).exit, 2);
  EXPECT_EQ(RunTool({"check"}).exit, 2);
}

struct SimulatedMistake {
  const char* id;
  List scene;
};

class SimulatedMistakes : public testing::TestWithParam<SimulatedMistake> {};

TEST_P(SimulatedMistakes, AreFound) {
  const SmallScreen screen(GetParam().scene);
  const List ids = Ids({screen.Photo()});
  EXPECT_NE(std::find(ids.begin(), ids.end(), GetParam().id), ids.end())
      << testing::PrintToString(ids);
}

INSTANTIATE_TEST_SUITE_P(CheckCommand, SimulatedMistakes,
                         testing::Values(SimulatedMistake{"saturated", {"--exposure", "1.5"}},
                                         SimulatedMistake{"too-dark", {"--exposure", "0.02"}},
                                         SimulatedMistake{"no-area", {"--exposure", "0.000001"}},
                                         SimulatedMistake{"area-cut", {"--size", "300x250"}},
                                         SimulatedMistake{"too-sharp",
                                                          {"--blur", "0.03", "--exposure", "0.1"}},
                                         SimulatedMistake{"moire",
                                                          {"--leds", "128x96", "--pitch", "2.3",
                                                           "--blur", "0.03", "--exposure", "0.1"}},
                                         SimulatedMistake{"too-blurred", {"--blur", "1.2"}},
                                         SimulatedMistake{"resolution", {"--pitch", "3"}},
                                         SimulatedMistake{"tilt", {"--tilt-x", "45"}},
                                         SimulatedMistake{"mosaic", {"--mosaic", "rggb"}}),
                         [](const auto& test) {
                           std::string name = test.param.id;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

/// Writes the shot of a screen once more, changed.
template <class Change>
std::string Changed(const SmallScreen& screen, const Change& change) {
  Shot shot = Loaded(screen.Photo());
  change(shot);
  EXPECT_EQ(shot.Save(screen.File("changed.shot")), 0);
  return screen.File("changed.shot");
}

TEST(CheckCommand, FindsAPatternThatIsMissingOrDoesNotFit) {
  const SmallScreen screen;
  const std::string missing = Changed(screen, [](Shot& shot) { shot.pattern.reset(); });
  EXPECT_EQ(Ids({missing}), List({"pattern"}));
}

TEST(CheckCommand, FindsAnotherCountOfLeds) {
  const SmallScreen screen;
  const std::string other = Changed(screen, [](Shot& shot) {
    shot.partition.reset();
    shot.pattern->lighted_led_w = 44;
  });
  EXPECT_EQ(Ids({other}), List({"led-count"}));
}

TEST(CheckCommand, FindsAStretchedRange) {
  const SmallScreen screen;
  const std::string stretched = Changed(screen, [](Shot& shot) {
    shot.image *= 4;
    shot.device->cam_type += 2;
  });
  EXPECT_EQ(Ids({stretched}), List({"bit-depth"}));
}

TEST(CheckCommand, FindsASecondArea) {
  const SmallScreen screen({"--size", "700x320"});
  const std::string two =
      Changed(screen, [](Shot& shot) { shot.image(cv::Rect(10, 100, 140, 120)) = 1500; });
  EXPECT_EQ(Ids({two}), List({"several-areas"}));
}

TEST(CheckCommand, ComparesGivenCornersWithThoseFound) {
  const SmallScreen screen;
  List right = {screen.Photo(), "--corners"};
  for (const std::string& corner : CornersOf(screen)) right.push_back(corner);
  EXPECT_EQ(Ids(right), List());
  EXPECT_EQ(Ids({screen.Photo(), "--corners", "80,80", "200,80", "200,200", "80,200"}),
            List({"corners-off"}));
}

TEST(CheckCommand, FindsARegionOfAnotherFrame) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"region", "manual", "--frame", "900x700", "--corners", "30,30", "300,30",
                     "300,220", "30,220", "-o", screen.File("r.roi")})
                .exit,
            0);
  EXPECT_EQ(Ids({screen.Photo(), "--region", screen.File("r.roi")}), List({"frame"}));
}

TEST(CheckCommand, FindsBlocksThatDoNotFitAndPhotographsThatAreSwapped) {
  const SmallScreen screen({"--leds", "64x48", "--block", "8"});
  const auto with = [&](const std::string& photo, const std::string& checkerboard,
                        const std::string& blocks) {
    return Ids({photo, "--checkerboard", checkerboard, "--blocks", blocks});
  };
  EXPECT_EQ(with(screen.Photo(), screen.Board(), "8x6"), List());
  EXPECT_EQ(with(screen.Photo(), screen.Board(), "7x6"), List({"blocks"}));
  EXPECT_EQ(with(screen.Photo(), screen.Board(), "16x12"), List({"blocks"}));
  EXPECT_EQ(with(screen.Board(), screen.Photo(), "8x6"), List({"blocks"}));
}

}  // namespace
