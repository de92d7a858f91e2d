#include "lab/unmix/model/spot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace dravix::lab::unmix {
namespace {

struct Moments {
  double sum = 0, variance = 0;
};

/// Of the spot whose center lies on a pixel.
Moments MomentsOf(const SpotTable& table) {
  const float* values = table.At(0, 0);
  Moments m;
  double middle = 0;
  for (int y = 0; y < table.Side(); ++y) {
    for (int x = 0; x < table.Side(); ++x) {
      const auto value = static_cast<double>(values[y * table.Stride() + x]);
      const double off = x - table.Radius();
      m.sum += value;
      middle += value * off;
      m.variance += value * off * off;
    }
  }
  m.variance -= middle * middle;
  return m;
}

constexpr double kEmitter = 2.4;
/// Of emitter and pixel.
constexpr double kSquares = (kEmitter * kEmitter + 1.0) / 12.0;

TEST(Spot, SumsToOneAndHasTheVarianceOfItsParts) {
  for (const SpotShape shape : {SpotShape{9.0, 0.0}, SpotShape{9.0, 81.0}, SpotShape{9.0, 20.0}}) {
    const Moments m = MomentsOf(SpotModel(shape, kEmitter).Spot());
    EXPECT_NEAR(m.sum, 1.0, 2e-3);
    EXPECT_NEAR(m.variance, 9.0 + kSquares, 0.12);
  }
}

TEST(Spot, ADiskEndsAtItsRadius) {
  const SpotShape disk{4.0, 16.0};
  EXPECT_DOUBLE_EQ(disk.Radius(), 4.0);
  EXPECT_DOUBLE_EQ(disk.Sigma(), 0.0);
  const SpotTable table = SpotModel(disk, kEmitter).Spot();
  const float* middleRow = table.At(0, 0) + table.Radius() * table.Stride();
  const double inside = 1.0 / (3.14159265 * 16.0);
  EXPECT_NEAR(middleRow[table.Radius()], inside, 0.01 * inside);
  EXPECT_NEAR(middleRow[table.Radius() + 7], 0.0, 0.01 * inside);
}

TEST(Spot, DerivativesAreTheDifferencesOfNearbySpots) {
  const SpotShape shape{6.0, 12.0};
  const SpotModel model(shape, kEmitter);
  const SpotModel::Derivatives derivatives = model.SpotDerivatives();
  constexpr double kStep = 0.05;
  const SpotTable wider = SpotModel({6.0 + kStep, 12.0}, kEmitter).Spot();
  const SpotTable here = model.Spot();
  ASSERT_EQ(wider.Radius(), here.Radius());
  for (int i = 0; i < here.Side() * here.Stride(); ++i) {
    const double change = (static_cast<double>(wider.At(3, 5)[i]) - here.At(3, 5)[i]) / kStep;
    EXPECT_NEAR(derivatives.variance.At(3, 5)[i], change, 1e-4);
  }
  // One phase is a move of the center by one step to the left.
  const double perStep = 1.0 / here.Steps();
  for (int i = 0; i < here.Side() * here.Stride(); ++i) {
    const double change =
        (static_cast<double>(here.At(4, 5)[i]) - here.At(2, 5)[i]) / (2 * perStep);
    EXPECT_NEAR(derivatives.x.At(3, 5)[i], -change, 1e-5);
  }
}

TEST(Spot, OverlapIsTheSumOfProducts) {
  const SpotModel model({6.0, 12.0}, kEmitter);
  const SpotTable table = model.Spot();
  const float* spot = table.At(0, 0);
  const int shift = 3;
  double products = 0;
  for (int y = 0; y < table.Side(); ++y) {
    for (int x = 0; x + shift < table.Side(); ++x) {
      const float* at = spot + y * table.Stride() + x;
      products += static_cast<double>(at[0]) * static_cast<double>(at[shift]);
    }
  }
  EXPECT_NEAR(model.Overlap().At(shift, 0) / products, 1.0, 1e-3);
}

TEST(Spot, AllLightFallsOnSomeCell) {
  const SpotModel model({6.0, 12.0}, kEmitter);
  EXPECT_NEAR(cv::sum(model.CellResponse(8.0))[0], 1.0, 2e-3);
}

TEST(Spot, APhaseIsThePlaceBehindTheNextPixel) {
  const Phase phase = PhaseOf(4.75, 8);
  EXPECT_EQ(phase.pixel, 5);
  EXPECT_EQ(phase.first, 2);
  EXPECT_FLOAT_EQ(phase.share, 0.0F);
  EXPECT_EQ(PhaseOf(4.0, 8).pixel, 4);
  EXPECT_EQ(PhaseOf(4.0 + 1e-12, 8).first, 7);
}

}  // namespace
}  // namespace dravix::lab::unmix
