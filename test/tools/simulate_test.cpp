#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

TEST(Simulate, SameSeedGivesTheSameBytes) {
  const SmallScreen one;
  const SmallScreen two;
  EXPECT_EQ(Slurp(one.Photo()), Slurp(two.Photo()));
  EXPECT_EQ(Slurp(one.Board()), Slurp(two.Board()));
  EXPECT_EQ(Slurp(one.Truth()), Slurp(two.Truth()));
}

TEST(Simulate, AnotherSeedGivesOthers) {
  const SmallScreen one;
  const SmallScreen two({"--seed", "2"});
  EXPECT_NE(Slurp(one.Photo()), Slurp(two.Photo()));
  EXPECT_NE(Slurp(one.File("truth.npy")), Slurp(two.File("truth.npy")));
}

TEST(Simulate, TruthHoldsCornersAndCells) {
  const SmallScreen screen;
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  EXPECT_EQ(truth["format"], "dravix-truth");
  EXPECT_EQ(truth["leds"], nlohmann::json({40, 30}));
  EXPECT_EQ(truth["luminances"], "truth.npy");
  EXPECT_EQ(truth["corner_pixels"].size(), 4U);
  EXPECT_EQ(truth["blocks"], nlohmann::json({8, 6}));
  ASSERT_EQ(truth["cells"].size(), 48U);
  EXPECT_EQ(truth["cells"][9]["column"], 1);
  EXPECT_EQ(truth["cells"][9]["row"], 1);
  EXPECT_EQ(truth["cells"][0]["lit"], true);
  EXPECT_EQ(truth["cells"][1]["lit"], false);
}

TEST(Simulate, SavedSceneGivesTheSamePhotograph) {
  const TempDir folder;
  ASSERT_EQ(
      RunTool({"simulate", folder.File("a.shot"), "--leds", "20x16", "--tilt-y", "8", "--defocus",
               "disk", "--dead", "0.05", "--save-scene", folder.File("scene.json")})
          .exit,
      0);
  ASSERT_EQ(RunTool({"simulate", folder.File("b.shot"), "--scene", folder.File("scene.json")}).exit,
            0);
  EXPECT_EQ(Slurp(folder.File("a.shot")), Slurp(folder.File("b.shot")));
}

TEST(Simulate, OptionsWinOverTheSceneFile) {
  const TempDir folder;
  Spill(folder.File("s.json"), R"({"screen": {"led_width": 20, "led_height": 16}})");
  const auto json = RunTool({"simulate", folder.File("a.shot"), "--scene", folder.File("s.json"),
                             "--leds", "24x10", "--json"})
                        .Json();
  EXPECT_EQ(json["leds"], nlohmann::json({24, 10}));
}

TEST(Simulate, NamedSceneIsTheSharedOne) {
  const TempDir folder;
  const auto json = RunTool({"simulate", folder.File("a.shot"), "--named", "lum-0", "--save-scene",
                             folder.File("s.json"), "--json"})
                        .Json();
  EXPECT_FALSE(json.is_discarded());
  EXPECT_EQ(nlohmann::json::parse(Slurp(folder.File("s.json")))["name"], "lum-0");
}

TEST(Simulate, BlocksChooseTheSide) {
  const TempDir folder;
  const auto json = RunTool({"simulate", folder.File("a.shot"), "--leds", "44x30", "--checkerboard",
                             folder.File("b.shot"), "--blocks", "6x4", "--json"})
                        .Json();
  EXPECT_EQ(json["blocks"], nlohmann::json({6, 4}));
  EXPECT_EQ(json["last_block"], nlohmann::json({4, 6}));
}

TEST(Simulate, BlocksThatAreNotSquareAreRefused) {
  const TempDir folder;
  const Outcome outcome = RunTool({"simulate", folder.File("a.shot"), "--leds", "44x30",
                                   "--checkerboard", folder.File("b.shot"), "--blocks", "2x20"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

struct BadScene {
  const char* name;
  const char* json;
  const char* says;
};

class BadScenes : public testing::TestWithParam<BadScene> {};

TEST_P(BadScenes, AreRefusedWithTheFieldAndWhatIsExpected) {
  const TempDir folder;
  Spill(folder.File("s.json"), GetParam().json);
  const Outcome outcome =
      RunTool({"simulate", folder.File("a.shot"), "--scene", folder.File("s.json")});
  EXPECT_EQ(outcome.exit == 2 || outcome.exit == 3, true) << outcome.exit;
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(folder.File("a.shot")));
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, BadScenes,
    testing::Values(
        BadScene{"NotJson", "{", "is no valid JSON"}, BadScene{"List", "[]", "expected an object"},
        BadScene{"UnknownGroup", R"({"screens": {}})", ".screens: unknown, expected one of"},
        BadScene{"UnknownField", R"({"pose": {"tilt": 3}})", ".pose.tilt: unknown"},
        BadScene{"WrongType", R"({"pose": {"pitch": "8"}})", ".pose.pitch: found \"8\", expected"},
        BadScene{"OutOfRange", R"({"pose": {"pitch": 1e9}})", "expected a number from 1 to 64"},
        BadScene{"NotWhole", R"({"screen": {"led_width": 3.5}})", "expected a whole number"},
        BadScene{"WrongName", R"({"sensor": {"mosaic": "rgbg"}})", "expected one of none rggb"},
        BadScene{"NegativeSeed", R"({"seed": -1})", ".seed: found -1, expected a whole number"},
        BadScene{"NumberAsText", R"({"name": 3})", ".name: found 3, expected a text"},
        BadScene{"NumberAsType", R"({"metadata": {"type": 3}})", "expected a plane type"},
        BadScene{"WrongPoint", R"({"reflection": {"centre": [1]}})", "expected points [x, y]"},
        BadScene{"TooLarge", R"({"sensor": {"width": 60000, "height": 60000}})", "250 megapixels"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Simulate, NumbersBeyondAllMeasureAreRefused) {
  const TempDir folder;
  for (const char* pitch : {"1e300", "-1e300", "nan", "inf"}) {
    const Outcome outcome = RunTool({"simulate", folder.File("a.shot"), "--pitch", pitch});
    EXPECT_EQ(outcome.exit, 2) << pitch;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
}

TEST(Simulate, FailureKeepsTheOldPhotograph) {
  const TempDir folder;
  Spill(folder.File("old.shot"), "precious");
  EXPECT_EQ(RunTool({"simulate", folder.File("old.shot"), "--pitch", "-1"}).exit, 2);
  EXPECT_EQ(Slurp(folder.File("old.shot")), "precious");
}

}  // namespace
