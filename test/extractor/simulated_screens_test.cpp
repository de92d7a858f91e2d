#include <gtest/gtest.h>

#include "extractor/extractor.h"
#include "reference/plain_transcription.h"
#include "sim/catalogue.h"
#include "sim/render.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

class SimulatedScreen : public testing::TestWithParam<int> {};

// Ten screens a case: 40 in all, as a 12-bit camera sees them.
TEST_P(SimulatedScreen, EqualsThePlainTranscriptionBitForBit) {
  const std::vector<sim::Scene> scenes = sim::LuminanceScenes();
  ASSERT_EQ(scenes.size(), 40U);
  for (std::size_t i = 0; i < 10; ++i) {
    const sim::Scene& scene = scenes[static_cast<std::size_t>(GetParam()) * 10 + i];
    const sim::Photograph photo = sim::Render(scene);
    const reference::Panel panel{scene.screen.ledWidth, scene.screen.ledHeight, -1, {}};
    const std::optional<cv::Mat> expected = reference::Extract(
        photo.shot.image, photo.truth.cornerPixels, photo.shot.device->cam_type, panel);
    Dravix dravix;
    ASSERT_EQ(dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0), 0) << scene.name;
    ASSERT_TRUE(expected.has_value()) << scene.name;
    EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << scene.name;
  }
}
INSTANTIATE_TEST_SUITE_P(Tens, SimulatedScreen, testing::Range(0, 4));

TEST(SimulatedScreens, EvenScreenIsMeasuredEven) {
  sim::Scene scene;
  scene.name = "even";
  const sim::Photograph photo = sim::Render(scene);
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0), 0);
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(dravix.lum, mean, deviation);
  EXPECT_NEAR(mean[0], photo.truth.blackLevel + photo.truth.samplesPerLuminance,
              0.03 * photo.truth.samplesPerLuminance);
  EXPECT_LT(deviation[0] / mean[0], 0.006);
}

}  // namespace
}  // namespace dravix::test
