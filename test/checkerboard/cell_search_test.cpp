#include "checkerboard/cell_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

using ::testing::UnorderedElementsAreArray;

/// Four by three blocks of 30 pixels, the first one at (50, 50) and lit.
struct Picture {
  Picture() {
    mask(cv::Rect(50, 50, 120, 90)).setTo(255);
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 4; ++c) {
        const cv::Rect block(50 + 30 * c, 50 + 30 * r, 30, 30);
        ((r + c) % 2 == 0 ? litBlocks : darkBlocks).push_back(block);
        if ((r + c) % 2 == 0) lit(block).setTo(255);
      }
    }
  }
  cv::Mat lit = cv::Mat::zeros(200, 230, CV_8UC1);
  cv::Mat mask = cv::Mat::zeros(200, 230, CV_8UC1);
  std::vector<cv::Rect> litBlocks;
  std::vector<cv::Rect> darkBlocks;
};

std::vector<FoundBlocks> SearchCells(const cv::Mat& lit, const cv::Mat& mask,
                                     const SearchParams& params) {
  CellSearch search(kernels::BitsOf(lit), kernels::BitsOf(mask), params);
  std::vector<FoundBlocks> searches;
  for (int i = 0; i < CellSearch::kSearches; ++i) searches.push_back(search.Next());
  return searches;
}

TEST(CellSearch, SeparatesBlocksThatTouchAtCornersAndGivesThemTheirSizeBack) {
  const Picture picture;
  const auto searches = SearchCells(picture.lit, picture.mask, {5, 68, 2000});
  ASSERT_EQ(searches.size(), 3U);
  for (const FoundBlocks& found : searches) {
    EXPECT_THAT(found.dark, UnorderedElementsAreArray(picture.darkBlocks));
    EXPECT_EQ(found.lit.size(), picture.litBlocks.size());
    EXPECT_TRUE(found.rejected.empty());
  }
  // A lit block at the border of the screen gets its own size back, too.
  EXPECT_EQ(searches[0].lit.size(), 6U);
  EXPECT_NE(std::find(searches[0].lit.begin(), searches[0].lit.end(), cv::Rect(110, 50, 30, 30)),
            searches[0].lit.end());
}

TEST(CellSearch, RejectsWhatIsTooSmallOrTooLargeAndSaysSo) {
  const Picture picture;
  for (const FoundBlocks& found : SearchCells(picture.lit, picture.mask, {5, 1e6, 1e9})) {
    EXPECT_TRUE(found.lit.empty());
    EXPECT_EQ(found.rejected.size(), 12U);
    EXPECT_STREQ(found.rejected[0].reason, "too small");
  }
  const auto searches = SearchCells(picture.lit, picture.mask, {5, 1, 30});
  EXPECT_STREQ(searches[0].rejected[0].reason, "too large");
}

TEST(CellSearch, RejectsBlocksThatHangTogetherAsNoRectangle) {
  Picture picture;
  for (const int r : {0, 1}) picture.lit(cv::Rect(65 + 30 * r, 65 + 30 * r, 30, 30)).setTo(255);
  const auto searches = SearchCells(picture.lit, picture.mask, {3, 68, 1e6});
  const auto& rejected = searches[0].rejected;
  EXPECT_TRUE(std::any_of(rejected.begin(), rejected.end(),
                          [](const auto& r) { return std::string(r.reason) == "no rectangle"; }));
}

TEST(CellSearch, LooksOnlyInsideTheMask) {
  Picture picture;
  picture.lit(cv::Rect(190, 50, 30, 30)).setTo(255);
  const auto searches = SearchCells(picture.lit, picture.mask, {5, 68, 2000});
  EXPECT_EQ(searches[0].lit.size(), 6U);
}

TEST(CellSearch, FindsNothingInAnEmptyMask) {
  const Picture picture;
  const cv::Mat none = cv::Mat::zeros(picture.lit.size(), CV_8UC1);
  for (const FoundBlocks& found : SearchCells(picture.lit, none, {5, 68, 2000})) {
    EXPECT_TRUE(found.lit.empty());
    EXPECT_TRUE(found.dark.empty());
  }
}

}  // namespace
}  // namespace dravix::checkerboard
