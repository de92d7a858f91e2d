/// How close the region comes to the true outline of simulated screens.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "sim/catalogue.h"
#include "sim/render.h"
#include "support/log_capture.h"

namespace {

using dravix::sim::Photograph;
using dravix::sim::RmsError;

double Rms(const std::vector<double>& errors) {
  double sum = 0;
  for (const double error : errors) sum += error * error;
  return std::sqrt(sum / static_cast<double>(errors.size()));
}

double Worst(const std::vector<double>& errors) {
  return *std::max_element(errors.begin(), errors.end());
}

/// Plain scenes, photographed once for all tests.
class RegionAccuracy : public ::testing::Test {
 protected:
  struct Named {
    std::string name;
    Photograph photo;
  };

  static void SetUpTestSuite() {
    constexpr int kScenes = 20;
    for (const dravix::sim::Scene& scene : dravix::sim::PlainScenes(kScenes)) {
      photos_.push_back({scene.name, dravix::sim::Render(scene)});
    }
  }
  static void TearDownTestSuite() { photos_.clear(); }

  using Method = std::function<std::int32_t(RegionOI&, const Photograph&)>;

  /// Errors in pixels, one of each scene; a scene without corners fails the test.
  static std::vector<double> Errors(const Method& method) {
    const dravix::test::LogCapture log;
    std::vector<double> errors;
    for (const auto& [name, photo] : photos_) {
      RegionOI region;
      std::vector<cv::Point> corners;
      EXPECT_EQ(region.SetShot(&photo.shot), DRAVIX_OK);
      EXPECT_EQ(method(region, photo), 0) << name;
      const std::int32_t code = region.GetPrecision4Corner(corners);
      EXPECT_EQ(code, DRAVIX_OK) << name;
      if (code == DRAVIX_OK) errors.push_back(RmsError(corners, photo.truth.corners));
    }
    return errors;
  }

  static inline std::vector<Named> photos_;
};

TEST_F(RegionAccuracy, CornersAfterManualSetAreWithinTwoPixelsOnEveryScene) {
  const std::vector<double> errors = Errors([](RegionOI& region, const Photograph& photo) {
    return region.ManualSet(photo.shot.image.size(), photo.truth.cornerPixels);
  });
  EXPECT_LT(Worst(errors), 2.0);
  EXPECT_LT(Rms(errors), 1.1);
}

TEST_F(RegionAccuracy, CornersAfterComputeBlurAreWithinTwoPixels) {
  const std::vector<double> errors =
      Errors([](RegionOI& region, const Photograph&) { return region.ComputeBlur(); });
  EXPECT_LT(Rms(errors), 2.0);
  EXPECT_LT(Worst(errors), 3.5);  // dead LEDs in a corner, edges bent by the lens
}

TEST_F(RegionAccuracy, CornersAfterAutoSetLieOutsideByItsDilation) {
  const std::vector<double> errors =
      Errors([](RegionOI& region, const Photograph&) { return region.AutoSet(); });
  // The mask is grown by three pixels of the halved image, six of the photograph, to each side.
  EXPECT_LT(Rms(errors), 6.0);
  EXPECT_LT(Worst(errors), 8.0);
}

}  // namespace
