#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>
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
  EXPECT_NE(Slurp(one.File("truth.truth.npy")), Slurp(two.File("truth.truth.npy")));
}

TEST(Simulate, TruthHoldsCornersAndCells) {
  const SmallScreen screen;
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  EXPECT_EQ(truth["format"], "dravix-truth");
  EXPECT_EQ(truth["leds"], nlohmann::json({40, 30}));
  EXPECT_EQ(truth["luminances"], "truth.truth.npy");
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
        BadScene{"WrongPoint", R"({"reflection": {"center": [1]}})", "expected points [x, y]"},
        BadScene{"OtherSpelling", R"({"reflection": {"centre": [1]}})", "expected points [x, y]"},
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

TEST(Simulate, NumberThatIsNoneIsCalledWhatItIs) {
  const TempDir folder;
  const Outcome outcome = RunTool({"simulate", folder.File("a.shot"), "--pitch", "nan"});
  EXPECT_NE(outcome.err.find("--pitch: found nan, expected a number from 1 to 64"),
            std::string::npos)
      << outcome.err;
}

// Only the photograph that the screen would need is refused: 64 pixels for every LED are too many.
TEST(Simulate, ScreenOf8KIsNotTooManyLeds) {
  const TempDir folder;
  const Outcome outcome =
      RunTool({"simulate", folder.File("a.shot"), "--leds", "7680x4320", "--pitch", "64"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("250 megapixels"), std::string::npos) << outcome.err;
}

TEST(Simulate, MoreLedsThanMemoryHoldsAreCounted) {
  const TempDir folder;
  const Outcome outcome = RunTool({"simulate", folder.File("a.shot"), "--leds", "8192x8192"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("found 8192 x 8192 LEDs, expected at most 36 million"),
            std::string::npos)
      << outcome.err;
}

TEST(Simulate, MoreBlocksThanATruthHoldsAreCounted) {
  const TempDir folder;
  const Outcome outcome =
      RunTool({"simulate", folder.File("a.shot"), "--leds", "4096x4096", "--block", "1", "--pitch",
               "1", "--truth", folder.File("a.json")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("found 4096 x 4096 blocks of a checkerboard, expected at most a "
                             "million"),
            std::string::npos)
      << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(folder.File("a.shot")));
}

TEST(Simulate, TruthOfManyBlocksLeavesTheirCellsOutAndSaysSo) {
  const TempDir folder;
  const std::string truth = folder.File("a.json");
  const std::vector<std::string> words = {
      "simulate", folder.File("a.shot"), "--pitch", "1", "--block", "1", "--truth", truth,
      "--leds"};
  for (const auto& [leds, lists] : {std::pair("400x250", true), std::pair("400x251", false)}) {
    auto all = words;
    all.emplace_back(leds);
    const Outcome outcome = RunTool(all);
    ASSERT_EQ(outcome.exit, 0) << outcome.err;
    const auto json = nlohmann::json::parse(Slurp(truth));
    EXPECT_EQ(json.contains("cells"), lists) << leds;
    EXPECT_EQ(
        outcome.err.find("does not list the corners of its 400 x 251 blocks") == std::string::npos,
        lists)
        << outcome.err;
    EXPECT_EQ(RunTool({"info", truth}).exit, 0);
  }
}

TEST(Simulate, SpotLargerThanAnyLensMakesIsRefused) {
  const TempDir folder;
  const Outcome outcome =
      RunTool({"simulate", folder.File("a.shot"), "--pitch", "64", "--blur", "20"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("would reach 5134 pixels, expected at most 512"), std::string::npos)
      << outcome.err;
}

TEST(Simulate, MosaicIsStoredAsAPlaneOfAllColors) {
  const TempDir folder;
  ASSERT_EQ(RunTool({"simulate", folder.File("m.shot"), "--leds", "20x16", "--mosaic", "rggb",
                     "--checkerboard", folder.File("b.shot")})
                .exit,
            0);
  for (const char* name : {"m.shot", "b.shot"}) {
    const Shot shot = Loaded(folder.File(name));
    EXPECT_EQ(shot.type, CAM_RGB) << name;
    EXPECT_EQ(shot.image.type(), CV_16UC1) << name;
  }
}

TEST(Simulate, MosaicIsMeasuredOnlyAfterDemosaicing) {
  const SmallScreen screen({"--mosaic", "rggb"});
  const std::string result = screen.File("r.lum");
  const Outcome raw = RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "-o", result});
  EXPECT_EQ(raw.exit, 3);
  EXPECT_TRUE(IsOneLine(raw)) << raw.err;
  EXPECT_NE(raw.err.find("dravix shot demosaic"), std::string::npos) << raw.err;
  ASSERT_EQ(RunTool({"shot", "demosaic", screen.Photo(), screen.File("g.shot"), "--mosaic", "rggb",
                     "--type", "CAM_G"})
                .exit,
            0);
  ASSERT_EQ(
      RunTool({"measure", screen.File("g.shot"), "--truth", screen.Truth(), "-o", result}).exit, 0);
  const auto difference = RunTool({"compare", result, screen.Truth(), "--json"}).Json();
  EXPECT_LT(difference["rms"].get<double>(), 0.05);
}

/// Words after "simulate", in which "@" stands for the folder, with two names of one file.
struct SameFiles {
  const char* name;
  std::vector<std::string> words;
};

class SameFilesOf : public testing::TestWithParam<SameFiles> {};

TEST_P(SameFilesOf, AreRefusedBeforeAnythingIsWritten) {
  const TempDir folder;
  const std::string at = folder.Path().string() + "/";
  Spill(folder.File("old.json"), "{}");
  std::filesystem::create_directory(folder.Path() / "sub");
  std::error_code noLinks;
  std::filesystem::create_symlink("new.shot", folder.Path() / "link.shot", noLinks);
  if (noLinks) GTEST_SKIP() << "no links here: " << noLinks.message();
  std::vector<std::string> words = {"simulate"};
  for (std::string word : GetParam().words) {
    if (word.starts_with("@")) word.replace(0, 1, at);
    words.push_back(word);
  }
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("would overwrite"), std::string::npos) << outcome.err;
  EXPECT_EQ(Slurp(folder.File("old.json")), "{}");
  EXPECT_FALSE(std::filesystem::exists(folder.File("new.shot")));
  EXPECT_FALSE(std::filesystem::exists(folder.File("t.json")));
}

INSTANTIATE_TEST_SUITE_P(
    Names, SameFilesOf,
    testing::Values(
        SameFiles{"Board", {"@new.shot", "--checkerboard", "@new.shot"}},
        SameFiles{"SceneAndTruth", {"@new.shot", "--truth", "@t.json", "--save-scene", "@t.json"}},
        SameFiles{"SceneAndTruthsMatrix",
                  {"@new.shot", "--truth", "@t.json", "--save-scene", "@t.truth.npy"}},
        SameFiles{"SceneReadAndWritten",
                  {"@new.shot", "--scene", "@old.json", "--save-scene", "@old.json"}},
        SameFiles{"SceneReadAndTruth",
                  {"@new.shot", "--scene", "@old.json", "--truth", "@./old.json"}},
        SameFiles{"AnotherSpelling", {"@new.shot", "--checkerboard", "@sub/../new.shot"}},
        SameFiles{"LinkToAFileThatIsNotThereYet", {"@new.shot", "--checkerboard", "@link.shot"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Simulate, FailureKeepsTheOldPhotograph) {
  const TempDir folder;
  Spill(folder.File("old.shot"), "precious");
  EXPECT_EQ(RunTool({"simulate", folder.File("old.shot"), "--pitch", "-1"}).exit, 2);
  EXPECT_EQ(Slurp(folder.File("old.shot")), "precious");
}

}  // namespace
