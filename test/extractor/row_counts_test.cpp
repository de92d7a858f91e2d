#include <gtest/gtest.h>

#include <limits>

#include "extractor/extractor.h"
#include "reference/plain_transcription.h"
#include "support/log_capture.h"

namespace dravix::test {
namespace {

using Table = std::vector<std::int32_t>;

Dravix Panel(int ledWidth, int ledHeight) {
  Dravix dravix;
  dravix.ledWidth = ledWidth;
  dravix.ledHeight = ledHeight;
  return dravix;
}

TEST(RowCounts, FourGroupsOfSixteenRowsAreInterpolated) {
  Dravix dravix = Panel(100, 64);
  ASSERT_EQ(dravix.GetRowLedNums(40, 90, 16), DRAVIX_OK);
  EXPECT_EQ(dravix.rowLedNums, (Table{40, 57, 73, 90}));
  EXPECT_EQ(dravix.rowGroup, 16);
}

TEST(RowCounts, FallingStepsRoundTowardTheLargerValue) {
  Dravix dravix = Panel(100, 4);
  ASSERT_EQ(dravix.GetRowLedNums(90, 82, 1),
            DRAVIX_OK);  // steps of -2.67: -2.17 and -4.83 are truncated
  EXPECT_EQ(dravix.rowLedNums, (Table{90, 88, 86, 83}));
}

TEST(RowCounts, EqualTheFormulaForManyTables) {
  for (int height = 1; height < 40; ++height) {
    for (int group = 1; group <= height + 2; ++group) {
      Dravix dravix = Panel(500, height);
      const int top = 3 * height + group;
      const int bottom = 400 - 7 * group;
      ASSERT_EQ(dravix.GetRowLedNums(top, bottom, group), DRAVIX_OK);
      EXPECT_EQ(dravix.rowLedNums, reference::RowLedNums(top, bottom, group, height));
    }
  }
}

TEST(RowCounts, SingleGroupHoldsTheTopRow) {
  Dravix dravix = Panel(100, 16);
  ASSERT_EQ(dravix.GetRowLedNums(40, 90, 16), DRAVIX_OK);
  EXPECT_EQ(dravix.rowLedNums, Table{40});
  ASSERT_EQ(dravix.GetRowLedNums(41, 90, 99), DRAVIX_OK);
  EXPECT_EQ(dravix.rowLedNums, Table{41});
}

TEST(RowCounts, CountsUpToTheWidthAreAccepted) {
  Dravix dravix = Panel(100, 16);
  EXPECT_EQ(dravix.GetRowLedNums(100, 100, 4), DRAVIX_OK);
}

TEST(RowCounts, CountAboveTheWidthIsRefusedAndTheTableStays) {
  for (const auto& [top, bottom] : {std::pair(101, 50), std::pair(50, 101)}) {
    Dravix dravix = Panel(100, 16);
    ASSERT_EQ(dravix.GetRowLedNums(40, 90, 4), DRAVIX_OK);
    const Table before = dravix.rowLedNums;
    const LogCapture log;
    EXPECT_EQ(dravix.GetRowLedNums(top, bottom, 8), DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors(),
              std::vector<std::string>{"Dravix::GetRowLedNums -- topLedNum or bottomLedNum is "
                                       "greater than led width."});
    EXPECT_EQ(dravix.rowLedNums, before);
    EXPECT_EQ(dravix.rowGroup, 4);
  }
}

TEST(RowCounts, StayInTheirRangeWhereSinglePrecisionRoundsBeyondIt) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  Dravix dravix = Panel(kMost, 2);
  ASSERT_EQ(dravix.GetRowLedNums(1, kMost, 1), DRAVIX_OK);  // a difference that rounds to 2^31
  EXPECT_EQ(dravix.rowLedNums, (Table{1, kMost}));
}

TEST(RowCounts, GroupBelowOneIsRefusedAndTheTableStays) {
  for (const int group : {0, -1, -2147483647 - 1}) {
    Dravix dravix = Panel(100, 16);
    const LogCapture log;
    EXPECT_EQ(dravix.GetRowLedNums(40, 90, group), DRAVIX_BAD_ARGUMENT);
    EXPECT_EQ(log.Errors().size(), 1U);
    EXPECT_TRUE(dravix.rowLedNums.empty());
  }
}

TEST(RowCounts, PanelWithoutRowsHasAnEmptyTable) {
  Dravix dravix = Panel(100, 0);
  EXPECT_EQ(dravix.GetRowLedNums(40, 90, 4), DRAVIX_OK);
  EXPECT_TRUE(dravix.rowLedNums.empty());
}

}  // namespace
}  // namespace dravix::test
