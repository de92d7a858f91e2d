#include <gtest/gtest.h>

#include <cstdint>
#include <opencv2/imgcodecs.hpp>
#include <string>

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

TEST(Info, ShotShowsSizeTypeRangeAndMetadata) {
  const SmallScreen screen;
  const auto json = RunTool({"info", screen.Photo(), "--json"}).Json();
  EXPECT_EQ(json["format"], "shot");
  EXPECT_EQ(json["type"], "CIE_Y");
  EXPECT_EQ(json["pixels"], "16-bit unsigned, 1 channel");
  EXPECT_EQ(json["metadata"]["pattern"]["lighted_led_w"], 40);
  EXPECT_EQ(json["metadata"]["pattern"]["lighted_led_h"], 30);
  EXPECT_GT(json["range"]["maximum"], json["range"]["minimum"]);
}

TEST(Info, TextShowsTypeAndMetadata) {
  const SmallScreen screen;
  const std::string text = RunTool({"info", screen.Photo()}).out;
  EXPECT_NE(text.find("type            CIE_Y\n"), std::string::npos) << text;
  EXPECT_NE(text.find("lighted_led_w 40, lighted_led_h 30"), std::string::npos) << text;
}

TEST(Info, ResultShowsItsStatistics) {
  const SmallScreen screen;
  const auto json = RunTool({"info", screen.Measured(), "--json"}).Json();
  EXPECT_EQ(json["format"], "lum");
  EXPECT_EQ(json["leds"], nlohmann::json({40, 30}));
  EXPECT_LE(json["minimum"], json["mean"]);
  EXPECT_LE(json["mean"], json["maximum"]);
  EXPECT_GT(json["uniformity"]["nine_point"], 0.5);
}

TEST(Info, TruthAndItsMatrixAgree) {
  const SmallScreen screen;
  const auto truth = RunTool({"info", screen.Truth(), "--json"}).Json();
  const auto matrix = RunTool({"info", screen.File("truth.truth.npy"), "--json"}).Json();
  EXPECT_EQ(truth["mean"], matrix["mean"]);
  EXPECT_EQ(truth["leds"], nlohmann::json({40, 30}));
}

TEST(Info, ShotCutShortSaysItsSizeAndTheOneExpected) {
  const SmallScreen screen;
  const std::string bytes = Slurp(screen.Photo());
  const std::string cut = screen.File("cut.shot");
  Spill(cut, std::string_view(bytes).substr(0, bytes.size() - 5000));
  const Outcome outcome = RunTool({"info", cut});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  // The size that the lost groups had cannot be known, so the message says "at least".
  const std::string found = std::to_string(bytes.size() - 5000);
  EXPECT_NE(
      outcome.err.find("cut.shot: is cut short: found " + found + " bytes, expected at least"),
      std::string::npos)
      << outcome.err;
}

TEST(Info, ResultCutShortSaysSo) {
  const SmallScreen screen;
  const std::string bytes = Slurp(screen.Measured());
  const std::string cut = screen.File("cut.lum");
  Spill(cut, std::string_view(bytes).substr(0, bytes.size() - 1));
  const Outcome outcome = RunTool({"info", cut});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_NE(outcome.err.find("is cut short"), std::string::npos) << outcome.err;
}

struct BadFile {
  const char* name;
  std::string content;
  const char* says;
};

class BadFiles : public testing::TestWithParam<BadFile> {};

TEST_P(BadFiles, OneLineSaysWhatIsWrong) {
  const TempDir folder;
  const std::string file = folder.File(GetParam().name);
  Spill(file, GetParam().content);
  const Outcome outcome = RunTool({"info", file});
  EXPECT_EQ(outcome.exit, 3);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_NE(outcome.err.find(file + ": "), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find(GetParam().says), std::string::npos) << outcome.err;
}

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) bytes += static_cast<char>(value);
  return bytes;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BadFiles,
    testing::Values(
        BadFile{"empty.shot", "", "is empty, expected a .shot file"},
        BadFile{"foreign.shot", "BM whatever", "begins with byte 66, expected 76 ('L')"},
        BadFile{"future.shot", Bytes({'L', 2, 0, 0, 0}), "has format version 2, expected 1"},
        BadFile{"short.lum", "L", "ends after 1 bytes, expected a .lum file"},
        BadFile{"hollow.lum", Bytes({'L', 1, 0, 0, 0}), "holds no luminances"},
        BadFile{"foreign.roi", "x", "begins with byte 120"},
        BadFile{"hollow.roi", Bytes({'L', 1, 0, 0, 0}), "holds an empty region"},
        BadFile{"claims.shot", Bytes({'L', 1,   0,   0,   0, 2, 0, 0, 0, 255, 255, 255, 127,
                                      255, 255, 255, 127, 2, 0, 0, 0, 1, 0,   0,   0}),
                "holds no picture"},
        BadFile{"absurd.lum",
                Bytes({'L', 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 255, 255, 0, 0}), ""},
        BadFile{"noise.png", "\x89PNG\r\n\x1a\nnothing of a picture", "is no picture"},
        BadFile{"noise.dng", "II*", "is no DNG"},
        BadFile{"noise.pgm", "P5\nnot a size\n", "is no picture"},
        BadFile{"short.pgm", "P5\n100 100\n65535\nxx", "cut short"},
        BadFile{"broken.json", "{", "is no valid JSON"},
        BadFile{"other.json", "{\"format\": \"x\"}", "is no truth file"},
        BadFile{"short.npy", "\x93NUMPY", "is no .npy file"}),
    [](const auto& test) {
      std::string name = test.param.name;
      for (char& c : name) c = c == '.' ? '_' : c;
      return name;
    });

TEST(Info, RawNamesTheCameraThatItsSizeFits) {
  const TempDir folder;
  Spill(folder.File("sensor.raw"), std::string(24123000, '\0'));
  const auto json = RunTool({"info", folder.File("sensor.raw"), "--json"}).Json();
  EXPECT_EQ(json["format"], "raw");
  EXPECT_EQ(json["fits_cam_type"], 120016);
}

TEST(Info, RawWithASizeShowsItsRange) {
  const TempDir folder;
  Spill(folder.File("sensor.raw"), Bytes({0x34, 0x12, 1, 0, 2, 0, 3, 0}));
  const auto json = RunTool({"info", folder.File("sensor.raw"), "--size", "2x2", "--json"}).Json();
  EXPECT_EQ(json["range"]["maximum"], 0x1234);
  EXPECT_EQ(json["size"], nlohmann::json({2, 2}));
}

TEST(Info, PictureShowsItsPixels) {
  const TempDir folder;
  ASSERT_TRUE(cv::imwrite(folder.File("p.png"), cv::Mat(3, 5, CV_8UC3, cv::Scalar(1, 2, 3))));
  const auto json = RunTool({"info", folder.File("p.png"), "--json"}).Json();
  EXPECT_EQ(json["format"], "picture");
  EXPECT_EQ(json["pixels"], "8-bit unsigned, 3 channels");
}

TEST(Info, Pgm16ShowsItsSamples) {
  const TempDir folder;
  Spill(folder.File("s.pgm"), "P5\n2 1\n65535\n" + Bytes({1, 0, 0, 7}));
  const auto json = RunTool({"info", folder.File("s.pgm"), "--json"}).Json();
  EXPECT_EQ(json["format"], "pgm");
  EXPECT_EQ(json["range"]["maximum"], 256);
  EXPECT_EQ(json["range"]["minimum"], 7);
}

TEST(Info, MapShowsTheMaximumBehindItsComments) {
  const TempDir folder;
  Spill(folder.File("t.pgm"), "P2\n# by hand\n2 1 # 9 9\n900#end\n5 7\n");
  const auto json = RunTool({"info", folder.File("t.pgm"), "--json"}).Json();
  EXPECT_EQ(json["declared_maximum"], 900);
  EXPECT_EQ(json["size"], nlohmann::json({2, 1}));
  EXPECT_EQ(json["range"]["maximum"], 7);
}

TEST(Info, ResultSaysHowWideItsCopiedBorderIs) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  EXPECT_EQ(RunTool({"info", result, "--json"}).Json()["copied_border"], 4);
  EXPECT_EQ(RunTool({"info", result, "--json"}).Json()["copied_leds"], 40 * 30 - 32 * 22);
  const std::string text = RunTool({"info", result}).out;
  EXPECT_NE(text.find("outer 4 LEDs on each side are copies"), std::string::npos) << text;
}

}  // namespace
