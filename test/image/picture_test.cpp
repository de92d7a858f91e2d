#include "image/picture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "image/picture_file.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::image::FullScale;
using dravix::image::InChannels;
using dravix::image::ToImage;
using dravix::image::WritePicture;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;

// --- full scale ---

TEST(FullScale, CountsTheBitsInTheLastTwoDigits) {
  for (const int camera : {12, 112, 1012, 320012}) EXPECT_EQ(FullScale(camera), 4095) << camera;
  EXPECT_EQ(FullScale(120016), 65535);
  EXPECT_EQ(FullScale(8), 255);
  EXPECT_EQ(FullScale(1), 1);
  EXPECT_EQ(FullScale(0), 0);
  EXPECT_EQ(FullScale(300), 0);
}

TEST(FullScale, UsesTheLowFiveBitsOfThatNumber) {
  EXPECT_EQ(FullScale(31), INT32_MAX);
  EXPECT_EQ(FullScale(32), 0);
  EXPECT_EQ(FullScale(48), 65535);
  EXPECT_EQ(FullScale(99), 7);
  EXPECT_EQ(FullScale(-16), 65535);  // -16 ends in the bits of 16
  EXPECT_EQ(FullScale(-1), INT32_MAX);
  EXPECT_EQ(FullScale(INT32_MAX), (1 << 15) - 1);  // 47
  EXPECT_EQ(FullScale(INT32_MIN), (1 << 16) - 1);  // -48
}

// --- conversion ---

TEST(ToImage, ScalesByTheLargestValueInSinglePrecision) {
  const cv::Mat source = (cv::Mat_<std::uint16_t>(1, 5) << 0, 4095, 2048, 9000, 8);
  cv::Mat expected;
  source.convertTo(expected, CV_8U, static_cast<double>(255.0F / 4095.0F));
  EXPECT_TRUE(SameBytes(ToImage(source, 4095, 1), expected));
  EXPECT_TRUE(SameBytes(expected, (cv::Mat_<uchar>(1, 5) << 0, 255, 128, 255, 0)));
}

TEST(ToImage, WithoutALargestValueTheLargestSampleIsWhite) {
  const cv::Mat source = (cv::Mat_<float>(1, 3) << -10, 5, 0);
  for (const int none : {0, -1, INT32_MIN}) {
    EXPECT_TRUE(SameBytes(ToImage(source, none, 1), (cv::Mat_<uchar>(1, 3) << 0, 128, 0)));
  }
  EXPECT_TRUE(SameBytes(ToImage(cv::Mat(2, 2, CV_32FC1, cv::Scalar(2048)), -1, 1),
                        cv::Mat(2, 2, CV_8UC1, cv::Scalar(255))));
  EXPECT_TRUE(
      SameBytes(ToImage(cv::Mat::zeros(2, 2, CV_16UC1), 0, 1), cv::Mat::zeros(2, 2, CV_8UC1)));
}

TEST(ToImage, GivesTheChannelsWanted) {
  const cv::Mat color = RandomMat({5, 4}, CV_16UC3, 1, 0, 65536);
  const cv::Mat bgr = ToImage(color, 65535, 3);
  EXPECT_EQ(bgr.type(), CV_8UC3);
  cv::Mat expected;
  cv::cvtColor(bgr, expected, cv::COLOR_BGR2GRAY);
  EXPECT_TRUE(SameBytes(ToImage(color, 65535, 1), expected));
  const cv::Mat gray = RandomMat({5, 4}, CV_16UC1, 1, 0, 65536);
  cv::cvtColor(ToImage(gray, 65535, 1), expected, cv::COLOR_GRAY2BGR);
  EXPECT_TRUE(SameBytes(ToImage(gray, 65535, 3), expected));
}

TEST(ToImage, LeavesItsSourceAlone) {
  const cv::Mat source(2, 2, CV_8UC1, cv::Scalar(100));
  EXPECT_NE(ToImage(source, 255, 1).data, source.data);
  EXPECT_EQ(ToImage(source, 127, 1).at<uchar>(0), 201);
  EXPECT_EQ(source.at<uchar>(0), 100);
}

TEST(InChannels, PutsGrayWhereABitIsSet) {
  const cv::Mat gray(1, 1, CV_8UC1, cv::Scalar(9));
  for (const int color : {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, -1}) {
    const cv::Vec3b expected(color & 1 ? 9 : 0, color & 2 ? 9 : 0, color & 4 ? 9 : 0);
    EXPECT_EQ(InChannels(gray, color).at<cv::Vec3b>(0), expected) << color;
  }
}

// --- files ---

class Format : public testing::TestWithParam<const char*> {};

TEST_P(Format, HasTheBytesThatImwriteWrites) {
  const TempDir dir;
  const std::string extension = GetParam();
  // Every build of OpenCV has PNG, JPEG, TIFF and the formats that need no other library.
  if (extension == ".webp" && !cv::haveImageWriter(extension)) {
    GTEST_SKIP() << "this OpenCV was built without WebP";
  }
  for (const int type : {CV_8UC1, CV_8UC3}) {
    if (extension == (type == CV_8UC3 ? ".pgm" : ".ppm"))
      continue;  // each is for gray or for color only
    const cv::Mat picture = RandomMat({33, 21}, type, 2, 0, 256);
    const std::string ours = dir.File("ours" + extension);
    const std::string theirs = dir.File("theirs" + extension);
    ASSERT_TRUE(WritePicture(ours, picture));
    ASSERT_TRUE(cv::imwrite(theirs, picture));
    EXPECT_EQ(Slurp(ours), Slurp(theirs)) << type;
  }
}

INSTANTIATE_TEST_SUITE_P(WritePicture, Format,
                         testing::Values(".png", ".PNG", ".bmp", ".jpg", ".jpeg", ".tif", ".tiff",
                                         ".pgm", ".ppm", ".pnm", ".webp"));

TEST(WritePicture, UnknownExtensionsAreNotWritten) {
  const TempDir dir;
  const cv::Mat picture(2, 2, CV_8UC1, cv::Scalar(1));
  for (const char* name : {"a.xyz", "a", "a.", ".", "a.png2", "a.shot"}) {
    EXPECT_FALSE(WritePicture(dir.File(name), picture)) << name;
  }
  EXPECT_FALSE(WritePicture("", picture));
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

TEST(WritePicture, WhatTheEncoderRefusesKeepsTheOldFile) {
  const TempDir dir;
  Spill(dir.File("a.png"), "old");
  EXPECT_FALSE(WritePicture(dir.File("a.png"), cv::Mat()));
  EXPECT_FALSE(WritePicture(dir.File("a.png"), cv::Mat(2, 2, CV_8UC2)));
  EXPECT_EQ(Slurp(dir.File("a.png")), "old");
}

TEST(WritePicture, APictureThatCannotBeMadeKeepsTheOldFile) {
  const TempDir dir;
  const std::string name = dir.File("a.png");
  const auto make = [] { return cv::Mat(2, 2, CV_8UC1, cv::Scalar(7)); };
  ASSERT_TRUE(WritePicture(name, make));
  const std::string before = Slurp(name);
  EXPECT_FALSE(WritePicture(name, []() -> cv::Mat { CV_Error(cv::Error::StsBadArg, "no"); }));
  EXPECT_EQ(Slurp(name), before);
}

TEST(WritePicture, FoldersAndMissingFoldersAreRefused) {
  const TempDir dir;
  const cv::Mat picture(2, 2, CV_8UC1, cv::Scalar(1));
  std::filesystem::create_directory(dir.Path() / "folder.png");
  EXPECT_FALSE(WritePicture(dir.File("folder.png"), picture));
  EXPECT_FALSE(WritePicture(dir.File("missing/a.png"), picture));
}

}  // namespace
