#include "sim/kernel.h"

#include <gtest/gtest.h>

#include <cmath>

namespace dravix::sim {
namespace {

struct Moments {
  double sum = 0, x = 0, y = 0, xx = 0;
};

Moments MomentsOf(const SpotKernel& kernel, int stepX, int stepY) {
  Moments m;
  const float* w = kernel.At(stepX, stepY);
  for (int y = -kernel.Radius(); y <= kernel.Radius(); ++y) {
    for (int x = -kernel.Radius(); x <= kernel.Radius(); ++x) {
      const double weight = *w++;
      m.sum += weight;
      m.x += weight * x;
      m.y += weight * y;
      m.xx += weight * x * x;
    }
  }
  m.xx -= m.x * m.x;
  return m;
}

TEST(SpotKernel, EverySpotHasAllItsLightAndIsCenteredAtItsPlace) {
  for (const Defocus defocus : {Defocus::kDisk, Defocus::kGaussian}) {
    for (const double blur : {0.0, 0.7, 4.0, 18.0, 60.0}) {
      // The sharper the spot, the less whole pixels show where inside a pixel its center lies.
      const double tolerance = blur > 1 ? 1e-3 : (blur > 0 ? 4e-3 : 0.03);
      const SpotKernel kernel(3.3, defocus, blur);
      for (int step = 0; step < kernel.Steps(); step += 3) {
        const int other = kernel.Steps() - 1 - step;
        const Moments m = MomentsOf(kernel, step, other);
        EXPECT_NEAR(m.sum, 1, 1e-4);
        EXPECT_NEAR(m.x, static_cast<double>(step) / kernel.Steps() - 0.5, tolerance) << blur;
        EXPECT_NEAR(m.y, static_cast<double>(other) / kernel.Steps() - 0.5, tolerance) << blur;
      }
    }
  }
}

TEST(SpotKernel, TheVariancesOfEmitterLensAndPixelAddUp) {
  const double emitter = 3.0;
  const double boxes = (emitter * emitter + 1) / 12;  // variances of emitter and pixel
  const SpotKernel gaussian(emitter, Defocus::kGaussian, 2.5);
  EXPECT_NEAR(MomentsOf(gaussian, 0, 0).xx, boxes + 2.5 * 2.5, 0.06);
  const SpotKernel disk(emitter, Defocus::kDisk, 5.0);
  EXPECT_NEAR(MomentsOf(disk, 0, 0).xx, boxes + 5.0 * 5.0 / 4, 0.06);
}

TEST(SpotKernel, ADiskEndsAtItsRadius) {
  const SpotKernel kernel(1.0, Defocus::kDisk, 6.0);
  const int middle = kernel.Steps() / 2;
  const float* row = kernel.At(middle, middle) + kernel.Radius() * kernel.Side();
  EXPECT_GT(row[kernel.Radius() + 5], 0.9F * row[kernel.Radius()]);
  EXPECT_EQ(row[kernel.Radius() + 8], 0.0F);
}

}  // namespace
}  // namespace dravix::sim
