#include "image/binary.h"

#include <gtest/gtest.h>

#include "support/mats.h"

namespace {

using dravix::image::BinarizeByOtsu;
using dravix::image::CloseThenOpen;
using dravix::test::SameBytes;

/// Pixels lit in the given columns, in as many rows as it takes to survive an opening.
cv::Mat Bars(int cols, std::initializer_list<cv::Range> lit) {
  cv::Mat picture = cv::Mat::zeros(30, cols, CV_8UC1);
  for (const cv::Range& range : lit) picture.colRange(range).rowRange(5, 25).setTo(255);
  return picture;
}

TEST(BinarizeByOtsu, SeparatesTwoLevels) {
  cv::Mat gray(4, 8, CV_8UC1, cv::Scalar(40));
  gray.colRange(5, 8).setTo(90);
  cv::Mat expected = cv::Mat::zeros(4, 8, CV_8UC1);
  expected.colRange(5, 8).setTo(255);
  cv::Mat binary;
  BinarizeByOtsu(gray, binary);
  EXPECT_TRUE(SameBytes(binary, expected));
  BinarizeByOtsu(gray, gray);
  EXPECT_TRUE(SameBytes(gray, expected));
}

TEST(BinarizeByOtsu, UsesMemoryOfTheRightSizeAgain) {
  const cv::Mat gray(4, 8, CV_8UC1, cv::Scalar(1));
  cv::Mat binary(4, 8, CV_8UC1);
  const unsigned char* memory = binary.data;
  BinarizeByOtsu(gray, binary);
  EXPECT_EQ(binary.data, memory);
}

TEST(CloseThenOpen, BridgesAGapBeforeItRemovesNarrowParts) {
  // An opening of 5 x 5 that came first would remove both bars of 4 pixels.
  cv::Mat picture = Bars(40, {{10, 14}, {16, 20}});
  CloseThenOpen(picture, 5);
  EXPECT_TRUE(SameBytes(picture, Bars(40, {{10, 20}})));
}

TEST(CloseThenOpen, RemovesASpeckAndKeepsAnAreaAtTheBorder) {
  cv::Mat picture = Bars(40, {{0, 12}, {30, 33}});
  CloseThenOpen(picture, 5);
  EXPECT_TRUE(SameBytes(picture, Bars(40, {{0, 12}})));
}

TEST(CloseThenOpen, RefusesASquareWithoutPixels) {
  cv::Mat picture = Bars(40, {{0, 12}});
  EXPECT_THROW(CloseThenOpen(picture, 0), cv::Exception);
}

}  // namespace
