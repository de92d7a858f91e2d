#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string>

#include "support/mats.h"
#include "support/temp_dir.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;

namespace {

/// The luminances of a result file, which are its last 40 x 30 floats.
cv::Mat StoredLuminances(const std::string& result) {
  const std::string bytes = Slurp(result);
  cv::Mat values(30, 40, CV_32FC1);
  const std::size_t length = values.total() * sizeof(float);
  std::memcpy(values.data, bytes.data() + bytes.size() - length, length);
  return values;
}

TEST(Export, TiffHoldsTheExactFloats) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  ASSERT_EQ(RunTool({"export", result, screen.File("e.tif")}).exit, 0);
  const cv::Mat read = cv::imread(screen.File("e.tif"), cv::IMREAD_UNCHANGED);
  EXPECT_TRUE(SameBytes(read, StoredLuminances(result)));
}

TEST(Export, CsvReadsBackToTheSameFloats) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  ASSERT_EQ(RunTool({"export", result, screen.File("e.csv")}).exit, 0);
  std::istringstream text(Slurp(screen.File("e.csv")));
  cv::Mat read(30, 40, CV_32FC1);
  std::string line;
  for (int y = 0; y < 30; ++y) {
    ASSERT_TRUE(std::getline(text, line));
    std::istringstream cells(line);
    std::string cell;
    for (int x = 0; x < 40; ++x) {
      ASSERT_TRUE(std::getline(cells, cell, ','));
      read.at<float>(y, x) = std::stof(cell);
    }
    EXPECT_FALSE(std::getline(cells, cell, ','));
  }
  EXPECT_FALSE(std::getline(text, line));
  EXPECT_TRUE(SameBytes(read, StoredLuminances(result)));
}

TEST(Export, NpyIsWrittenAsNumPyWritesIt) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  ASSERT_EQ(RunTool({"export", result, screen.File("e.npy")}).exit, 0);
  const std::string bytes = Slurp(screen.File("e.npy"));
  // The magic and the version take 8 bytes, the header's length 2 and the header 118: 128 in all.
  ASSERT_EQ(bytes.size(), 128U + 40 * 30 * 4);
  EXPECT_EQ(bytes.substr(0, 10), std::string("\x93NUMPY\x01\x00\x76\x00", 10));
  std::string header = "{'descr': '<f4', 'fortran_order': False, 'shape': (30, 40), }";
  header.append(117 - header.size(), ' ');
  EXPECT_EQ(bytes.substr(10, 118), header + "\n");
  const cv::Mat expected = StoredLuminances(result);
  EXPECT_EQ(std::memcmp(bytes.data() + 128, expected.data, 40 * 30 * 4), 0);
}

TEST(Export, PngIsTheLibrarysPicture) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  ASSERT_EQ(RunTool({"export", result, screen.File("e.png")}).exit, 0);
  const cv::Mat picture = cv::imread(screen.File("e.png"), cv::IMREAD_UNCHANGED);
  cv::Mat expected;
  cv::normalize(StoredLuminances(result), expected, 255, 0, cv::NORM_INF, CV_8U);
  EXPECT_TRUE(SameBytes(picture, expected));
}

TEST(Export, FalseColorPictureShowsDarkAndBrightDifferently) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"export", screen.Measured(), screen.File("f.png"), "--false-color"}).exit, 0);
  const cv::Mat picture = cv::imread(screen.File("f.png"), cv::IMREAD_UNCHANGED);
  ASSERT_EQ(picture.type(), CV_8UC3);
  EXPECT_GT(picture.cols, 1000);
}

TEST(Export, UnknownExtensionIsWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome = RunTool({"export", screen.Measured(), screen.File("e.xyz")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

TEST(Export, MissingFolderIsAnOutputError) {
  const SmallScreen screen;
  for (const char* name : {"none/e.png", "none/e.npy", "none/e.tif"}) {
    const Outcome outcome = RunTool({"export", screen.Measured(), screen.File(name)});
    EXPECT_EQ(outcome.exit, 4);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
}

TEST(Export, DamagedResultLeavesTheOldPicture) {
  const SmallScreen screen;
  Spill(screen.File("bad.lum"), "nothing");
  Spill(screen.File("old.png"), "precious");
  EXPECT_EQ(RunTool({"export", screen.File("bad.lum"), screen.File("old.png")}).exit, 3);
  EXPECT_EQ(Slurp(screen.File("old.png")), "precious");
}

TEST(Export, BritishSpellingOfTheOptionIsAnAlias) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  ASSERT_EQ(RunTool({"export", result, screen.File("a.png"), "--false-color"}).exit, 0);
  ASSERT_EQ(RunTool({"export", result, screen.File("b.png"), "--false-colour"}).exit, 0);
  EXPECT_EQ(Slurp(screen.File("a.png")), Slurp(screen.File("b.png")));
}

TEST(Export, OutputOverTheResultIsRefused) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::string bytes = Slurp(result);
  std::filesystem::create_hard_link(result, screen.File("link.png"));
  const Outcome outcome = RunTool({"export", result, screen.File("link.png")});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_EQ(Slurp(result), bytes);
}

/// Where the LEDs begin in a false-color picture of 40 x 30 LEDs, and the side of one, in pixels.
constexpr int kLeft = 14;
constexpr int kTop = 34;
constexpr int kSide = 25;

cv::Mat Leds(const cv::Mat& picture, const cv::Rect& leds) {
  return picture(cv::Rect(kLeft + kSide * leds.x, kTop + kSide * leds.y, kSide * leds.width,
                          kSide * leds.height));
}

/// Whether all pixels of the LED have one color.
bool IsPlain(const cv::Mat& picture, cv::Point led) {
  const cv::Mat square = Leds(picture, {led, cv::Size(1, 1)});
  const cv::Vec3b first = square.at<cv::Vec3b>(0, 0);
  cv::Mat same;
  cv::inRange(square, first, first, same);
  return cv::countNonZero(same) == static_cast<int>(same.total());
}

TEST(Export, CopiedBorderIsHatchedAndMeasuredLedsArePlain) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"export", screen.Measured(), screen.File("f.png"), "--false-color"}).exit, 0);
  const cv::Mat picture = cv::imread(screen.File("f.png"));
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      const bool measured = x >= 4 && y >= 4 && x < 36 && y < 26;
      EXPECT_EQ(IsPlain(picture, {x, y}), measured) << x << ", " << y;
    }
  }
}

TEST(Export, LibrarysPictureHasNoMarks) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"export", screen.Measured(), screen.File("p.png")}).exit, 0);
  EXPECT_EQ(cv::imread(screen.File("p.png")).size(), cv::Size(40, 30));
}

}  // namespace
