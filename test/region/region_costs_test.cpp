// What a region costs: memory goes with what a file or caller gives, never with what it claims. All
// bytes are counted that the matrix library and the allocator of C++ hand out, freed or not, and so
// the bounds hold for time as well: work needs something to work on.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <climits>
#include <opencv2/imgproc.hpp>
#include <string>

#include "support/record_bytes.h"
#include "support/temp_dir.h"
#include "support/watched_memory.h"

namespace {

using dravix::test::BytesFor;
using dravix::test::Le;
using dravix::test::RecordHeader;
using dravix::test::TempDir;
using Corners = std::vector<cv::Point>;

constexpr std::ptrdiff_t kMebi = std::ptrdiff_t{1} << 20;

/// A region file's content: a frame, a rectangle, and a mask of 8 x 8 pixels.
std::string RecordOf(cv::Size frame, const cv::Rect& rect) {
  return "L" + Le<std::int32_t>(1) + Le(frame.width) + Le(frame.height) + Le(rect.x) + Le(rect.y) +
         Le(rect.width) + Le(rect.height) +
         RecordHeader{.rows = 8, .cols = 8, .type = CV_8UC1, .channels = 1}.Bytes() +
         std::string(64, '\xFF');
}

RegionOI RegionOf(const std::string& record) {
  RegionOI region;
  EXPECT_EQ(region.FromBuffer(record.data(), record.size()), DRAVIX_OK);
  return region;
}

TEST(RegionCosts, MatricesAndVectorsAreCounted) {
  EXPECT_GE(BytesFor([] { const cv::Mat mat(1024, 1024, CV_8UC1); }), kMebi);
  EXPECT_GE(BytesFor([] { const std::string text(static_cast<std::size_t>(kMebi), 'a'); }), kMebi);
}

TEST(RegionCosts, AFrameOf400MegapixelsIn109BytesIsNotSearched) {
  const std::string record = RecordOf({20000, 20000}, {9000, 9000, 8, 8});
  ASSERT_EQ(record.size(), 109U);
  RegionOI region;
  EXPECT_LT(BytesFor([&] { region.FromBuffer(record.data(), record.size()); }), kMebi / 16);
  Corners corners;
  EXPECT_LT(BytesFor([&] { EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS); }),
            4 * kMebi);
}

TEST(RegionCosts, CornersOfAMaskCostTheSameInAnyFrame) {
  const auto cost = [](cv::Size frame) {
    const cv::Point at(frame.width / 2, frame.height / 2);
    RegionOI region;
    EXPECT_EQ(region.ManualSet(frame, {at, at + cv::Point(300, 5), at + cv::Point(290, 310),
                                       at + cv::Point(4, 300)}),
              DRAVIX_OK);
    Corners corners;
    return BytesFor([&] { EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK); });
  };
  (void)cost({1280, 1280});  // a program's first search makes what all later ones share
  // Frames whose middle is a whole number of the search's steps.
  const std::ptrdiff_t small = cost({1280, 1280});
  EXPECT_EQ(cost({20480, 20480}), small);
  EXPECT_EQ(cost({INT_MAX / 1280 * 1280, 1280}), small);
  EXPECT_LT(small, 16 * kMebi);
}

TEST(RegionCosts, ARectangleThatItsMaskDoesNotFillIsRefusedBeforeAnythingIsMade) {
  for (const cv::Size size : {cv::Size(20000, 20000), cv::Size(8, 20000), cv::Size(1, 1)}) {
    const RegionOI region = RegionOf(RecordOf({20000, 20000}, {{}, size}));
    Corners corners = {{1, 2}};
    EXPECT_LT(BytesFor([&] { EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception); }),
              kMebi / 16);
    EXPECT_EQ(corners, (Corners{{1, 2}}));
  }
}

TEST(RegionCosts, ARefinementWindowThatDoesNotFitIsRefusedWithoutItsMargin) {
  RegionOI region;
  ASSERT_EQ(
      region.ManualSet({20000, 20000}, {{9000, 9000}, {9300, 9005}, {9290, 9310}, {9004, 9300}}),
      DRAVIX_OK);
  Corners corners;
  for (const int window : {9998, 20000, INT_MAX, 0, INT_MIN}) {
    region.cornerRefineWindow = window;
    EXPECT_LT(BytesFor([&] {
                EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception) << window;
              }),
              16 * kMebi)
        << window;
  }
}

TEST(RegionCosts, AnAreaSetByHandCostsItsRectangle) {
  RegionOI region;
  EXPECT_LT(BytesFor([&] {
              EXPECT_EQ(region.ManualSet(
                            {100000, 100000},
                            {{99000, 99000}, {99100, 99000}, {99100, 99100}, {99000, 99100}}),
                        DRAVIX_OK);
            }),
            kMebi / 16);
  const Corners anyOrder = {{100000, 7}, {3, 100000}, {5, 6}, {99999, 99999}};
  EXPECT_LT(BytesFor([&] {
              EXPECT_EQ(region.ManualSet({100000, 100000}, anyOrder), DRAVIX_CORNER_OUTSIDE);
              EXPECT_EQ(
                  region.ManualSet({100000, 100000}, {{1, 1}, {9, 2}, {99999, 3}, {2, 99999}}),
                  DRAVIX_NOT_FOUR_CORNERS);
            }),
            kMebi / 16);
}

TEST(RegionCosts, APerspectiveCostsItsTarget) {
  RegionOI region;
  constexpr int kFar = 2000000000;
  EXPECT_LT(
      BytesFor([&] {
        EXPECT_EQ(
            region.PerspectiveSet(
                {{kFar, kFar}, {kFar + 200, kFar}, {kFar + 200, kFar + 100}, {kFar, kFar + 100}}),
            DRAVIX_OK);
      }),
      kMebi);
}

TEST(RegionCosts, APictureCostsThePhotograph) {
  const TempDir dir;
  Shot shot;
  shot.type = CIE_Y;
  shot.image = cv::Mat(60, 80, CV_16UC1, cv::Scalar(1000));
  for (const cv::Rect& rect : {cv::Rect(10, 10, 8, 8), cv::Rect(0, 0, 20000, 20000),
                               cv::Rect(INT_MIN, INT_MIN, INT_MAX, INT_MAX)}) {
    const RegionOI region = RegionOf(RecordOf({20000, 20000}, rect));
    EXPECT_LT(
        BytesFor([&] { EXPECT_EQ(region.ExportImage(dir.File("check.png"), shot), DRAVIX_OK); }),
        kMebi)
        << rect;
  }
}

TEST(RegionCosts, ARecordIsWrittenAsLongAsItIs) {
  const RegionOI region = RegionOf(RecordOf({20000, 20000}, {0, 0, 20000, 20000}));
  std::size_t size = 0;
  EXPECT_LT(BytesFor([&] { EXPECT_EQ(region.GetBufferSize(&size), DRAVIX_OK); }), kMebi / 16);
  EXPECT_EQ(size, 109U);
}

}  // namespace
