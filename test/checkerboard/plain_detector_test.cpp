// The detector against the same steps done plainly, on random boards.
#include "reference/plain_detector.h"

#include <gtest/gtest.h>

#include "checkerboard/checkerboard.h"
#include "checkerboard/random_boards.h"
#include "kernels/each_target.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

void ExpectSameDetection(const CheckerboardDetector& actual, const CheckerboardDetector& expected) {
  EXPECT_TRUE(SameBytes(actual.mask, expected.mask));
  EXPECT_TRUE(SameBytes(actual.rectified, expected.rectified));
  EXPECT_EQ(actual.cells, expected.cells);
  EXPECT_EQ(actual.cellIndex, expected.cellIndex);
  EXPECT_EQ(actual.contourRectangles, expected.contourRectangles);
  EXPECT_EQ(actual.inferredFrom, expected.inferredFrom);
  EXPECT_EQ(actual.outlineExcess.left, expected.outlineExcess.left);
  EXPECT_EQ(actual.outlineExcess.right, expected.outlineExcess.right);
  EXPECT_EQ(actual.outlineExcess.top, expected.outlineExcess.top);
  EXPECT_EQ(actual.outlineExcess.bottom, expected.outlineExcess.bottom);
  ASSERT_EQ(actual.rejected.size(), expected.rejected.size());
  for (std::size_t i = 0; i < expected.rejected.size(); ++i) {
    EXPECT_EQ(actual.rejected[i].rect, expected.rejected[i].rect);
    EXPECT_STREQ(actual.rejected[i].reason, expected.rejected[i].reason);
  }
}

class RandomBoards : public testing::TestWithParam<int> {
 protected:
  /// Calls check(seed, board) for ten boards a case, 120 in all, with 1 to 4 threads.
  template <class Check>
  void ForEach(Check&& check) const {
    const int threads = cv::getNumThreads();
    for (int i = 0; i < 10; ++i) {
      const auto seed = static_cast<std::uint64_t>(GetParam() * 10 + i);
      SCOPED_TRACE(testing::Message() << "board " << seed);
      cv::setNumThreads(static_cast<int>(seed % 4) + 1);
      check(RandomBoard(seed));
    }
    cv::setNumThreads(threads);
  }
};

TEST_P(RandomBoards, AreDetectedAsThePlainDetectorDoesOnEveryTarget) {
  ForEach([](const RandomBoard& board) {
    CheckerboardDetector expected = board.Prepared();
    const std::int32_t code = reference::Detect(expected);
    CheckerboardDetector whole = board.Prepared();
    whole.byRows = false;
    EXPECT_EQ(whole.checkborderPrision(), code);
    ExpectSameDetection(whole, expected);
    CheckerboardDetector unseen = board.Prepared();
    unseen.keepsRectified = false;
    EXPECT_EQ(unseen.checkborderPrision(), code);
    EXPECT_TRUE(unseen.rectified.empty());
    unseen.rectified = expected.rectified;
    ExpectSameDetection(unseen, expected);
    OnEachTarget([&] {
      CheckerboardDetector actual = board.Prepared();
      actual.byRows = true;
      EXPECT_EQ(actual.checkborderPrision(), code);
      ExpectSameDetection(actual, expected);
    });
  });
}

struct Measured {
  Measured(const RandomBoard& board, ExtractBy by) {
    const LogCapture log;
    dravix.extractBy = by;
    code = board.Measure(dravix);
    errors = log.Errors();
  }
  Dravix dravix;
  std::int32_t code = 0;
  std::vector<std::string> errors;
};

TEST_P(RandomBoards, AreMeasuredByRowsAsThroughTheWholeImage) {
  ForEach([](const RandomBoard& board) {
    const Measured whole(board, ExtractBy::kWholeImage);
    OnEachTarget([&] {
      const Measured rows(board, ExtractBy::kRows);
      EXPECT_EQ(rows.code, whole.code);
      EXPECT_EQ(rows.errors, whole.errors);
      EXPECT_TRUE(SameBytes(rows.dravix.lum, whole.dravix.lum));
      EXPECT_TRUE(SameBytes(rows.dravix.resultImage, whole.dravix.resultImage));
    });
  });
}

INSTANTIATE_TEST_SUITE_P(Tens, RandomBoards, testing::Range(0, 12));

TEST(RandomBoards, EndInEveryWay) {
  int found = 0;
  int noGrid = 0;
  int noArea = 0;
  for (std::uint64_t seed = 0; seed < 120; ++seed) {
    const RandomBoard board(seed);
    CheckerboardDetector detector = board.Prepared();
    const std::int32_t code = detector.checkborderPrision();
    found += code == 0 ? 1 : 0;
    noArea += code == 200 ? 1 : 0;
    noGrid += code == 300 ? 1 : 0;
  }
  EXPECT_GT(found, 60);
  EXPECT_GT(noArea, 2);
  EXPECT_GT(noGrid, 5);
}

}  // namespace
}  // namespace dravix::test
