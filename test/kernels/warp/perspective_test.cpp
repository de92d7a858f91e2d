#include "kernels/warp/perspective.h"

#include <gtest/gtest.h>

#include <limits>

namespace dravix::kernels {
namespace {

const cv::Size kSize{400, 300};

bool HasPositions(const cv::Matx33d& workingFromPhoto) {
  return Perspective::Of(cv::Mat(workingFromPhoto), kSize).has_value();
}

TEST(Perspective, OfAnOrdinaryViewHasPositions) {
  EXPECT_TRUE(HasPositions({1, 0.1, -5, -0.1, 1, 7, 1e-5, 2e-5, 1}));
}

TEST(Perspective, OfPlacesBeyond32BitsHasNone) {
  EXPECT_TRUE(HasPositions({1e-3, 0, 0, 0, 1e-3, 0, 0, 0, 1}));
  EXPECT_FALSE(HasPositions({1e-9, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_FALSE(HasPositions({1, 0, 0, 0, 1e-9, 0, 0, 0, 1}));
}

TEST(Perspective, WithAHorizonInTheWorkingImageHasNone) {
  EXPECT_FALSE(HasPositions({1, 0, 0, 0, 1, 0, 1.0 / 200, 0, 1}));
}

TEST(Perspective, OfWhatIsNoNumberHasNone) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(HasPositions({1, 0, 0, 0, kNaN, 0, 0, 0, 1}));
  EXPECT_FALSE(HasPositions({1, 0, kInfinity, 0, 1, 0, 0, 0, 1}));
  EXPECT_FALSE(HasPositions({1e-300, 0, 0, 0, 1e-300, 0, 0, 0, 1}));
}

}  // namespace
}  // namespace dravix::kernels
