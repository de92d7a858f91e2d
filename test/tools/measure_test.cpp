#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <ostream>
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
using dravix::test::TempDir;

namespace {

std::vector<std::string> CornersOf(const SmallScreen& screen) {
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  std::vector<std::string> corners;
  for (const auto& point : truth["corner_pixels"]) {
    corners.push_back(point[0].dump() + "," + point[1].dump());
  }
  return corners;
}

std::vector<std::string> With(std::vector<std::string> words,
                              const std::vector<std::string>& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

TEST(Measure, CornersOnTheCommandLineGiveWhatThoseOfATruthFileGive) {
  const SmallScreen screen;
  const auto words =
      With({"measure", screen.Photo(), "-o", screen.File("a.lum"), "--corners"}, CornersOf(screen));
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(Slurp(screen.File("a.lum")), Slurp(screen.Measured()));
}

TEST(Measure, PrintsStatisticsAndTime) {
  const SmallScreen screen;
  const std::string text = RunTool({"measure", screen.Photo(), "--truth", screen.Truth()}).out;
  for (const char* label : {"LEDs            40 x 30\n", "mean  ", "minimum  ", "maximum  ",
                            "std deviation  ", "nine-point", "time  "}) {
    EXPECT_NE(text.find(label), std::string::npos) << label << " in\n" << text;
  }
}

TEST(Measure, JsonHoldsTheStatistics) {
  const SmallScreen screen;
  const auto json =
      RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "--json"}).Json();
  EXPECT_EQ(json["leds"], nlohmann::json({40, 30}));
  EXPECT_GT(json["mean"], 1000);
  EXPECT_GE(json["seconds"], 0);
  EXPECT_LE(json["uniformity"]["min_over_max"], json["uniformity"]["nine_point"]);
}

TEST(Measure, AgreesWithTheTruth) {
  const SmallScreen screen;
  const auto json = RunTool({"compare", screen.Measured(), screen.Truth(), "--json"}).Json();
  EXPECT_LT(json["rms"], 0.02);
  EXPECT_GT(json["correlation"], 0.9);
}

TEST(Measure, PicturesAreWritten) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "--image",
                                   screen.File("i.png"), "--debug-image", screen.File("d.png")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_FALSE(cv::imread(screen.File("i.png")).empty());
  EXPECT_FALSE(cv::imread(screen.File("d.png")).empty());
}

TEST(Measure, RowsOfUnequalLengthAreMeasured) {
  const SmallScreen screen;
  const auto json = RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "--top-leds",
                             "30", "--bottom-leds", "40", "--row-group", "2", "--json"})
                        .Json();
  EXPECT_EQ(json["leds"], nlohmann::json({40, 30}));
}

TEST(Measure, RowLongerThanTheScreenIsRefused) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"measure", screen.Photo(), "--truth", screen.Truth(),
                                   "--top-leds", "41", "--bottom-leds", "40"});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("greater than led width"), std::string::npos) << outcome.err;
}

TEST(Measure, CheckerboardAgreesWithTheTruth) {
  const SmallScreen screen({"--leds", "64x48", "--block", "8"});
  const Outcome outcome =
      RunTool({"measure", screen.Photo(), "--checkerboard", screen.Board(), "--blocks", "8x6",
               "--truth", screen.Truth(), "-o", screen.File("c.lum"), "--debug-image",
               screen.File("d.png"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.Json()["leds"], nlohmann::json({64, 48}));
  EXPECT_FALSE(cv::imread(screen.File("d.png")).empty());
  const auto json = RunTool({"compare", screen.File("c.lum"), screen.Truth(), "--json"}).Json();
  EXPECT_LT(json["rms"], 0.03);
}

TEST(Measure, BlocksThatDoNotDivideTheLedsAreRefused) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"measure", screen.Photo(), "--checkerboard", screen.Board(),
                                   "--blocks", "7x6", "--truth", screen.Truth()});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("code 281"), std::string::npos) << outcome.err;
}

TEST(Measure, RegionOfAnotherFrameIsRefused) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"region", "manual", "--frame", "900x700", "--corners", "10,10", "800,10",
                     "800,600", "10,600", "-o", screen.File("r.roi")})
                .exit,
            0);
  const Outcome outcome = RunTool({"measure", screen.Photo(), "--checkerboard", screen.Board(),
                                   "--blocks", "8x6", "--region", screen.File("r.roi")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("refers to a frame of 900 x 700 pixels"), std::string::npos);
}

TEST(Measure, CornersOnOneSideAreWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool({"measure", screen.Photo(), "--corners", "10,10", "20,10", "30,10", "15,300"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Measure, WordThatIsNoCornerIsQuoted) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool({"measure", screen.Photo(), "--corners", "10,10", "20;10", "30,100", "15,300"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("found \"20;10\", expected a corner such as"), std::string::npos)
      << outcome.err;
}

TEST(Measure, MeasuringWithoutCornersOrRegionIsWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"measure", screen.Photo()});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Measure, OutputWithAnotherExtensionIsRefusedBeforeMeasuring) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool({"measure", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("a.png")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_FALSE(std::filesystem::exists(screen.File("a.png")));
}

TEST(Measure, FailureKeepsTheOldResult) {
  const SmallScreen screen;
  Spill(screen.File("old.lum"), "precious");
  Spill(screen.File("bad.shot"), "nothing");
  EXPECT_EQ(RunTool({"measure", screen.File("bad.shot"), "--truth", screen.Truth(), "-o",
                     screen.File("old.lum")})
                .exit,
            3);
  EXPECT_EQ(Slurp(screen.File("old.lum")), "precious");
}

TEST(Measure, UnwritableResultIsAnOutputError) {
  const SmallScreen screen;
  const Outcome outcome = RunTool(
      {"measure", screen.Photo(), "--truth", screen.Truth(), "-o", screen.File("no/folder.lum")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Measure, PlanesOfColorAreRefusedWithAdvice) {
  const SmallScreen screen;
  cv::Mat color(60, 60, CV_8UC3, cv::Scalar(9, 8, 7));
  ASSERT_TRUE(cv::imwrite(screen.File("c.png"), color));
  ASSERT_EQ(RunTool({"convert", screen.File("c.png"), screen.File("c.shot"), "--leds", "8x8"}).exit,
            0);
  const Outcome outcome = RunTool({"measure", screen.File("c.shot"), "--truth", screen.Truth()});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("holds 3 planes (CAM_RGB), expected one"), std::string::npos);
}

TEST(Measure, ShotWithoutPatternIsRefused) {
  const SmallScreen screen;
  ASSERT_TRUE(cv::imwrite(screen.File("c.png"), cv::Mat(60, 60, CV_8UC1, cv::Scalar(9))));
  ASSERT_EQ(RunTool({"convert", screen.File("c.png"), screen.File("c.shot")}).exit, 0);
  const Outcome outcome = RunTool({"measure", screen.File("c.shot"), "--truth", screen.Truth()});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("has no pattern"), std::string::npos);
}

TEST(Measure, BlackPhotographCannotBeMeasured) {
  const SmallScreen screen;
  ASSERT_TRUE(cv::imwrite(screen.File("k.png"), cv::Mat::zeros(200, 300, CV_8UC1)));
  ASSERT_EQ(
      RunTool({"convert", screen.File("k.png"), screen.File("k.shot"), "--leds", "16x8"}).exit, 0);
  const Outcome outcome = RunTool({"measure", screen.File("k.shot"), "--corners", "20,20", "280,20",
                                   "280,180", "20,180", "-o", screen.File("k.lum")});
  EXPECT_EQ(outcome.exit, 5);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(screen.File("k.lum")));
}

/// The command line of a measurement with these further words.
std::vector<std::string> Measuring(const SmallScreen& screen,
                                   const std::vector<std::string>& outputs) {
  return With({"measure", screen.Photo(), "--truth", screen.Truth()}, outputs);
}

TEST(Measure, TwoOutputsOfOneNameAreRefused) {
  const SmallScreen screen;
  const std::string q = screen.File("q.png");
  const Outcome outcome = RunTool(Measuring(screen, {"--image", q, "--debug-image", q}));
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("--debug-image"), std::string::npos) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(q));
}

TEST(Measure, OutputOverAnInputIsRefused) {
  const SmallScreen screen;
  const std::string board = Slurp(screen.Board());
  std::filesystem::create_hard_link(screen.Board(), screen.File("link.png"));
  const Outcome outcome = RunTool(Measuring(screen, {"--checkerboard", screen.Board(), "--blocks",
                                                     "8x6", "--image", screen.File("link.png")}));
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(screen.Board()), board);
}

TEST(Measure, RegionOfAnotherPhotographIsRefusedWithBothSizes) {
  const SmallScreen screen;
  const Shot photo = dravix::test::Loaded(screen.Photo());
  // The corners would fit both photographs, so nothing but the size tells them apart.
  ASSERT_EQ(RunTool({"region", "manual", "--frame", "900x700", "--corners", "30,30", "300,30",
                     "300,220", "30,220", "-o", screen.File("r.roi")})
                .exit,
            0);
  const Outcome outcome = RunTool(
      {"measure", screen.Photo(), "--region", screen.File("r.roi"), "-o", screen.File("r.lum")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  const std::string size =
      std::to_string(photo.image.cols) + " x " + std::to_string(photo.image.rows);
  EXPECT_NE(outcome.err.find("900 x 700 pixels, expected " + size), std::string::npos)
      << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(screen.File("r.lum")));
}

TEST(Measure, CheckerboardOfAnotherSizeIsRefusedWithBothSizes) {
  const SmallScreen screen;
  ASSERT_TRUE(cv::imwrite(screen.File("b.png"), cv::Mat(200, 300, CV_8UC1, cv::Scalar(9))));
  ASSERT_EQ(RunTool({"convert", screen.File("b.png"), screen.File("b.shot")}).exit, 0);
  const Outcome outcome =
      RunTool(Measuring(screen, {"--checkerboard", screen.File("b.shot"), "--blocks", "8x6"}));
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("300 x 200 pixels, expected "), std::string::npos) << outcome.err;
}

struct WrongCount {
  const char* option;
  const char* value;
};
// Names of tests show it.
void PrintTo(const WrongCount& count, std::ostream* out) {
  *out << count.option << ' ' << count.value;
}

class WrongCounts : public testing::TestWithParam<WrongCount> {};

TEST_P(WrongCounts, AreWrongUsageNamingOptionAndValue) {
  const SmallScreen screen;
  const auto [option, value] = GetParam();
  const Outcome outcome = RunTool(Measuring(screen, {option, value}));
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(std::string(option) + ": found " + value), std::string::npos)
      << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(
    Measure, WrongCounts,
    testing::Values(WrongCount{"--row-group", "0"}, WrongCount{"--row-group", "-1"},
                    WrongCount{"--top-leds", "0"}, WrongCount{"--bottom-leds", "0"},
                    WrongCount{"--last-width", "0"}, WrongCount{"--last-height", "-2"}));

/// A photograph of 240 x 200 pixels with an even gray square, which says that it shows so many
/// LEDs.
std::string GrayPhoto(const SmallScreen& screen, const std::string& leds) {
  cv::Mat gray(200, 240, CV_8UC1, cv::Scalar(2));
  gray(cv::Rect(20, 20, 160, 160)) = 90;
  EXPECT_TRUE(cv::imwrite(screen.File("g.png"), gray));
  EXPECT_EQ(RunTool({"convert", screen.File("g.png"), screen.File("g.shot"), "--leds", leds}).exit,
            0);
  return screen.File("g.shot");
}

const std::vector<std::string> kSquareCorners = {"--corners", "20,20", "180,20", "180,180",
                                                 "20,180"};

TEST(Measure, FewerThanFourPixelsPerLedAreWarnedAbout) {
  const SmallScreen screen;
  // The corners lie 160 pixels apart, with 480 LEDs across and 20 down.
  const auto words =
      With({"measure", GrayPhoto(screen, "480x20"), "-o", screen.File("g.lum")}, kSquareCorners);
  const Outcome outcome = RunTool(With(words, {"--json"}));
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NEAR(outcome.Json()["pixels_per_led"][0], 1.0 / 3, 0.01);
  EXPECT_NEAR(outcome.Json()["pixels_per_led"][1], 8.0, 0.1);
  ASSERT_EQ(outcome.Json()["warnings"].size(), 1U);
  const std::string warning = outcome.Json()["warnings"][0];
  EXPECT_NE(warning.find("0.33 x 8"), std::string::npos) << warning;
  EXPECT_NE(warning.find("at least 4"), std::string::npos) << warning;
  EXPECT_EQ(outcome.err, "dravix: warning: " + warning + "\n");
  EXPECT_TRUE(std::filesystem::exists(screen.File("g.lum")));
}

TEST(Measure, CornersOutsideThePhotographAreWarnedAbout) {
  const SmallScreen screen;
  const auto words = std::vector<std::string>{"measure", screen.Photo(), "--json",  "--corners",
                                              "-900,40", "300,40",       "300,250", "40,250"};
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_NE(outcome.err.find("warning: --corners -900,40: outside "), std::string::npos)
      << outcome.err;
  EXPECT_EQ(outcome.Json()["warnings"].size(), 1U);
}

TEST(Measure, CornersOnThePhotographsEdgeAreNotWarnedAbout) {
  const SmallScreen screen;
  const auto size = RunTool({"info", screen.Photo(), "--json"}).Json()["size"];
  const std::string right = size[0].dump();
  const std::string bottom = size[1].dump();
  const Outcome outcome = RunTool({"measure", screen.Photo(), "--corners", "0,0", right + ",0",
                                   right + "," + bottom, "0," + bottom});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.err.find("outside"), std::string::npos) << outcome.err;
}

TEST(Measure, UnknownPictureFormatIsRefusedBeforeAnythingIsRead) {
  const TempDir folder;
  for (const char* option : {"--image", "--debug-image"}) {
    const Outcome outcome = RunTool({"measure", folder.File("none.shot"), "--corners", "1,1", "9,1",
                                     "9,9", "1,9", option, folder.File("p.xyz")});
    EXPECT_EQ(outcome.exit, 2) << option;
    EXPECT_NE(outcome.err.find("no picture format is known for the extension \".xyz\""),
              std::string::npos)
        << outcome.err;
  }
}

TEST(Measure, FourPixelsPerLedAreEnough) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool(With({"measure", GrayPhoto(screen, "40x40"), "--json"}, kSquareCorners));
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_TRUE(outcome.Json()["warnings"].empty());
}

TEST(Measure, RegionWithoutCornersIsNamedWithOrWithoutACheckerboard) {
  const SmallScreen screen;
  const std::string region = screen.File("r.roi");
  ASSERT_EQ(RunTool({"region", "manual", screen.Photo(), "--corners", "100,100", "160,100",
                     "160,140", "100,140", "-o", region})
                .exit,
            0);
  const std::vector<std::string> plain = {"measure", screen.Photo(), "--region", region};
  for (const auto& words :
       {plain, With(plain, {"--checkerboard", screen.Board(), "--blocks", "8x6"})}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find(region + ": the lit area's four corners could not be found"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("210 pixels a side"), std::string::npos) << outcome.err;
  }
}

TEST(Measure, SaysThatTheBorderIsCopied) {
  const SmallScreen screen;
  EXPECT_EQ(RunTool(Measuring(screen, {"--json"})).Json()["copied_border"], 4);
  EXPECT_EQ(RunTool(Measuring(screen, {"--json"})).Json()["copied_leds"], 40 * 30 - 32 * 22);
  const std::string text = RunTool(Measuring(screen, {})).out;
  EXPECT_NE(text.find("outer 4 LEDs on each side are copies"), std::string::npos) << text;
}

TEST(Measure, DebugPictureSeparatesMeasuredLedsFromCopies) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool(Measuring(screen, {"--debug-image", screen.File("d.png")})).exit, 0);
  const cv::Mat picture = cv::imread(screen.File("d.png"));
  // The luminances are the right one of two pictures, inside white margins. None of their colors is
  // white, so white pixels are those of the line.
  const int half = picture.cols / 2;
  cv::Mat white;
  cv::inRange(picture(cv::Rect(half + 14, 34, half - 28, picture.rows - 48)), cv::Scalar::all(230),
              cv::Scalar::all(255), white);
  EXPECT_GT(cv::countNonZero(white), 100);
}

/// The first row of a column of the picture that has the color of the outline.
int OutlineAt(const cv::Mat& picture, int x) {
  cv::Mat outline;
  cv::inRange(picture.col(x), cv::Scalar(40, 180, 235), cv::Scalar(80, 220, 255), outline);
  for (int y = 0; y < outline.rows; ++y) {
    if (outline.at<unsigned char>(y) != 0) return y;
  }
  return -1;
}

// The photograph is the left one of the pictures. Its upper side is level where the lens is good,
// and this lens moves the corners farther out than the middle of the side.
TEST(Measure, DebugPictureFollowsTheBlocksOfABentScreen) {
  const SmallScreen screen({"--leds", "64x48", "--block", "8", "--distortion", "0.04"});
  ASSERT_EQ(RunTool(Measuring(screen, {"--checkerboard", screen.Board(), "--blocks", "8x6",
                                       "--debug-image", screen.File("d.png")}))
                .exit,
            0);
  const cv::Mat picture = cv::imread(screen.File("d.png"));
  const int half = Loaded(screen.Photo()).image.cols / 2;
  const int middle = OutlineAt(picture, 14 + half);
  const int aside = OutlineAt(picture, 14 + half - 190);
  ASSERT_GT(aside, 0);
  EXPECT_GE(middle - aside, 2);
}

TEST(Measure, CheckerboardCopiesANarrowerBorder) {
  const SmallScreen screen({"--leds", "64x48", "--block", "8"});
  const auto json =
      RunTool(Measuring(screen, {"--checkerboard", screen.Board(), "--blocks", "8x6", "--json"}))
          .Json();
  EXPECT_EQ(json["copied_border"], 2);
}

TEST(Measure, SaysWhatCheckFindsAndKeepsItsExitCode) {
  const SmallScreen screen({"--exposure", "0.01"});
  const Outcome outcome = RunTool(Measuring(screen, {"--json"}));
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  const auto findings = outcome.Json()["findings"];
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[0]["id"], "too-dark");
  EXPECT_NE(outcome.err.find("warning too-dark: "), std::string::npos) << outcome.err;
  ASSERT_EQ(outcome.Json()["warnings"].size(), 1U);
}

TEST(Measure, CountsTheLedsThatAreCopies) {
  const SmallScreen screen;
  const Outcome outcome = RunTool(Measuring(screen, {"--json"}));
  EXPECT_EQ(outcome.err, "");
  const auto findings = outcome.Json()["findings"];
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0]["id"], "edge-copied");
  EXPECT_EQ(findings[0]["severity"], "warning");
  EXPECT_EQ(findings[0]["values"]["copied"], 40 * 30 - 32 * 22);
}

}  // namespace
