#include <gtest/gtest.h>

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

/// The luminances as they lie in the file: its last 40 x 30 floats.
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
  // The magic, version 1.0, a header of 118 bytes: 128 in all.
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

TEST(Export, FalseColourPictureShowsDarkAndBrightDifferently) {
  const SmallScreen screen;
  ASSERT_EQ(RunTool({"export", screen.Measured(), screen.File("f.png"), "--false-colour"}).exit, 0);
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

}  // namespace
