#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

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
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// The luminances as they lie in the file, which ends with them.
cv::Mat StoredLuminances(const std::string& result, cv::Size leds) {
  const std::string bytes = Slurp(result);
  cv::Mat values(leds, CV_32FC1);
  const std::size_t length = values.total() * sizeof(float);
  EXPECT_GE(bytes.size(), length);
  if (bytes.size() >= length) {
    std::memcpy(values.data, bytes.data() + bytes.size() - length, length);
  }
  return values;
}

Shot ColorShot() {
  Shot shot;
  shot.image = RandomMat({7, 5}, CV_16UC3, 3, 100, 4000);
  shot.type = CAM_RGB;
  shot.SetColor(2);
  return shot;
}

class ShotCommand : public testing::Test {
 protected:
  ShotCommand() { EXPECT_EQ(ColorShot().Save(In()), 0); }
  std::string In() const { return folder_.File("in.shot"); }
  std::string File(const std::string& name) const { return folder_.File(name); }

 private:
  TempDir folder_;
};

TEST_F(ShotCommand, SplitWritesThePlanesAskedFor) {
  ASSERT_EQ(
      RunTool({"shot", "split", In(), "--red", File("r.shot"), "--blue", File("b.shot")}).exit, 0);
  cv::Mat planes[3];
  cv::split(ColorShot().image, planes);
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
  const auto pixel = ColorShot().image.at<cv::Vec3w>(2, 3);
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
  Shot dark = ColorShot();
  dark.image.setTo(cv::Scalar::all(2000));
  ASSERT_EQ(dark.Save(File("dark.shot")), 0);
  ASSERT_EQ(
      RunTool({"shot", "subtract", In(), "--background", File("dark.shot"), "-o", File("c.shot")})
          .exit,
      0);
  cv::Mat expected;
  cv::subtract(ColorShot().image, dark.image, expected);
  EXPECT_TRUE(SameBytes(Loaded(File("c.shot")).image, expected));
}

TEST_F(ShotCommand, SubtractOfAnotherSizeIsNamed) {
  Shot dark = ColorShot();
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
  cv::rotate(ColorShot().image, expected, cv::ROTATE_90_COUNTERCLOCKWISE);
  EXPECT_TRUE(SameBytes(Loaded(File("t.shot")).image, expected));
}

/// A photograph of part of a screen, on which one LED of every 3 x 2 is lit.
Shot PartlyLitShot() {
  Shot shot = ColorShot();
  shot.partition = Shot::Partition{2, 1, 10, 7, 20, 8};
  shot.pattern = Shot::Pattern{4, 3, 2, 1, 0, 3, 4};
  shot.panel = Shot::LedPanel{1, 2, 3, 5, 4, 1.25F};
  return shot;
}

using Leds = std::set<std::pair<int, int>>;

/// Places on the screen, counted from 0, of the LEDs that the metadata says are lit.
Leds LitLeds(const Shot& shot) {
  Leds lit;
  for (int i = 0; i < shot.pattern->lighted_led_w; ++i) {
    for (int j = 0; j < shot.pattern->lighted_led_h; ++j) {
      lit.emplace(shot.partition->x + shot.pattern->loc_x + i * shot.pattern->interval_x,
                  shot.partition->y + shot.pattern->loc_y + j * shot.pattern->interval_y);
    }
  }
  return lit;
}

TEST_F(ShotCommand, QuarterTurnTurnsTheGroupsThatHaveADirection) {
  ASSERT_EQ(PartlyLitShot().Save(In()), 0);
  ASSERT_EQ(RunTool({"shot", "rotate", In(), "--angle", "90", "-o", File("t.shot")}).exit, 0);
  const Shot turned = Loaded(File("t.shot"));
  ASSERT_TRUE(turned.partition && turned.pattern && turned.panel);
  // The right edge of the partition was 20 - 2 - 10 LEDs from the screen's, and is the top now.
  EXPECT_EQ(turned.partition->x, 1);
  EXPECT_EQ(turned.partition->y, 8);
  EXPECT_EQ(turned.partition->w, 7);
  EXPECT_EQ(turned.partition->h, 10);
  EXPECT_EQ(turned.partition->screen_w, 8);
  EXPECT_EQ(turned.partition->screen_h, 20);
  // Columns 1, 4 and 7 of 10 were lit: rows 2, 5 and 8 from the other end.
  EXPECT_EQ(turned.pattern->type, 4);
  EXPECT_EQ(turned.pattern->interval_x, 2);
  EXPECT_EQ(turned.pattern->interval_y, 3);
  EXPECT_EQ(turned.pattern->loc_x, 0);
  EXPECT_EQ(turned.pattern->loc_y, 2);
  EXPECT_EQ(turned.pattern->lighted_led_w, 4);
  EXPECT_EQ(turned.pattern->lighted_led_h, 3);
  EXPECT_EQ(turned.panel->w, 4);
  EXPECT_EQ(turned.panel->h, 5);
  EXPECT_EQ(turned.panel->layout, 2);
  EXPECT_EQ(turned.panel->pixel_pitch, 1.25F);
}

TEST_F(ShotCommand, EveryTurnKeepsEachLitLedLit) {
  const Shot before = PartlyLitShot();
  ASSERT_EQ(before.Save(In()), 0);
  Leds expected = LitLeds(before);
  int across = before.partition->screen_w;
  int down = before.partition->screen_h;
  for (const char* angle : {"90", "180", "270"}) {
    Leds turned;
    for (const auto& [x, y] : expected) turned.emplace(y, across - 1 - x);
    expected = turned;
    ASSERT_EQ(RunTool({"shot", "rotate", In(), "--angle", angle, "-o", File("t.shot")}).exit, 0);
    EXPECT_EQ(LitLeds(Loaded(File("t.shot"))), expected) << angle;
    std::swap(across, down);
  }
}

TEST_F(ShotCommand, TurningBackGivesTheSameFile) {
  ASSERT_EQ(PartlyLitShot().Save(In()), 0);
  ASSERT_EQ(RunTool({"shot", "rotate", In(), "--angle", "90", "-o", File("t.shot")}).exit, 0);
  ASSERT_EQ(
      RunTool({"shot", "rotate", File("t.shot"), "--angle", "270", "-o", File("b.shot")}).exit, 0);
  EXPECT_EQ(Slurp(File("b.shot")), Slurp(In()));
}

TEST_F(ShotCommand, RotateOfTheImageOnlyKeepsTheMetadata) {
  ASSERT_EQ(PartlyLitShot().Save(In()), 0);
  ASSERT_EQ(
      RunTool({"shot", "rotate", In(), "--angle", "90", "--image-only", "-o", File("t.shot")}).exit,
      0);
  const Shot turned = Loaded(File("t.shot"));
  EXPECT_EQ(LitLeds(turned), LitLeds(PartlyLitShot()));
  EXPECT_EQ(turned.panel->w, 5);
  EXPECT_EQ(turned.image.size(), cv::Size(5, 7));
}

TEST_F(ShotCommand, OffsetThatCannotBeTurnedIsRefused) {
  Shot shot = PartlyLitShot();
  shot.partition.reset();
  ASSERT_EQ(shot.Save(In()), 0);
  const Outcome outcome = RunTool({"shot", "rotate", In(), "--angle", "90", "-o", File("t.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("lights one LED of every 3 x 2 but has no partition"),
            std::string::npos)
      << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(File("t.shot")));
}

TEST_F(ShotCommand, ContradictingMetadataIsNotTurned) {
  Shot shot = PartlyLitShot();
  shot.pattern->lighted_led_w = 9;
  ASSERT_EQ(shot.Save(In()), 0);
  const Outcome outcome = RunTool({"shot", "rotate", In(), "--angle", "180", "-o", File("t.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("disagree on the lit LEDs"), std::string::npos) << outcome.err;
}

TEST(ShotRotate, TurnedPhotographIsMeasuredAsTheOriginalIs) {
  const SmallScreen screen;
  const cv::Size size = Loaded(screen.Photo()).image.size();
  std::vector<std::string> words = {"measure", screen.File("t.shot"), "-o", screen.File("t.lum"),
                                    "--corners"};
  const auto truth = nlohmann::json::parse(Slurp(screen.Truth()));
  for (const auto& corner : truth["corner_pixels"]) {
    const int x = corner[0].get<int>();
    const int y = corner[1].get<int>();
    words.push_back(std::to_string(y) + "," + std::to_string(size.width - 1 - x));
  }
  ASSERT_EQ(RunTool({"shot", "rotate", screen.Photo(), "--angle", "90", "-o", words[1]}).exit, 0);
  const Outcome measured = RunTool(words);
  ASSERT_EQ(measured.exit, 0) << measured.err;
  cv::Mat expected;
  cv::rotate(StoredLuminances(screen.Measured(), {40, 30}), expected,
             cv::ROTATE_90_COUNTERCLOCKWISE);
  const cv::Mat turned = StoredLuminances(screen.File("t.lum"), {30, 40});
  // The outline is rounded to whole pixels, differently at each corner.
  EXPECT_LT(cv::norm(turned, expected, cv::NORM_L2), 0.02 * cv::norm(expected, cv::NORM_L2));
}

TEST_F(ShotCommand, DemosaicGivesTheLibrarysPlanes) {
  Shot mosaic = ColorShot();
  mosaic.image = RandomMat({8, 6}, CV_16UC1, 4, 100, 4000);
  ASSERT_EQ(mosaic.Save(In()), 0);
  Shot expected;
  for (const std::uint32_t type : {CAM_RGB, CAM_R, CAM_G, CAM_B}) {
    ASSERT_EQ(expected.SetImageColor(mosaic.image, cv::COLOR_BayerBG2RGB, type), 0);
    const std::string name = type == CAM_RGB ? "CAM_RGB"
                             : type == CAM_R ? "cam_r"
                             : type == CAM_G ? "CAM_G"
                                             : "CAM_B";
    ASSERT_EQ(
        RunTool({"shot", "demosaic", In(), File("d.shot"), "--mosaic", "rggb", "--type", name})
            .exit,
        0);
    const Shot made = Loaded(File("d.shot"));
    EXPECT_EQ(made.type, type);
    EXPECT_EQ(made.color, 2) << "metadata stays";
    EXPECT_TRUE(SameBytes(made.image, expected.image)) << name;
  }
}

TEST_F(ShotCommand, DemosaicOfThreePlanesIsRefused) {
  const Outcome outcome = RunTool({"shot", "demosaic", In(), File("d.shot"), "--mosaic", "rggb"});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("expected a mosaic of 16-bit unsigned, 1 channel"), std::string::npos);
}

TEST_F(ShotCommand, DemosaicToAnythingButCameraPlanesIsWrongUsage) {
  const Outcome outcome =
      RunTool({"shot", "demosaic", In(), File("d.shot"), "--mosaic", "rggb", "--type", "CIE_Y"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("expected CAM_RGB, CAM_R, CAM_G or CAM_B"), std::string::npos)
      << outcome.err;
}

TEST_F(ShotCommand, OutputThatIsAnInputIsRefused) {
  const std::string before = Slurp(In());
  Spill(File("m.txt"), "1 0 0 0 1 0 0 0 1");
  const std::string spelled = File(".") + "/in.shot";
  const std::vector<std::vector<std::string>> commands = {
      {"shot", "rotate", In(), "--angle", "90", "-o", In()},
      {"shot", "rotate", In(), "--angle", "90", "-o", spelled},
      {"shot", "set", In(), "--leds", "6x4", "-o", In()},
      {"shot", "xyz", In(), "--matrix", File("m.txt"), "-o", In()},
      {"shot", "demosaic", In(), In(), "--mosaic", "rggb"},
      {"shot", "subtract", File("other.shot"), "--background", In(), "-o", In()},
      {"shot", "split", In(), "--red", In()},
      {"shot", "picture", In(), In()}};
  for (const auto& words : commands) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 2) << words[1];
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_NE(outcome.err.find("would overwrite the input"), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(Slurp(In()), before);
}

TEST_F(ShotCommand, SplitIntoOneFileTwiceIsRefused) {
  const Outcome outcome =
      RunTool({"shot", "split", In(), "--red", File("a.shot"), "--blue", File("a.shot")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("--blue \"" + File("a.shot") + "\": would overwrite the output --red"),
            std::string::npos)
      << outcome.err;
  EXPECT_FALSE(std::filesystem::exists(File("a.shot")));
}

TEST_F(ShotCommand, RotateByAnotherAngleIsWrongUsage) {
  Spill(File("t.shot"), "precious");
  const Outcome outcome = RunTool({"shot", "rotate", In(), "--angle", "45", "-o", File("t.shot")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("found 45, expected 0, 90, 180 or 270"), std::string::npos);
  EXPECT_EQ(Slurp(File("t.shot")), "precious");
}

TEST_F(ShotCommand, PictureIsWrittenInColorAndInGray) {
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("c.png")}).exit, 0);
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("g.png"), "--gray"}).exit, 0);
  EXPECT_EQ(cv::imread(File("c.png"), cv::IMREAD_UNCHANGED).channels(), 3);
  EXPECT_EQ(cv::imread(File("g.png"), cv::IMREAD_UNCHANGED).channels(), 1);
}

TEST_F(ShotCommand, BritishSpellingOfGrayIsTakenToo) {
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("a.png"), "--gray"}).exit, 0);
  ASSERT_EQ(RunTool({"shot", "picture", In(), File("b.png"), "--grey"}).exit, 0);
  EXPECT_EQ(Slurp(File("a.png")), Slurp(File("b.png")));
}

TEST_F(ShotCommand, PictureOfUnknownFormatLeavesTheOldFile) {
  Spill(File("old.xyz"), "precious");
  const Outcome outcome = RunTool({"shot", "picture", In(), File("old.xyz")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("no picture format is known for the extension \".xyz\""),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(Slurp(File("old.xyz")), "precious");
}

TEST_F(ShotCommand, SetChangesMetadataOnly) {
  ASSERT_EQ(RunTool({"shot", "set", In(), "-o", File("s.shot"), "--leds", "6x4", "--device",
                     "id=cam 1,cam_type=1212", "--layer", "linear_norms=0.5", "--color", "4"})
                .exit,
            0);
  const Shot set = Loaded(File("s.shot"));
  EXPECT_TRUE(SameBytes(set.image, ColorShot().image));
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
  ASSERT_EQ(ColorShot().Save(folder.File("in.shot")), 0);
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
