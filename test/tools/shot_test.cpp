#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <string>

#include "support/mats.h"
#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Loaded;
using dravix::test::Outcome;
using dravix::test::RandomMat;
using dravix::test::RunTool;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

Shot ColourShot() {
  Shot shot;
  shot.image = RandomMat({7, 5}, CV_16UC3, 3, 100, 4000);
  shot.type = CAM_RGB;
  shot.SetColor(2);
  return shot;
}

class ShotCommand : public testing::Test {
 protected:
  ShotCommand() { EXPECT_EQ(ColourShot().Save(In()), 0); }
  std::string In() const { return folder_.File("in.shot"); }
  std::string File(const std::string& name) const { return folder_.File(name); }

 private:
  TempDir folder_;
};

TEST_F(ShotCommand, SplitWritesThePlanesAskedFor) {
  ASSERT_EQ(
      RunTool({"shot", "split", In(), "--red", File("r.shot"), "--blue", File("b.shot")}).exit, 0);
  cv::Mat planes[3];
  cv::split(ColourShot().image, planes);
  EXPECT_TRUE(SameBytes(Loaded(File("r.shot")).image, planes[0]));
  EXPECT_TRUE(SameBytes(Loaded(File("b.shot")).image, planes[2]));
  EXPECT_EQ(Loaded(File("b.shot")).type, CAM_B);
  EXPECT_EQ(Loaded(File("b.shot")).color, 2);
}

TEST_F(ShotCommand, SplitOfOnePlaneIsRefused) {
  ASSERT_EQ(RunTool({"shot", "split", In(), "--red", File("r.shot")}).exit, 0);
  const Outcome outcome = RunTool({"shot", "split", File("r.shot"), "--green", File("g.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(File("g.shot")));
}

TEST_F(ShotCommand, XyzAppliesTheMatrix) {
  Spill(File("m.txt"), "0 0 0\n0.5 0.25 0\n0 0 0\n");
  ASSERT_EQ(RunTool({"shot", "xyz", In(), "--matrix", File("m.txt"), "-o", File("y.shot")}).exit,
            0);
  const Shot y = Loaded(File("y.shot"));
  EXPECT_EQ(y.type, CIE_Y);
  const auto pixel = ColourShot().image.at<cv::Vec3w>(2, 3);
  EXPECT_NEAR(y.image.at<std::uint16_t>(2, 3), 0.5 * pixel[0] + 0.25 * pixel[1], 0.51);
}

TEST_F(ShotCommand, MatrixOfTheWrongSizeIsCounted) {
  Spill(File("m.txt"), "1 2 3");
  const Outcome outcome =
      RunTool({"shot", "xyz", In(), "--matrix", File("m.txt"), "-o", File("y.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("m.txt: found 3 numbers, expected nine"), std::string::npos);
}

TEST_F(ShotCommand, MatrixWithAWordIsQuoted) {
  Spill(File("m.txt"), "1 2 3 4 five 6 7 8 9");
  const Outcome outcome =
      RunTool({"shot", "xyz", In(), "--matrix", File("m.txt"), "-o", File("y.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("found \"five\", expected nine numbers"), std::string::npos);
}

TEST_F(ShotCommand, SubtractStopsAtZero) {
  Shot dark = ColourShot();
  dark.image.setTo(cv::Scalar::all(2000));
  ASSERT_EQ(dark.Save(File("dark.shot")), 0);
  ASSERT_EQ(
      RunTool({"shot", "subtract", In(), "--background", File("dark.shot"), "-o", File("c.shot")})
          .exit,
      0);
  cv::Mat expected;
  cv::subtract(ColourShot().image, dark.image, expected);
  EXPECT_TRUE(SameBytes(Loaded(File("c.shot")).image, expected));
}

TEST_F(ShotCommand, SubtractOfAnotherSizeIsNamed) {
  Shot dark = ColourShot();
  dark.image = RandomMat({3, 3}, CV_16UC3, 1, 0, 9);
  ASSERT_EQ(dark.Save(File("dark.shot")), 0);
  const Outcome outcome =
      RunTool({"shot", "subtract", In(), "--background", File("dark.shot"), "-o", File("c.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("is 3 x 3, 16-bit unsigned, 3 channels, expected 7 x 5"),
            std::string::npos)
      << outcome.err;
}

TEST_F(ShotCommand, RotateTurnsCounterClockwise) {
  ASSERT_EQ(RunTool({"shot", "rotate", In(), "--angle", "90", "-o", File("t.shot")}).exit, 0);
  cv::Mat expected;
  cv::rotate(ColourShot().image, expected, cv::ROTATE_90_COUNTERCLOCKWISE);
  EXPECT_TRUE(SameBytes(Loaded(File("t.shot")).image, expected));
}

TEST_F(ShotCommand, RotateByAnotherAngleIsWrongUsage) {
  Spill(File("t.shot"), "precious");
  const Outcome outcome = RunTool({"shot", "rotate", In(), "--angle", "45", "-o", File("t.shot")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("found 45, expected 0, 90, 180 or 270"), std::string::npos);
  EXPECT_EQ(Slurp(File("t.shot")), "precious");
}

TEST_F(ShotCommand, PictureIsWrittenInColourAndInGrey) {
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("c.png")}).exit, 0);
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("g.png"), "--grey"}).exit, 0);
  EXPECT_EQ(cv::imread(File("c.png"), cv::IMREAD_UNCHANGED).channels(), 3);
  EXPECT_EQ(cv::imread(File("g.png"), cv::IMREAD_UNCHANGED).channels(), 1);
}

TEST_F(ShotCommand, PictureOfUnknownFormatLeavesTheOldFile) {
  Spill(File("old.xyz"), "precious");
  const Outcome outcome = RunTool({"shot", "picture", In(), File("old.xyz")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(File("old.xyz")), "precious");
}

TEST_F(ShotCommand, SetChangesMetadataOnly) {
  ASSERT_EQ(RunTool({"shot", "set", In(), "-o", File("s.shot"), "--leds", "6x4", "--device",
                     "id=cam 1,cam_type=1212", "--layer", "linear_norms=0.5", "--color", "4"})
                .exit,
            0);
  const Shot set = Loaded(File("s.shot"));
  EXPECT_TRUE(SameBytes(set.image, ColourShot().image));
  ASSERT_TRUE(set.device && set.pattern && set.layer);
  EXPECT_STREQ(set.device->id, "cam 1");
  EXPECT_EQ(set.device->cam_type, 1212);
  EXPECT_EQ(set.pattern->lighted_led_w, 6);
  EXPECT_EQ(set.layer->linear_norms, 0.5F);
  EXPECT_EQ(set.color, 4);
}

TEST_F(ShotCommand, MetadataPrintedByInfoCanBeSetAgain) {
  ASSERT_EQ(RunTool({"shot", "set", In(), "-o", File("s.shot"), "--leds", "6x4", "--panel",
                     "w=3,h=2,pixel_pitch=1.5", "--capture", "exposure=100"})
                .exit,
            0);
  const auto json = RunTool({"info", File("s.shot"), "--json"}).Json();
  Spill(File("m.json"), json["metadata"].dump());
  ASSERT_EQ(
      RunTool({"shot", "set", In(), "-o", File("again.shot"), "--metadata", File("m.json")}).exit,
      0);
  EXPECT_EQ(Slurp(File("again.shot")), Slurp(File("s.shot")));
}

struct BadMetadata {
  const char* name;
  std::vector<std::string> words;
  const char* says;
};

class BadMetadataOf : public testing::TestWithParam<BadMetadata> {};

TEST_P(BadMetadataOf, OptionsAreRefusedWithTheField) {
  const TempDir folder;
  ASSERT_EQ(ColourShot().Save(folder.File("in.shot")), 0);
  std::vector<std::string> words = {"shot", "set", folder.File("in.shot"), "-o",
                                    folder.File("out.shot")};
  words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
  const Outcome outcome = RunTool(words);
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(folder.File("out.shot")));
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadMetadataOf,
    testing::Values(BadMetadata{"UnknownField", {"--panel", "width=3"}, "panel.width: unknown"},
                    BadMetadata{"NoValue", {"--panel", "w"}, "found \"w\", expected name=value"},
                    BadMetadata{"Word", {"--panel", "w=three"}, "expected a 32-bit whole number"},
                    BadMetadata{"Fraction", {"--capture", "gain=0.5"}, "32-bit whole number"},
                    BadMetadata{"LongText",
                                {"--device", "id=" + std::string(64, 'x')},
                                "expected a text of at most 63 bytes"},
                    BadMetadata{"EmptyPanel", {"--panel", "w=0,h=2"}, "code 106"},
                    BadMetadata{"NoInterval", {"--pattern", "interval_x=0"}, "code 104"},
                    BadMetadata{"NoSize", {"--leds", "12"}, "expected a size such as 256x128"}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
