#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "sim/render.h"
#include "support/mats.h"
#include "support/temp_dir.h"
#include "tools/camera_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::DirectDng;
using dravix::test::Entry;
using dravix::test::IsOneLine;
using dravix::test::Little;
using dravix::test::Loaded;
using dravix::test::Outcome;
using dravix::test::RandomMat;
using dravix::test::RunTool;
using dravix::test::SameBytes;
using dravix::test::Samples;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

namespace {

/// A DNG of two adjoining strips whose tag points at the array of their offsets.
std::string ArrayDng(const cv::Mat& image) {
  constexpr std::uint32_t kArray = 8 + 2 + 5 * 12 + 4;
  constexpr std::uint32_t kData = kArray + 8;
  const auto half = static_cast<std::uint32_t>(image.cols * image.rows);
  return std::string("II*\0", 4) + Little(8, 4) + Little(5, 2) +
         Entry(256, 4, 1, static_cast<std::uint32_t>(image.cols)) +
         Entry(257, 4, 1, static_cast<std::uint32_t>(image.rows)) + Entry(258, 3, 1, 16) +
         Entry(259, 3, 1, 1) + Entry(273, 4, 2, kArray) + Little(0, 4) + Little(kData, 4) +
         Little(kData + half, 4) + Samples(image);
}

TEST(Convert, RawOfAGivenSizeKeepsItsSamples) {
  const TempDir folder;
  const cv::Mat sensor = RandomMat({6, 4}, CV_16UC1, 5, 0, 65536);
  Spill(folder.File("s.raw"), Samples(sensor));
  ASSERT_EQ(RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--size", "6x4",
                     "--type", "cam_g", "--leds", "8x8"})
                .exit,
            0);
  const Shot shot = Loaded(folder.File("s.shot"));
  EXPECT_TRUE(SameBytes(shot.image, sensor));
  EXPECT_EQ(shot.type, CAM_G);
  ASSERT_TRUE(shot.pattern);
  EXPECT_EQ(shot.pattern->lighted_led_w, 8);
}

TEST(Convert, RawOfAnotherSizeSaysFoundAndExpected) {
  const TempDir folder;
  Spill(folder.File("s.raw"), std::string(49, '\0'));
  const Outcome outcome =
      RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--size", "6x4"});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("has 49 bytes, expected 48 (6 x 4 samples"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(folder.File("s.shot")));
}

TEST(Convert, RawOfACameraTypeBringsTheDevice) {
  const TempDir folder;
  Spill(folder.File("s.raw"), std::string(24123000, '\1'));
  ASSERT_EQ(
      RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--cam-type", "120016"})
          .exit,
      0);
  const Shot shot = Loaded(folder.File("s.shot"));
  EXPECT_EQ(shot.image.size(), cv::Size(4250, 2838));
  EXPECT_EQ(shot.image.at<std::uint16_t>(7, 7), 0x0101);
  ASSERT_TRUE(shot.device);
  EXPECT_EQ(shot.device->cam_type, 120016);
}

TEST(Convert, UnknownCameraTypeIsWrongUsage) {
  const TempDir folder;
  Spill(folder.File("s.raw"), "xx");
  const Outcome outcome =
      RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--cam-type", "77"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("give --size instead"), std::string::npos) << outcome.err;
}

TEST(Convert, RawWithoutASizeIsWrongUsage) {
  const TempDir folder;
  Spill(folder.File("s.raw"), "xx");
  EXPECT_EQ(RunTool({"convert", folder.File("s.raw"), folder.File("s.shot")}).exit, 2);
}

TEST(Convert, MosaicNamesAreTheSensorsFirstRows) {
  struct Layout {
    dravix::sim::Mosaic mosaic;
    const char* name;
  };
  for (const Layout& layout :
       {Layout{dravix::sim::Mosaic::kRggb, "rggb"}, Layout{dravix::sim::Mosaic::kBggr, "bggr"},
        Layout{dravix::sim::Mosaic::kGrbg, "GRBG"}, Layout{dravix::sim::Mosaic::kGbrg, "gbrg"}}) {
    const TempDir folder;
    dravix::sim::Scene scene;
    scene.screen.ledWidth = 12;
    scene.screen.ledHeight = 10;
    scene.sensor.mosaic = layout.mosaic;
    const cv::Mat raw = dravix::sim::Render(scene).shot.image;
    Spill(folder.File("s.raw"), Samples(raw));
    const std::string size = std::to_string(raw.cols) + "x" + std::to_string(raw.rows);
    ASSERT_EQ(RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--size", size,
                       "--type", "CAM_RGB", "--mosaic", layout.name})
                  .exit,
              0);
    const Shot shot = Loaded(folder.File("s.shot"));
    ASSERT_EQ(shot.image.channels(), 3) << layout.name;
    Shot expected;
    ASSERT_EQ(expected.SetImageColor(raw, dravix::sim::BayerCodeOf(layout.mosaic), CAM_RGB), 0);
    EXPECT_TRUE(SameBytes(shot.image, expected.image)) << layout.name;
  }
}

TEST(Convert, UnknownMosaicListsTheKnown) {
  const TempDir folder;
  Spill(folder.File("s.raw"), std::string(48, '\0'));
  const Outcome outcome = RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--size",
                                   "6x4", "--type", "CAM_RGB", "--mosaic", "rgbw"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("expected rggb, grbg, bggr or gbrg"), std::string::npos);
}

TEST(Convert, DngOfOneStripIsTurnedTheRightWayUp) {
  const TempDir folder;
  const cv::Mat sensor = RandomMat({6, 4}, CV_16UC1, 6, 0, 65536);
  Spill(folder.File("d.dng"), DirectDng(sensor));
  ASSERT_EQ(RunTool({"convert", folder.File("d.dng"), folder.File("d.shot")}).exit, 0);
  cv::Mat upright;
  cv::flip(sensor, upright, 0);
  EXPECT_TRUE(SameBytes(Loaded(folder.File("d.shot")).image, upright));
  ASSERT_EQ(RunTool({"convert", folder.File("d.dng"), folder.File("f.shot"), "--flip"}).exit, 0);
  EXPECT_TRUE(SameBytes(Loaded(folder.File("f.shot")).image, sensor));
}

TEST(Convert, DngOfSeveralStripsIsReadThroughTheirArray) {
  const TempDir folder;
  const cv::Mat sensor = RandomMat({6, 4}, CV_16UC1, 7, 0, 65536);
  Spill(folder.File("d.dng"), ArrayDng(sensor));
  ASSERT_EQ(RunTool({"convert", folder.File("d.dng"), folder.File("d.shot")}).exit, 0);
  EXPECT_TRUE(SameBytes(Loaded(folder.File("d.shot")).image, sensor));
}

TEST(Convert, DngCutShortIsRefused) {
  const TempDir folder;
  const std::string bytes = DirectDng(RandomMat({6, 4}, CV_16UC1, 6, 0, 65536));
  Spill(folder.File("d.dng"), std::string_view(bytes).substr(0, bytes.size() - 20));
  const Outcome outcome = RunTool({"convert", folder.File("d.dng"), folder.File("d.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Convert, Pgm16KeepsItsSamples) {
  const TempDir folder;
  const cv::Mat sensor = RandomMat({6, 4}, CV_16UC1, 8, 0, 65536);
  ASSERT_TRUE(cv::imwrite(folder.File("p.pgm"), sensor));
  ASSERT_EQ(RunTool({"convert", folder.File("p.pgm"), folder.File("p.shot")}).exit, 0);
  EXPECT_TRUE(SameBytes(Loaded(folder.File("p.shot")).image, sensor));
}

TEST(Convert, Tiff16IsReadFromTheTop) {
  const TempDir folder;
  const cv::Mat sensor = RandomMat({6, 4}, CV_16UC1, 9, 0, 65536);
  ASSERT_TRUE(cv::imwrite(folder.File("t.tif"), sensor, {cv::IMWRITE_TIFF_COMPRESSION, 1}));
  ASSERT_EQ(RunTool({"convert", folder.File("t.tif"), folder.File("t.shot")}).exit, 0);
  EXPECT_TRUE(SameBytes(Loaded(folder.File("t.shot")).image, sensor));
}

TEST(Convert, ColorPictureKeepsThreePlanesRedFirst) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(2, 2, CV_8UC3, cv::Scalar(1, 2, 3))));
  ASSERT_EQ(RunTool({"convert", folder.File("p.png"), folder.File("p.shot")}).exit, 0);
  const Shot shot = Loaded(folder.File("p.shot"));
  EXPECT_EQ(shot.type, CAM_RGB);
  EXPECT_EQ(shot.image.at<cv::Vec3w>(0, 0), cv::Vec3w(3 * 257, 2 * 257, 1 * 257));
}

TEST(Convert, ChannelTakesOnePlane) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(2, 2, CV_8UC3, cv::Scalar(10, 20, 60))));
  struct Wanted {
    const char* channel;
    std::uint16_t sample;
    std::uint32_t type;
  };
  for (const Wanted& wanted :
       {Wanted{"r", 60 * 257, CAM_R}, Wanted{"g", 20 * 257, CAM_G}, Wanted{"b", 10 * 257, CAM_B},
        Wanted{"gray", 30 * 257, CIE_Y}, Wanted{"grey", 30 * 257, CIE_Y}}) {
    ASSERT_EQ(RunTool({"convert", folder.File("p.png"), folder.File("p.shot"), "--channel",
                       wanted.channel})
                  .exit,
              0);
    const Shot shot = Loaded(folder.File("p.shot"));
    EXPECT_EQ(shot.type, wanted.type) << wanted.channel;
    ASSERT_EQ(shot.image.type(), CV_16UC1);
    EXPECT_EQ(shot.image.at<std::uint16_t>(1, 1), wanted.sample) << wanted.channel;
  }
}

TEST(Convert, LinearizeUndoesTheTransferCurve) {
  const TempDir folder;
  cv::Mat picture(1, 4, CV_8UC1);
  picture.at<unsigned char>(0, 0) = 0;
  picture.at<unsigned char>(0, 1) = 10;   // on the straight part: 10 / 255 / 12.92
  picture.at<unsigned char>(0, 2) = 188;  // about half the light
  picture.at<unsigned char>(0, 3) = 255;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), picture));
  ASSERT_EQ(
      RunTool({"convert", folder.File("p.png"), folder.File("p.shot"), "--linearize", "srgb"}).exit,
      0);
  const cv::Mat light = Loaded(folder.File("p.shot")).image;
  EXPECT_EQ(light.at<std::uint16_t>(0, 0), 0);
  EXPECT_EQ(light.at<std::uint16_t>(0, 1), 199);
  EXPECT_NEAR(light.at<std::uint16_t>(0, 2), 0.50289 * 65535, 2);
  EXPECT_EQ(light.at<std::uint16_t>(0, 3), 65535);
}

TEST(Convert, MetadataFileFillsTheGroups) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(2, 2, CV_8UC1, cv::Scalar(7))));
  Spill(folder.File("m.json"),
        R"({"partition": {"w": 8, "h": 6, "screen_w": 16, "screen_h": 6},
            "pattern": {"interval_x": 2, "interval_y": 1}})");
  const auto json = RunTool({"convert", folder.File("p.png"), folder.File("p.shot"), "--metadata",
                             folder.File("m.json"), "--json"})
                        .Json();
  EXPECT_EQ(json["metadata"]["partition"]["screen_w"], 16);
  EXPECT_EQ(json["metadata"]["pattern"]["lighted_led_w"], 4);
}

TEST(Convert, DamagedMetadataFileIsNamed) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(2, 2, CV_8UC1, cv::Scalar(7))));
  Spill(folder.File("m.json"), R"({"partitions": {}})");
  const Outcome outcome = RunTool({"convert", folder.File("p.png"), folder.File("p.shot"),
                                   "--metadata", folder.File("m.json")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("found group \"partitions\", expected one of partition"),
            std::string::npos);
}

// Taken for a signed number, this one would be -1.
TEST(Convert, HugeNumberInMetadataIsRefused) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(2, 2, CV_8UC1, cv::Scalar(7))));
  Spill(folder.File("m.json"), R"({"layer": {"index": 18446744073709551615}})");
  const Outcome outcome = RunTool({"convert", folder.File("p.png"), folder.File("p.shot"),
                                   "--metadata", folder.File("m.json")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("layer.index: found 18446744073709551615, expected a 32-bit whole"),
            std::string::npos)
      << outcome.err;
}

TEST(Convert, DamagedPictureLeavesTheOldShot) {
  const TempDir folder;
  Spill(folder.File("old.shot"), "precious");
  Spill(folder.File("p.jpg"), "\xff\xd8\xff no picture");
  const Outcome outcome = RunTool({"convert", folder.File("p.jpg"), folder.File("old.shot")});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(folder.File("old.shot")), "precious");
}

TEST(Convert, FilesOfOtherProgramsAreReadOrRefusedInOneLine) {
  const std::filesystem::path samples = DRAVIX_SAMPLES_DIR;
  if (!std::filesystem::is_directory(samples)) GTEST_SKIP() << "no " << samples;
  const TempDir folder;
  for (const auto& entry : std::filesystem::directory_iterator(samples)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".dng" && extension != ".tif" && extension != ".tiff" && extension != ".pgm") {
      continue;
    }
    const Outcome outcome =
        RunTool({"convert", entry.path().string(), folder.File("s.shot"), "--channel", ""});
    EXPECT_TRUE(outcome.exit == 0 || (outcome.exit == 3 && IsOneLine(outcome)))
        << entry.path() << ": " << outcome.exit << " " << outcome.err;
  }
}

TEST(Convert, OutputThatIsTheInputIsRefused) {
  const TempDir folder;
  const std::string file = folder.File("p.shot");
  Spill(file, "precious");
  Outcome outcome = RunTool({"convert", file, file, "--size", "2x2"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("would overwrite the input"), std::string::npos) << outcome.err;
  outcome = RunTool({"convert", folder.File("p.png"), file, "--metadata", file});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(Slurp(file), "precious");
}

TEST(Convert, ColorTypeWithoutAMosaicSaysWhatIsMissing) {
  const TempDir folder;
  Spill(folder.File("s.raw"), std::string(48, '\0'));
  const Outcome outcome = RunTool({"convert", folder.File("s.raw"), folder.File("s.shot"), "--size",
                                   "6x4", "--type", "CAM_RGB"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("--mosaic"), std::string::npos) << outcome.err;
}

}  // namespace
