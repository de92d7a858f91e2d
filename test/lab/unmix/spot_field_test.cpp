#include "lab/unmix/model/spot_field.h"

#include <gtest/gtest.h>

namespace dravix::lab::unmix {
namespace {

Grid SomeGrid() { return {{cv::Point2d(0, 0), {320, 0}, {320, 240}, {0, 240}}, {40, 30}}; }

TEST(SpotField, MeanGrowthIsOneAndTermsChangeIt) {
  const Grid grid = SomeGrid();
  SpotField field;
  EXPECT_TRUE(field.IsConstant());
  EXPECT_EQ(field.GrowthAt(grid, 3, 20), 1.0);
  field.terms = {0.05, 0.02, -0.1, 0.01, 0.04};
  EXPECT_FALSE(field.IsConstant());
  double sum = 0;
  for (int y = 0; y < 300; ++y) {
    for (int x = 0; x < 400; ++x) sum += field.GrowthAt(grid, (x + 0.5) / 10, (y + 0.5) / 10);
  }
  EXPECT_NEAR(sum / 120000, 1.0, 1e-5);
  EXPECT_NE(field.GrowthAt(grid, 0, 0), field.GrowthAt(grid, 40, 0));
}

TEST(SpotField, AGrownSpotIsWiderInAllItsParts) {
  const SpotShape shape{9.0, 16.0};
  const SpotShape grown = Grown(shape, 1.5);
  EXPECT_NEAR(grown.Radius(), 1.5 * shape.Radius(), 1e-12);
  EXPECT_NEAR(grown.Sigma(), 1.5 * shape.Sigma(), 1e-12);
}

TEST(SpotField, AFamilyHasASpotForEachLed) {
  const Grid grid = SomeGrid();
  const SpotShape shape{9.0, 16.0};
  EXPECT_EQ(FamilyOf(shape, 2.4, {}, grid).models.size(), 1U);
  SpotField field;
  field.terms[1] = 0.1;  // down the screen, of degree 2
  const SpotFamily family = FamilyOf(shape, 2.4, field, grid);
  const auto count = static_cast<float>(family.models.size());
  ASSERT_GT(count, 2.0F);
  double least = 0;
  double most = 0;
  cv::minMaxLoc(family.positions, &least, &most);
  EXPECT_NEAR(least, 0, 1e-4);
  EXPECT_NEAR(most, count - 1, 1e-4);
  EXPECT_GT(family.positions(0, 5), family.positions(15, 5));
}

TEST(SpotField, ALedLiesBetweenTwoModels) {
  EXPECT_EQ(BetweenOf(3.0F, 1).first, 0U);
  EXPECT_EQ(BetweenOf(3.0F, 1).share, 0.0F);
  EXPECT_EQ(BetweenOf(1.25F, 4).first, 1U);
  EXPECT_FLOAT_EQ(BetweenOf(1.25F, 4).share, 0.25F);
  EXPECT_EQ(BetweenOf(3.0F, 4).first, 2U);
  EXPECT_FLOAT_EQ(BetweenOf(3.0F, 4).share, 1.0F);
}

}  // namespace
}  // namespace dravix::lab::unmix
