#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
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

/// Large enough for the corner search, which wants about 210 pixels a side.
const std::vector<std::string> kLarger = {"--leds", "64x48", "--block", "8"};

double LargestCornerError(const nlohmann::json& region, const SmallScreen& screen) {
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  double largest = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    const double dx = region["corners"][i][0].get<double>() - truth["corners"][i][0].get<double>();
    const double dy = region["corners"][i][1].get<double>() - truth["corners"][i][1].get<double>();
    largest = std::max(largest, std::hypot(dx, dy));
  }
  return largest;
}

TEST(Region, BlurFindsTheCorners) {
  const SmallScreen screen(kLarger);
  const Outcome outcome =
      RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  ASSERT_EQ(outcome.Json()["corners"].size(), 4U);
  EXPECT_LT(LargestCornerError(outcome.Json(), screen), 5.0);
}

TEST(Region, AutoFindsTheArea) {
  const SmallScreen screen(kLarger);
  const Outcome outcome =
      RunTool({"region", "auto", screen.Photo(), "-o", screen.File("r.roi"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NEAR(outcome.Json()["rectangle"]["width"].get<double>(), 64 * 8, 30);
}

TEST(Region, CornersOfASavedRegionArePrinted) {
  const SmallScreen screen(kLarger);
  const auto found =
      RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"), "--json"}).Json();
  const auto again = RunTool({"region", "corners", screen.File("r.roi"), "--json"}).Json();
  EXPECT_EQ(again["corners"], found["corners"]);
}

TEST(Region, RegionServesMeasuring) {
  const SmallScreen screen(kLarger);
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi")}).exit, 0);
  const Outcome outcome = RunTool(
      {"measure", screen.Photo(), "--region", screen.File("r.roi"), "-o", screen.File("r.lum")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  const auto json = RunTool({"compare", screen.File("r.lum"), screen.Truth(), "--json"}).Json();
  EXPECT_LT(json["rms"], 0.03);
}

TEST(Region, ManualTakesCornersInAnyOrder) {
  const TempDir folder;
  const auto json = RunTool({"region", "manual", "--frame", "1000x800", "--corners", "100,700",
                             "900,100", "100,100", "900,700", "-o", folder.File("m.roi"), "--json"})
                        .Json();
  EXPECT_EQ(json["rectangle"]["x"], 100);
  EXPECT_EQ(json["frame"], nlohmann::json({1000, 800}));
  EXPECT_EQ(RunTool({"info", folder.File("m.roi"), "--json"}).Json()["format"], "roi");
}

TEST(Region, ManualOutsideTheFrameIsRefused) {
  const TempDir folder;
  Spill(folder.File("m.roi"), "precious");
  const Outcome outcome = RunTool({"region", "manual", "--frame", "100x80", "--corners", "10,10",
                                   "900,10", "900,70", "10,70", "-o", folder.File("m.roi")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("code 203"), std::string::npos) << outcome.err;
  EXPECT_EQ(Slurp(folder.File("m.roi")), "precious");
}

TEST(Region, DarkPhotographHasNone) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("k.png"), cv::Mat::zeros(300, 400, CV_8UC1)));
  ASSERT_EQ(RunTool({"convert", folder.File("k.png"), folder.File("k.shot")}).exit, 0);
  for (const char* way : {"auto", "blur"}) {
    const Outcome outcome =
        RunTool({"region", way, folder.File("k.shot"), "-o", folder.File("k.roi")});
    EXPECT_EQ(outcome.exit, 5) << way;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("no lit area was found"), std::string::npos) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(folder.File("k.roi")));
  }
}

TEST(Region, ShowDrawsAPictureOfTheFrame) {
  const SmallScreen screen(kLarger);
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi")}).exit, 0);
  ASSERT_EQ(
      RunTool({"region", "show", screen.File("r.roi"), screen.Photo(), "-o", screen.File("s.png")})
          .exit,
      0);
  EXPECT_FALSE(cv::imread(screen.File("s.png")).empty());
}

TEST(Region, RectifyFillsTheUprightRectangle) {
  std::vector<std::string> options = kLarger;
  options.insert(options.end(), {"--roll", "4"});
  const SmallScreen screen(options);
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi")}).exit, 0);
  ASSERT_EQ(RunTool({"region", "rectify", screen.File("r.roi"), screen.Photo(), "-o",
                     screen.File("s.shot")})
                .exit,
            0);
  const Shot shot = dravix::test::Loaded(screen.File("s.shot"));
  EXPECT_FALSE(shot.image.empty());
  EXPECT_TRUE(shot.pattern.has_value());
}

TEST(Region, EvenBlurKernelIsWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"), "--blur-kernel", "4"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

}  // namespace
