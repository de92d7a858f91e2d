// Photographs in files that are no .shot: which plane, mosaic and black level is used, and what
// becomes of the exposure data.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tools/converted_files.h"

using dravix::test::ConvertedFiles;
using dravix::test::IsOneLine;
using dravix::test::Loaded;
using dravix::test::Outcome;
using dravix::test::RandomMat;
using dravix::test::RunTool;
using dravix::test::SameBytes;
using dravix::test::Samples;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;

namespace {

/// Turns a one-plane TIFF into a DNG with libtiff's tool; `more` are further tags.
void MakeDng(const ConvertedFiles& made, const std::string& tiff, const std::string& dng,
             const std::vector<std::string>& more) {
  made.Run("cp " + tiff + " " + dng);
  std::vector<std::string> tags = {"50706 1 4 0 0", "50708 'Camera X'"};
  tags.insert(tags.end(), more.begin(), more.end());
  for (const std::string& tag : tags) made.Run("tiffset -s " + tag + " " + dng);
}

const std::vector<std::string> kRggb = {"262 32803", "33421 2 2", "33422 4 0 1 1 2"};

/// A gray TIFF of the samples, and a DNG with a mosaic and black levels.
class DngFile : public testing::Test {
 protected:
  void SetUp() override {
    DRAVIX_NEEDS("convert");
    DRAVIX_NEEDS("tiffset");
    made_.Run(std::string(dravix::test::kMagick) + "-compress none plain.tif");
  }
  nlohmann::json Source(const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {"convert", made_.File("x.dng"), made_.File("x.shot"),
                                      "--json"};
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words).Json()["source"];
  }
  ConvertedFiles made_;
};

TEST_F(DngFile, KeepsTheSensorsNumbersFromTheTop) {
  MakeDng(made_, "plain.tif", "x.dng", {});
  EXPECT_TRUE(SameBytes(made_.Converted("x.dng").image, made_.samples));
  EXPECT_EQ(Source()["format"], "dng");
  EXPECT_EQ(Source()["camera"], "Camera X");
}

TEST_F(DngFile, MosaicIsKnownFromTheFile) {
  MakeDng(made_, "plain.tif", "x.dng", kRggb);
  const Shot mosaic = made_.Converted("x.dng");
  EXPECT_EQ(mosaic.type, CAM_RGB);
  EXPECT_TRUE(SameBytes(mosaic.image, made_.samples));
  EXPECT_EQ(Source()["mosaic"], "rggb");
  EXPECT_EQ(Source()["plane"], "mosaic");

  Shot expected;
  ASSERT_EQ(expected.SetImageColor(made_.samples, cv::COLOR_BayerBG2RGB, CAM_G), 0);
  const Shot green = made_.Converted("x.dng", {"--channel", "g"});
  EXPECT_EQ(green.type, CAM_G);
  EXPECT_TRUE(SameBytes(green.image, expected.image));
  EXPECT_EQ(green.image.at<std::uint16_t>(10, 11), made_.samples.at<std::uint16_t>(10, 11));
  EXPECT_EQ(Source({"--channel", "g"})["demosaiced"], true);
  ASSERT_EQ(expected.SetImageColor(made_.samples, cv::COLOR_BayerBG2RGB, CAM_RGB), 0);
  EXPECT_TRUE(SameBytes(made_.Converted("x.dng", {"--type", "CAM_RGB"}).image, expected.image));
}

TEST_F(DngFile, MosaicOfAnyTiffIsTakenFromItsTags) {
  made_.Run("tiffset -s 33421 2 2 plain.tif && tiffset -s 33422 4 1 2 0 1 plain.tif");
  const auto json =
      RunTool({"convert", made_.File("plain.tif"), made_.File("x.shot"), "--json"}).Json();
  EXPECT_EQ(json["source"]["mosaic"], "gbrg");
}

TEST_F(DngFile, BlackLevelIsNamedAndSubtractedWhenAsked) {
  std::vector<std::string> tags = kRggb;
  tags.insert(tags.end(), {"50713 2 2", "50714 4 100 200 300 400", "50717 1 4095"});
  MakeDng(made_, "plain.tif", "x.dng", tags);
  EXPECT_EQ(Source()["black_level"]["values"], nlohmann::json({100, 200, 300, 400}));
  EXPECT_EQ(Source()["black_level"]["subtracted"], false);
  EXPECT_EQ(Source()["white_level"], 4095);
  EXPECT_TRUE(SameBytes(made_.Converted("x.dng", {"--type", "CIE_Y"}).image, made_.samples));

  const Shot lowered = made_.Converted("x.dng", {"--type", "CIE_Y", "--black-level", "subtract"});
  for (int y = 0; y < 24; ++y) {
    for (int x = 0; x < 36; ++x) {
      const int level = 100 + 100 * (y % 2 * 2 + x % 2);
      const int expected = std::max(0, made_.samples.at<std::uint16_t>(y, x) - level);
      ASSERT_EQ(lowered.image.at<std::uint16_t>(y, x), expected) << x << "," << y;
    }
  }
  EXPECT_EQ(Source({"--black-level", "subtract"})["black_level"]["subtracted"], true);
  EXPECT_EQ(Source({"--black-level", "70"})["black_level"]["values"], nlohmann::json({70}));
}

TEST_F(DngFile, BlackLevelThatNobodyNamedCannotBeSubtracted) {
  MakeDng(made_, "plain.tif", "x.dng", {});
  const Outcome outcome =
      RunTool({"convert", made_.File("x.dng"), made_.File("x.shot"), "--black-level", "subtract"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("names no black level"), std::string::npos) << outcome.err;
}

TEST_F(DngFile, BordersThatSeeNoLightAreLeftOut) {
  MakeDng(made_, "plain.tif", "x.dng", {"50829 2 3 22 33"});
  EXPECT_TRUE(
      SameBytes(made_.Converted("x.dng").image, made_.samples(cv::Rect(3, 2, 30, 20)).clone()));
}

TEST_F(DngFile, ChannelOfAFileWithoutAMosaicIsRefused) {
  MakeDng(made_, "plain.tif", "x.dng", {});
  const Outcome outcome =
      RunTool({"convert", made_.File("x.dng"), made_.File("x.shot"), "--channel", "g"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_NE(outcome.err.find("names no mosaic"), std::string::npos) << outcome.err;
  EXPECT_EQ(made_.Converted("x.dng", {"--channel", "g", "--mosaic", "rggb"}).type, CAM_G);
  EXPECT_EQ(made_.Converted("x.dng", {"--channel", "gray"}).type, CIE_Y);
}

// A correction by rows is beyond the tool's own reader; the file is otherwise the same.
TEST_F(DngFile, LibRawKeepsTheSensorsNumbersToo) {
  std::vector<std::string> tags = kRggb;
  std::string deltas = "50716 24";
  for (int y = 0; y < 24; ++y) deltas += " 0";
  tags.insert(tags.end(), {"50713 2 2", "50714 4 100 200 300 400", deltas});
  MakeDng(made_, "plain.tif", "x.dng", tags);
  const Outcome outcome =
      RunTool({"convert", made_.File("x.dng"), made_.File("x.shot"), "--type", "CIE_Y", "--json"});
  if (outcome.exit == 3) {
    EXPECT_NE(outcome.err.find("DRAVIX_LIBRAW"), std::string::npos) << outcome.err;
    GTEST_SKIP() << "built without LibRaw";
  }
  const auto source = outcome.Json()["source"];
  EXPECT_NE(source["decoder"].dump().find("LibRaw"), std::string::npos) << source;
  EXPECT_EQ(source["black_level"]["values"], nlohmann::json({100, 200, 300, 400}));
  EXPECT_EQ(source["mosaic"], "rggb");
  EXPECT_TRUE(SameBytes(Loaded(made_.File("x.shot")).image, made_.samples));
}

// Compressed DNG files are for LibRaw, or refused with the option that would bring it.
TEST_F(DngFile, CompressedIsUnpackedOrNamesTheOption) {
  DRAVIX_NEEDS("tiffcp");
  made_.Run("tiffcp -c zip plain.tif zip.tif");
  MakeDng(made_, "zip.tif", "x.dng", kRggb);
  const Outcome outcome = RunTool({"convert", made_.File("x.dng"), made_.File("x.shot")});
  EXPECT_TRUE(outcome.exit == 0 || (outcome.exit == 3 && IsOneLine(outcome))) << outcome.err;
}

TEST(ExposureData, OfAJpegFillsDeviceAndCapture) {
  DRAVIX_NEEDS("exiftool");
  DRAVIX_NEEDS("convert");
  const ConvertedFiles made;
  made.Run("convert -size 36x24 -depth 16 gray:in.raw e.jpg");
  made.Run("cp e.jpg e.tif.jpg && convert e.jpg -compress none e.tif");
  for (const std::string name : {"e.jpg", "e.tif"}) {
    made.Run(
        "exiftool -q -overwrite_original -Make=Maker -Model='Maker M1' -SerialNumber=77 "
        "-LensModel='50mm macro' -ExposureTime=0.004 -ISO=200 -FNumber=2.8 "
        "-DateTimeOriginal='2026:11:22 08:30:00' -Orientation#=6 " +
        name);
    const Outcome outcome = RunTool({"convert", made.File(name), made.File("e.shot"), "--json"});
    ASSERT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("EXIF orientation 6"), std::string::npos) << outcome.err;
    const auto json = outcome.Json();
    EXPECT_EQ(json["size"], nlohmann::json({36, 24})) << "as stored, not turned";
    EXPECT_EQ(json["source"]["taken"], "2026-11-22T08:30:00");
    EXPECT_EQ(json["source"]["orientation"], 6);
    EXPECT_EQ(json["source"]["iso"], 200);
    const auto& groups = json["metadata"];
    EXPECT_EQ(groups["device"]["id"], "Maker M1 77");
    EXPECT_EQ(groups["device"]["lens_id"], "50mm macro");
    EXPECT_EQ(groups["device"]["cam_type"], 0);
    EXPECT_EQ(groups["capture"]["exposure"], 4000);
    EXPECT_EQ(groups["capture"]["gain"], 200);
    EXPECT_EQ(groups["capture"]["aperture"], 280);
  }
  const auto given =
      RunTool({"convert", made.File("e.jpg"), made.File("e.shot"), "--json", "--capture", "gain=7"})
          .Json();
  EXPECT_EQ(given["metadata"]["capture"]["gain"], 7);
  EXPECT_EQ(given["metadata"]["capture"]["exposure"], 4000);
}

/// A screen's photograph as a 16-bit PNG, and the words that measure it.
class OneStep : public testing::Test {
 protected:
  std::vector<std::string> Measuring(const std::string& file) {
    return {"measure", screen_.File(file),   "--truth", screen_.Truth(), "--leds", "40x30",
            "-o",      screen_.File("r.lum")};
  }
  Outcome Measure(const std::string& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = Measuring(file);
    words.insert(words.end(), more.begin(), more.end());
    return RunTool(words);
  }
  /// The result of conversion and measurement in two steps.
  std::string InTwoSteps(const std::string& file, const std::vector<std::string>& more) {
    std::vector<std::string> words = {"convert", screen_.File(file), screen_.File("two.shot"),
                                      "--leds", "40x30"};
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(RunTool(words).exit, 0);
    EXPECT_EQ(RunTool({"measure", screen_.File("two.shot"), "--truth", screen_.Truth(), "-o",
                       screen_.File("two.lum")})
                  .exit,
              0);
    return Slurp(screen_.File("two.lum"));
  }
  const SmallScreen screen_;
};

TEST_F(OneStep, MeasuresAnyPictureAsInTwoSteps) {
  const cv::Mat photo = Loaded(screen_.Photo()).image;
  cv::Mat gray;
  photo.convertTo(gray, CV_8U, 1.0 / 257);
  cv::Mat color;
  cv::cvtColor(gray, color, cv::COLOR_GRAY2BGR);
  ASSERT_TRUE(cv::imwrite(screen_.File("p.png"), photo));
  ASSERT_TRUE(cv::imwrite(screen_.File("p.tif"), photo));
  ASSERT_TRUE(cv::imwrite(screen_.File("p.pgm"), photo));
  ASSERT_TRUE(cv::imwrite(screen_.File("p.jpg"), color, {cv::IMWRITE_JPEG_QUALITY, 95}));
  Spill(screen_.File("p.raw"), Samples(photo));
  const std::string size = std::to_string(photo.cols) + "x" + std::to_string(photo.rows);
  struct File {
    const char* name;
    std::vector<std::string> options;
    const char* plane;
  };
  for (const File& file : {File{"p.png", {}, "CIE_Y"}, File{"p.tif", {}, "CIE_Y"},
                           File{"p.pgm", {}, "CIE_Y"}, File{"p.jpg", {"--channel", "g"}, "g"},
                           File{"p.jpg", {"--channel", "gray", "--linearize", "srgb"}, "gray"},
                           File{"p.raw", {"--raw-size", size}, "CIE_Y"}}) {
    std::vector<std::string> options = file.options;
    options.emplace_back("--json");
    const Outcome outcome = Measure(file.name, options);
    ASSERT_EQ(outcome.exit, 0) << file.name << outcome.err;
    EXPECT_EQ(outcome.Json()["source"]["plane"], file.plane) << file.name;
    EXPECT_EQ(outcome.Json()["source"]["black_level"], nullptr);
    EXPECT_EQ(Slurp(screen_.File("r.lum")), InTwoSteps(file.name, file.options)) << file.name;
    const std::string text = Measure(file.name, file.options).out;
    EXPECT_NE(text.find("plane           " + std::string(file.plane)), std::string::npos) << text;
    EXPECT_NE(text.find("black level     not named by the file"), std::string::npos) << text;
  }
}

TEST_F(OneStep, ColorPictureWithoutAChannelIsRefusedWithTheOption) {
  ASSERT_TRUE(cv::imwrite(screen_.File("c.png"), cv::Mat(60, 60, CV_8UC3, cv::Scalar(9, 8, 7))));
  const Outcome outcome = Measure("c.png");
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find("--channel"), std::string::npos) << outcome.err;
}

TEST_F(OneStep, PictureWithoutLedsIsRefusedWithTheOption) {
  ASSERT_TRUE(cv::imwrite(screen_.File("c.png"), cv::Mat(60, 60, CV_8UC1, cv::Scalar(9))));
  const Outcome outcome = RunTool({"measure", screen_.File("c.png"), "--truth", screen_.Truth()});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("--leds"), std::string::npos) << outcome.err;
}

TEST_F(OneStep, CheckerboardMayBeAPictureToo) {
  const SmallScreen screen({"--leds", "64x48", "--block", "8"});
  for (const char* name : {"photo", "board"}) {
    const cv::Mat image = Loaded(screen.File(std::string(name) + ".shot")).image;
    ASSERT_TRUE(cv::imwrite(screen.File(std::string(name) + ".png"), image));
  }
  const Outcome outcome =
      RunTool({"measure", screen.File("photo.png"), "--leds", "64x48", "--checkerboard",
               screen.File("board.png"), "--blocks", "8x6", "--truth", screen.Truth(), "--json"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.Json()["leds"], nlohmann::json({64, 48}));
}

TEST_F(OneStep, ChannelOfAShotWithThreePlanes) {
  const cv::Mat planes = RandomMat({30, 20}, CV_8UC3, 5, 0, 256);
  ASSERT_TRUE(cv::imwrite(screen_.File("c.png"), planes));
  ASSERT_EQ(RunTool({"convert", screen_.File("c.png"), screen_.File("c.shot")}).exit, 0);
  ASSERT_EQ(
      RunTool({"convert", screen_.File("c.shot"), screen_.File("b.shot"), "--channel", "b"}).exit,
      0);
  ASSERT_EQ(
      RunTool({"convert", screen_.File("c.png"), screen_.File("e.shot"), "--channel", "b"}).exit,
      0);
  EXPECT_TRUE(
      SameBytes(Loaded(screen_.File("b.shot")).image, Loaded(screen_.File("e.shot")).image));
}

}  // namespace
