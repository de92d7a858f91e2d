#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "support/mats.h"
#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Loaded;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// A screen of 512 x 384 pixels, large enough for the corner search, which needs about 210 a side.
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

TEST(Region, AutoFindsTheLitArea) {
  const SmallScreen screen(kLarger);
  const Outcome outcome =
      RunTool({"region", "auto", screen.Photo(), "-o", screen.File("r.roi"), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NEAR(outcome.Json()["rectangle"]["width"].get<double>(), 64 * 8, 30);
}

TEST(Region, PicturesOfAnyCameraGiveWhatTheirShotGives) {
  const SmallScreen screen(kLarger);
  const std::string picture = screen.File("photo.png"), shot = screen.File("converted.shot");
  ASSERT_TRUE(cv::imwrite(picture, Loaded(screen.Photo()).image));
  ASSERT_EQ(RunTool({"convert", picture, shot}).exit, 0);
  for (const std::string command : {"auto", "blur"}) {
    const std::string fromShot = screen.File("shot.roi"), fromPicture = screen.File("picture.roi");
    ASSERT_EQ(RunTool({"region", command, shot, "-o", fromShot}).exit, 0);
    const Outcome outcome = RunTool({"region", command, picture, "-o", fromPicture});
    ASSERT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(Slurp(fromPicture), Slurp(fromShot)) << command;
  }
  const std::string region = screen.File("shot.roi");
  const Outcome straight =
      RunTool({"region", "rectify", region, picture, "-o", screen.File("picture.shot")});
  ASSERT_EQ(straight.exit, 0) << straight.err;
  RunTool({"region", "rectify", region, shot, "-o", screen.File("straight.shot")});
  EXPECT_TRUE(SameBytes(Loaded(screen.File("picture.shot")).image,
                        Loaded(screen.File("straight.shot")).image));
  const Outcome shown =
      RunTool({"region", "show", region, picture, "-o", screen.File("picture-shown.png")});
  ASSERT_EQ(shown.exit, 0) << shown.err;
  RunTool({"region", "show", region, shot, "-o", screen.File("shown.png")});
  EXPECT_EQ(Slurp(screen.File("picture-shown.png")), Slurp(screen.File("shown.png")));
}

TEST(Region, CornersOfASavedRegionAreThoseFoundBefore) {
  const SmallScreen screen(kLarger);
  const auto found =
      RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"), "--json"}).Json();
  const auto again = RunTool({"region", "corners", screen.File("r.roi"), "--json"}).Json();
  EXPECT_EQ(again["corners"], found["corners"]);
}

TEST(Region, FoundRegionCanBeMeasured) {
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

TEST(Region, ManualCornersOutsideTheFrameAreRefused) {
  const TempDir folder;
  Spill(folder.File("m.roi"), "precious");
  const Outcome outcome = RunTool({"region", "manual", "--frame", "100x80", "--corners", "10,10",
                                   "900,10", "900,70", "10,70", "-o", folder.File("m.roi")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("code 203"), std::string::npos) << outcome.err;
  EXPECT_EQ(Slurp(folder.File("m.roi")), "precious");
}

TEST(Region, ManualFrameBeyondAnyPhotographIsRefused) {
  const TempDir folder;
  const Outcome outcome =
      RunTool({"region", "manual", "--frame", "100000x100000", "--corners", "0,0", "99999,0",
               "99999,99999", "0,99999", "-o", folder.File("r.roi")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("--frame: found 100000 x 100000 pixels, expected at most 250 "
                             "megapixels"),
            std::string::npos)
      << outcome.err;
}

TEST(Region, ShowAsAnUnknownPictureIsRefusedBeforeAnythingIsRead) {
  const TempDir folder;
  const Outcome outcome = RunTool({"region", "show", folder.File("none.roi"),
                                   folder.File("none.shot"), "-o", folder.File("r.xyz")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("no picture format is known for the extension \".xyz\""),
            std::string::npos)
      << outcome.err;
}

TEST(Region, DarkPhotographHasNoLitArea) {
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

TEST(Region, ShowWritesAPicture) {
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

/// The picture of a region in the middle of a larger photograph, and what the command answered.
struct Shown {
  SmallScreen screen{{"--leds", "64x48", "--block", "8", "--size", "1400x1100", "--roll", "3"}};
  cv::Mat picture;
  Outcome outcome;

  Shown() {
    EXPECT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi")}).exit, 0);
    outcome = RunTool({"region", "show", screen.File("r.roi"), screen.Photo(), "-o",
                       screen.File("s.png"), "--json"});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    picture = cv::imread(screen.File("s.png"));
  }
};

/// A mask of the pixels that are not gray: those that were drawn over the photograph.
cv::Mat Drawn(const cv::Mat& picture) {
  std::vector<cv::Mat> planes;
  cv::split(picture, planes);
  return (planes[0] != planes[1]) | (planes[1] != planes[2]);
}

std::vector<cv::Point> PointsOf(const nlohmann::json& json) {
  std::vector<cv::Point> points;
  for (const auto& point : json) points.emplace_back(point[0].get<int>(), point[1].get<int>());
  return points;
}

TEST(Region, ShowSaysTheCornersThatAMeasurementUses) {
  const Shown shown;
  const auto corners = RunTool({"region", "corners", shown.screen.File("r.roi"), "--json"}).Json();
  ASSERT_EQ(corners["corners"].size(), 4U);
  EXPECT_EQ(shown.outcome.Json()["corners"], corners["corners"]);
  const std::string text = RunTool({"region", "show", shown.screen.File("r.roi"),
                                    shown.screen.Photo(), "-o", shown.screen.File("t.png")})
                               .out;
  const cv::Point first = PointsOf(corners["corners"])[0];
  EXPECT_NE(text.find("corners         " + std::to_string(first.x) + "," + std::to_string(first.y)),
            std::string::npos)
      << text;
}

TEST(Region, ShowMarksTheCornersThatAMeasurementUses) {
  const Shown shown;
  for (const cv::Point& corner : PointsOf(shown.outcome.Json()["corners"])) {
    const cv::Mat around =
        Drawn(shown.picture(cv::Rect(corner - cv::Point(8, 8), cv::Size(17, 17))));
    EXPECT_GT(cv::countNonZero(around), 20) << corner;
  }
}

TEST(Region, ShowLeavesTheScreenFreeOfLettersAndLines) {
  const Shown shown;
  std::vector<cv::Point> corners = PointsOf(shown.outcome.Json()["corners"]);
  cv::Mat screen = cv::Mat::zeros(shown.picture.size(), CV_8UC1);
  cv::fillConvexPoly(screen, corners, cv::Scalar(255));
  // Outline and corner marks follow the edge; what is 15 pixels inside of it is the screen itself.
  cv::erode(screen, screen, cv::Mat::ones(31, 31, CV_8UC1));
  ASSERT_GT(cv::countNonZero(screen), 50000);
  EXPECT_EQ(cv::countNonZero(Drawn(shown.picture) & screen), 0);
}

TEST(Region, ShowWithoutCornersSaysWhy) {
  const SmallScreen screen(kLarger);
  // A lit area of 60 x 40 pixels is too small for the corner search.
  ASSERT_EQ(RunTool({"region", "manual", screen.Photo(), "--corners", "100,100", "160,100",
                     "160,140", "100,140", "-o", screen.File("r.roi")})
                .exit,
            0);
  const std::vector<std::string> words = {"region",       "show", screen.File("r.roi"),
                                          screen.Photo(), "-o",   screen.File("s.png")};
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("corners         not found: "), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("210 pixels"), std::string::npos) << outcome.out;
  std::vector<std::string> asJson = words;
  asJson.emplace_back("--json");
  const auto json = RunTool(asJson).Json();
  EXPECT_TRUE(json["corners"].empty());
  EXPECT_NE(json["no_corners"].get<std::string>().find("210 pixels"), std::string::npos) << json;
}

TEST(Region, ShowOfAScreenThatFillsThePhotographHasRoomForItsLetters) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("w.png"), cv::Mat(300, 400, CV_8UC1, cv::Scalar(255))));
  ASSERT_EQ(RunTool({"convert", folder.File("w.png"), folder.File("w.shot")}).exit, 0);
  ASSERT_EQ(RunTool({"region", "manual", folder.File("w.shot"), "--corners", "0,0", "399,0",
                     "399,299", "0,299", "-o", folder.File("r.roi")})
                .exit,
            0);
  const Outcome outcome = RunTool(
      {"region", "show", folder.File("r.roi"), folder.File("w.shot"), "-o", folder.File("s.png")});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_GT(cv::imread(folder.File("s.png")).rows, 330);
}

TEST(Region, ShowCoversNoBrightSurroundingsWithLetters) {
  const TempDir folder;
  const cv::Size size(1400, 1100);
  ASSERT_TRUE(cv::imwrite(folder.File("w.png"), cv::Mat(size, CV_8UC1, cv::Scalar(255))));
  ASSERT_EQ(RunTool({"convert", folder.File("w.png"), folder.File("w.shot")}).exit, 0);
  ASSERT_EQ(RunTool({"region", "manual", folder.File("w.shot"), "--corners", "400,300", "1000,300",
                     "1000,800", "400,800", "-o", folder.File("r.roi")})
                .exit,
            0);
  ASSERT_EQ(RunTool({"region", "show", folder.File("r.roi"), folder.File("w.shot"), "-o",
                     folder.File("s.png")})
                .exit,
            0);
  const cv::Mat picture = cv::imread(folder.File("s.png"));
  int top = 0;
  while (top < picture.rows && picture.at<cv::Vec3b>(top, 0) != cv::Vec3b(255, 255, 255)) ++top;
  ASSERT_LE(top + size.height, picture.rows);
  // Letters stand on a dark ground; the photograph itself has none.
  cv::Mat dark;
  cv::inRange(picture(cv::Rect({0, top}, size)), cv::Scalar::all(0), cv::Scalar::all(60), dark);
  EXPECT_EQ(cv::countNonZero(dark), 0);
}

TEST(Region, OutputOverAnInputIsRefused) {
  const SmallScreen screen(kLarger);
  const std::string region = screen.File("r.roi");
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", region}).exit, 0);
  const std::string photo = Slurp(screen.Photo());
  const std::vector<std::vector<std::string>> wrong = {
      {"region", "show", region, screen.Photo(), "-o", screen.Photo()},
      {"region", "rectify", region, screen.Photo(), "-o", screen.Photo()},
      {"region", "blur", screen.Photo(), "-o", screen.File("link.roi")},
      {"region", "manual", screen.Photo(), "--corners", "0,0", "9,0", "9,9", "0,9", "-o",
       screen.File("link.roi")},
  };
  std::filesystem::create_hard_link(screen.Photo(), screen.File("link.roi"));
  for (const auto& words : wrong) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 2) << words[1];
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_EQ(Slurp(screen.Photo()), photo) << words[1];
  }
}

TEST(Region, TuningBeyondItsRangeNamesTheValue) {
  const SmallScreen screen;
  for (const char* option : {"--blur-sigma", "--corner-quality", "--corner-window"}) {
    const Outcome outcome =
        RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"), option, "-1"});
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_NE(outcome.err.find(std::string(option) + ": found -1, expected"), std::string::npos)
        << outcome.err;
  }
}

TEST(Region, WindowLargerThanThePhotographIsSaidToBe) {
  const SmallScreen screen(kLarger);
  const Outcome outcome = RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi"),
                                   "--corner-window", "501", "--json"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  const std::string why = outcome.Json()["no_corners"];
  EXPECT_NE(why.find("a corner window of 501 pixels to each side does not fit"), std::string::npos)
      << why;
}

TEST(Region, RectangleOutsideItsFrameIsDamage) {
  const SmallScreen screen(kLarger);
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", screen.File("r.roi")}).exit, 0);
  // The rectangle's x follows the mark, the version and the frame's two numbers.
  std::string bytes = Slurp(screen.File("r.roi"));
  bytes.replace(1 + 4 + 8, 4, std::string("\xFF\xFF\xFF\xFF", 4));
  Spill(screen.File("r.roi"), bytes);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"region", "corners", screen.File("r.roi")},
        {"region", "show", screen.File("r.roi"), screen.Photo(), "-o", screen.File("s.png")},
        {"measure", screen.Photo(), "--region", screen.File("r.roi")}}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 3) << words[1];
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("does not lie within its frame"), std::string::npos) << outcome.err;
  }
}

}  // namespace
