#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::NpyBytes;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

TEST(Compare, ResultDoesNotDifferFromItself) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const auto json = RunTool({"compare", result, result, "--json"}).Json();
  EXPECT_DOUBLE_EQ(json["gain"], 1.0);
  EXPECT_NEAR(json["rms"], 0.0, 1e-12);
  EXPECT_NEAR(json["correlation"], 1.0, 1e-12);
}

TEST(Compare, RmsIsThatOfWhatOneGainLeaves) {
  const TempDir folder;
  Spill(folder.File("a.npy"), NpyBytes<float>(1, 4, {1, 1, 1, 1}));
  Spill(folder.File("b.npy"), NpyBytes<float>(1, 4, {1, 3, 1, 3}));
  const auto json =
      RunTool({"compare", folder.File("a.npy"), folder.File("b.npy"), "--edge", "0", "--json"})
          .Json();
  EXPECT_DOUBLE_EQ(json["gain"], 2.0);
  EXPECT_DOUBLE_EQ(json["rms"], 0.5);
  EXPECT_DOUBLE_EQ(json["largest"]["difference"], 0.5);
}

TEST(Compare, OuterLedsAreLeftOut) {
  const TempDir folder;
  std::vector<float> even(9 * 9, 2.0F);
  std::vector<float> rim = even;
  for (std::size_t i = 0; i < 9; ++i) rim[i] = 100.0F;
  Spill(folder.File("a.npy"), NpyBytes<float>(9, 9, rim));
  Spill(folder.File("b.npy"), NpyBytes<float>(9, 9, even));
  const auto without =
      RunTool({"compare", folder.File("a.npy"), folder.File("b.npy"), "--json"}).Json();
  EXPECT_DOUBLE_EQ(without["rms"], 0.0);
  const auto with =
      RunTool({"compare", folder.File("a.npy"), folder.File("b.npy"), "--edge", "0", "--json"})
          .Json();
  EXPECT_GT(with["rms"], 0.1);
}

TEST(Compare, PictureIsWritten) {
  const SmallScreen screen;
  ASSERT_EQ(
      RunTool({"compare", screen.Measured(), screen.Truth(), "--image", screen.File("c.png")}).exit,
      0);
  EXPECT_FALSE(cv::imread(screen.File("c.png")).empty());
}

TEST(Compare, AboveTheLimitExitsWithOne) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  EXPECT_EQ(RunTool({"compare", result, screen.Truth(), "--max-rms", "0.5"}).exit, 0);
  const Outcome outcome = RunTool({"compare", result, screen.Truth(), "--max-rms", "0.00001"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_NE(outcome.err.find("expected at most"), std::string::npos);
}

TEST(Compare, DifferentSizesAreNamed) {
  const SmallScreen screen;
  Spill(screen.File("b.npy"), NpyBytes<float>(1, 4, {1, 2, 1, 2}));
  const Outcome outcome = RunTool({"compare", screen.Measured(), screen.File("b.npy")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("has 4 x 1 LEDs, expected 40 x 30"), std::string::npos);
}

TEST(Compare, MissingMatrixOfATruthIsNamed) {
  const SmallScreen screen;
  Spill(screen.File("lost.json"),
        R"({"format": "dravix-truth", "version": 1, "luminances": "gone.npy"})");
  const Outcome outcome = RunTool({"compare", screen.Measured(), screen.File("lost.json")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("gone.npy: cannot be opened"), std::string::npos) << outcome.err;
}

TEST(Compare, EdgeThatLeavesNothingIsWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"compare", screen.Measured(), screen.Truth(), "--edge", "15"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Compare, PictureOverAnInputIsRefused) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::string bytes = Slurp(result);
  std::filesystem::create_hard_link(result, screen.File("link.png"));
  const Outcome outcome =
      RunTool({"compare", result, screen.Truth(), "--image", screen.File("link.png")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(result), bytes);
}

TEST(Compare, PictureOverTheTruthsMatrixIsRefused) {
  const TempDir folder;
  const std::string npy = NpyBytes<float>(1, 4, {1, 2, 1, 2});
  Spill(folder.File("m.png"), npy);
  Spill(folder.File("t.json"),
        R"({"format": "dravix-truth", "version": 1, "luminances": "m.png",
            "corner_pixels": [[0, 0], [9, 0], [9, 9], [0, 9]]})");
  const Outcome outcome = RunTool({"compare", folder.File("t.json"), folder.File("t.json"),
                                   "--edge", "0", "--image", folder.File("m.png")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(Slurp(folder.File("m.png")), npy);
}

TEST(Compare, LimitThatIsNoLimitIsWrongUsage) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  for (const char* limit : {"nan", "inf", "-0.1"}) {
    const Outcome outcome = RunTool({"compare", result, result, "--max-rms", limit});
    EXPECT_EQ(outcome.exit, 2) << limit;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("--max-rms: found"), std::string::npos) << outcome.err;
  }
}

TEST(Compare, NegativeAndHugeEdgesAreWrongUsage) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  for (const char* edge : {"-1", "1073741825", "2147483647"}) {
    const Outcome outcome = RunTool({"compare", result, result, "--edge", edge});
    EXPECT_EQ(outcome.exit, 2) << edge;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
}

TEST(Compare, SaysWhichSideHasACopiedBorder) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const auto json = RunTool({"compare", result, screen.Truth(), "--json"}).Json();
  EXPECT_EQ(json["copied_border"]["measured"], 4);
  EXPECT_EQ(json["copied_leds"]["measured"], 40 * 30 - 32 * 22);
  EXPECT_EQ(json["copied_border"]["reference"], 0);
  const std::string text = RunTool({"compare", result, screen.Truth()}).out;
  EXPECT_NE(text.find("outer 4 LEDs on each side are copies"), std::string::npos) << text;
}

TEST(Compare, BorderOfATruthIsNeverCalledCopied) {
  // Without scatter the outer LEDs of a truth are equal to inner ones, but they are no copies.
  const SmallScreen screen({"--scatter", "0"});
  const auto json = RunTool({"compare", screen.Truth(), screen.Truth(), "--json"}).Json();
  EXPECT_EQ(json["copied_border"]["measured"], 0);
}

TEST(Compare, LettersGrowWithTheMatrix) {
  const TempDir folder;
  std::vector<float> ramp(12 * 4800);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i % 4800);
  Spill(folder.File("a.npy"), NpyBytes<float>(12, 4800, ramp));
  const std::string picture = folder.File("c.png");
  ASSERT_EQ(
      RunTool({"compare", folder.File("a.npy"), folder.File("a.npy"), "--image", picture}).exit, 0);
  // Each of the three pictures has a scale of at least 120 pixels, enlarged about 4800 / 1024
  // times.
  EXPECT_GT(cv::imread(picture).rows, 3 * 4 * 120);
}

TEST(Compare, UnknownPictureFormatIsRefusedBeforeAnythingIsRead) {
  const dravix::test::TempDir folder;
  const Outcome outcome = RunTool({"compare", folder.File("none.lum"), folder.File("none.npy"),
                                   "--image", folder.File("p.xyz")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("no picture format is known"), std::string::npos) << outcome.err;
}

}  // namespace
