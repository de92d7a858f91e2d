#include "extractor/stretched_columns.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/mats.h"

namespace dravix::extractor {
namespace {

using test::RandomMat;
using test::SameBytes;

/// Runs of random places and lengths within `height` rows.
std::vector<ColumnRun> RandomRuns(int columns, int height, cv::RNG& random) {
  std::vector<ColumnRun> runs;
  while (static_cast<int>(runs.size()) < columns) {
    const int length = random.uniform(1, height + 1);
    const ColumnRun run{random.uniform(0, height - length + 1), length};
    const int alike = random.uniform(1, 4);
    for (int i = 0; i < alike && static_cast<int>(runs.size()) < columns; ++i) runs.push_back(run);
  }
  return runs;
}

TEST(StretchedColumns, HaveTheBitsOfTheLibrarysInterpolation) {
  cv::RNG random(7);
  for (int i = 0; i < 200; ++i) {
    const int height = random.uniform(1, 40);
    const int rows = height + 1 + random.uniform(0, i % 10 == 0 ? 20000 : 300);
    const int type = i % 3 == 0 ? CV_8UC1 : i % 3 == 1 ? CV_16UC1 : CV_32FC1;
    const cv::Mat image =
        RandomMat({random.uniform(1, 30), height}, type, static_cast<std::uint64_t>(i), 0, 60000);
    const std::vector<ColumnRun> runs = RandomRuns(image.cols, height, random);
    const StretchedColumns columns(image, runs, rows);
    const cv::Mat expected = ResampleColumns(image, runs, rows);
    EXPECT_TRUE(SameBytes(columns.Strip({0, rows}), expected)) << "scene " << i;
    const int middle = random.uniform(0, rows);
    EXPECT_TRUE(SameBytes(columns.Strip({middle, rows}), expected.rowRange(middle, rows)));
  }
}

TEST(StretchedColumns, KeepValuesThatAreNotFiniteInTheirColumns) {
  cv::Mat image = RandomMat({5, 9}, CV_32FC1, 3, 0, 1000);
  image.at<float>(4, 2) = std::numeric_limits<float>::infinity();
  image.at<float>(8, 3) = -0.0F;
  const std::vector<ColumnRun> runs(5, ColumnRun{0, 9});
  const StretchedColumns columns(image, runs, 100);
  EXPECT_TRUE(SameBytes(columns.Strip({0, 100}), ResampleColumns(image, runs, 100)));
}

TEST(StretchedColumns, RefuseRunsThatAreEmptyOrLongOrLeaveTheImage) {
  const cv::Mat image(4, 1, CV_16UC1, cv::Scalar(1));
  for (const ColumnRun run :
       {ColumnRun{0, 0}, ColumnRun{0, 9}, ColumnRun{2, 3}, ColumnRun{-1, 2}}) {
    EXPECT_THROW(StretchedColumns(image, {run}, 9), cv::Exception);
  }
}

TEST(ForEachStrip, GivesAllRowsFromTheTopInPiecesOfAFewMegabytes) {
  const cv::Mat image = RandomMat({100, 30}, CV_16UC1, 1, 0, 60000);
  const std::vector<ColumnRun> runs(100, ColumnRun{0, 30});
  constexpr int kRows = 50000;
  const cv::Mat expected = ResampleColumns(image, runs, kRows);
  int next = 0;
  int strips = 0;
  ForEachStrip(image, runs, kRows, [&](int first, const cv::Mat& strip) {
    ASSERT_EQ(first, next);
    EXPECT_LE(strip.total() * strip.elemSize(), std::size_t{4} << 20);
    EXPECT_TRUE(SameBytes(strip, expected.rowRange(first, first + strip.rows)));
    next += strip.rows;
    ++strips;
  });
  EXPECT_EQ(next, kRows);
  EXPECT_EQ(strips, 5);
}

TEST(ForEachStrip, GivesOneStripWhereThePixelsSuffice) {
  const cv::Mat image = RandomMat({10, 30}, CV_16UC1, 1, 0, 60000);
  const std::vector<ColumnRun> runs(10, ColumnRun{5, 20});
  for (const int rows : {1, 20, 30}) {
    int strips = 0;
    ForEachStrip(image, runs, rows, [&](int first, const cv::Mat& strip) {
      EXPECT_EQ(first, 0);
      EXPECT_TRUE(SameBytes(strip, ResampleColumns(image, runs, rows)));
      ++strips;
    });
    EXPECT_EQ(strips, 1);
  }
}

}  // namespace
}  // namespace dravix::extractor
