// Whole photographs, measured by rows and as a whole, against the plain transcription.
#include <dravix/region.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "extractor/scenes.h"
#include "kernels/each_target.h"
#include "kernels/warp/cubic_warp.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

struct Scene {
  cv::Mat photo;
  std::vector<cv::Point> corners;
  int camType = 0;  ///< 0: a shot without a device
  reference::Panel panel;
  int top = 0;  ///< LEDs of the top row; 0: no row table
};

/// A lit quadrilateral turned by up to 30 degrees and seen at an angle, with noise and a pattern of
/// LEDs.
cv::Mat LitQuad(cv::RNG& random, cv::Size size, int high, std::vector<cv::Point>& corners) {
  const double angle = random.uniform(-0.52, 0.52) * (random.uniform(0, 3) == 0 ? 1.0 : 0.2);
  const double share = random.uniform(0.4, 0.75);
  const cv::Point2d middle(size.width * random.uniform(0.42, 0.58),
                           size.height * random.uniform(0.42, 0.58));
  const std::array<cv::Point2d, 4> unit{{{-0.5, -0.5}, {0.5, -0.5}, {0.5, 0.5}, {-0.5, 0.5}}};
  corners.clear();
  for (const cv::Point2d& u : unit) {
    const double x = u.x * size.width * share * random.uniform(0.85, 1.0);
    const double y = u.y * size.height * share * random.uniform(0.85, 1.0);
    corners.emplace_back(cvRound(middle.x + x * std::cos(angle) - y * std::sin(angle)),
                         cvRound(middle.y + x * std::sin(angle) + y * std::cos(angle)));
  }
  cv::Mat photo = RandomMat(size, CV_16UC1, random.next(), 0, high / 40.0);
  cv::Mat lit = cv::Mat::zeros(size, CV_8UC1);
  cv::fillConvexPoly(lit, corners, 255);
  const cv::Mat bright = RandomMat(size, CV_16UC1, random.next(), high * 0.5, high * 0.9);
  bright.copyTo(photo, lit);
  if (random.uniform(0, 2) == 0) {
    const int pitch = Between(random, 3, 6);
    for (int y = 0; y < size.height; y += pitch) photo.row(y) *= 0.7;
    for (int x = 0; x < size.width; x += pitch) photo.col(x) *= 0.7;
  }
  return photo;
}

/// Further light beside the area, or dark spots in it that the closing leaves.
void AddTrouble(cv::RNG& random, int high, cv::Mat& photo) {
  const auto place = [&] {
    return cv::Point(random.uniform(0, photo.cols), random.uniform(0, photo.rows));
  };
  for (int i = Between(random, 1, 3); i > 0; --i) {
    cv::circle(photo, place(), Between(random, 6, 30), random.uniform(0, 2) == 0 ? 0.0 : high * 0.8,
               cv::FILLED);
  }
}

Scene MakeScene(std::uint64_t seed) {
  cv::RNG random(seed * 48271 + 11);
  Scene scene;
  const int bits = std::array<int, 3>{8, 12, 16}.at(static_cast<std::size_t>(random.uniform(0, 3)));
  const int high = (1 << bits) - 1;
  const cv::Size size(Between(random, 64, 420), Between(random, 64, 420));
  do {
    scene.photo = LitQuad(random, size, high, scene.corners);
  } while (OrderCorners(scene.corners).empty());  // turned too far to have two above and two below
  if (random.uniform(0, 3) == 0) AddTrouble(random, high, scene.photo);
  if (random.uniform(0, 6) == 0) {  // the area leaves the frame
    const cv::Rect kept(size.width / 3, 0, size.width - size.width / 3, size.height);
    scene.photo = scene.photo(kept).clone();
    for (cv::Point& corner : scene.corners) corner.x -= kept.x;
  }
  switch (random.uniform(0, 8)) {
    case 0:
      scene.photo.convertTo(scene.photo, CV_8U, 255.0 / high);
      break;
    case 1:
      scene.photo.convertTo(scene.photo, CV_32F, 1.01);
      break;
    case 2:
      cv::merge(std::vector<cv::Mat>(3, scene.photo), scene.photo);
      break;
    default:
      break;
  }
  scene.camType =
      random.uniform(0, 10) == 0 ? 0 : 120000 + (scene.photo.depth() == CV_8U ? 8 : bits);
  scene.panel.ledWidth = Between(random, 9, random.uniform(0, 5) == 0 ? 500 : 90);
  scene.panel.ledHeight = Between(random, 9, random.uniform(0, 5) == 0 ? 500 : 70);
  scene.panel.rowGroup = Between(random, 1, 20);
  if (random.uniform(0, 4) == 0) {
    const int top = Between(random, 1, scene.panel.ledWidth);
    const std::vector<std::int32_t> table = reference::RowLedNums(
        top, scene.panel.ledWidth, scene.panel.rowGroup, scene.panel.ledHeight);
    // Rounding may lift the last entry above the width, which is refused.
    if (table.back() <= scene.panel.ledWidth) {
      scene.top = top;
      scene.panel.rowLedNums = table;
    }
  }
  return scene;
}

struct Outcome {
  std::int32_t code = 0;
  cv::Mat lum;
  std::vector<std::string> errors;
};

Outcome Measured(const Scene& scene, const Shot& shot, ExtractBy by) {
  const LogCapture log;
  Dravix dravix;
  dravix.extractBy = by;
  Outcome outcome;
  outcome.code = dravix.Extract(&shot, scene.corners, scene.top,
                                scene.top > 0 ? scene.panel.ledWidth : 0, scene.panel.rowGroup);
  outcome.lum = dravix.lum;
  outcome.errors = log.Errors();
  return outcome;
}

/// The plain transcription knows single-channel photographs only; with three channels both ways
/// refuse, which is compared too.
void CompareAll(std::uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "scene " << seed);
  const Scene scene = MakeScene(seed);
  const int bits = scene.camType % 100;
  Shot shot = MakeShot(scene.photo, scene.panel.ledWidth, scene.panel.ledHeight, bits);
  if (scene.camType > 0) shot.device->cam_type = scene.camType;
  const Outcome whole = Measured(scene, shot, ExtractBy::kWholeImage);
  if (scene.photo.channels() == 1) {
    const auto expected = reference::Extract(
        scene.photo, scene.corners, bits > 0 ? std::optional<int>(scene.camType) : std::nullopt,
        scene.panel);
    ASSERT_EQ(whole.code, expected ? 0 : 9);
    if (expected) {
      ASSERT_TRUE(SameBytes(whole.lum, *expected));
    }
  }
  const int threads = cv::getNumThreads();
  OnEachTarget([&] {
    cv::setNumThreads(static_cast<int>(seed % 4) + 1);
    for (const ExtractBy by : {ExtractBy::kRows, ExtractBy::kWhatIsFaster}) {
      const Outcome outcome = Measured(scene, shot, by);
      EXPECT_EQ(outcome.code, whole.code);
      EXPECT_TRUE(SameBytes(outcome.lum, whole.lum));
      EXPECT_EQ(outcome.errors, whole.errors);
    }
  });
  cv::setNumThreads(threads);
}

class MeasuringByRows : public testing::TestWithParam<int> {};

// Ten scenes a case, 100 in all.
TEST_P(MeasuringByRows, EqualsThePlainTranscriptionOnEveryTargetAndNumberOfThreads) {
  for (int i = 0; i < 10; ++i) CompareAll(static_cast<std::uint64_t>(GetParam() * 10 + i));
}
INSTANTIATE_TEST_SUITE_P(Tens, MeasuringByRows, testing::Range(0, 10));

TEST(MeasuringByRows, EqualsThePlainTranscriptionOnAThousandScenes) {
  if (std::getenv("DRAVIX_NIGHTLY") == nullptr) GTEST_SKIP() << "set DRAVIX_NIGHTLY to run it";
  for (std::uint64_t seed = 1000; seed < 2000; ++seed) CompareAll(seed);
}

TEST(MeasuringByRows, IsWhatMostScenesGet) {
  int byRows = 0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    const Scene scene = MakeScene(seed);
    const cv::Size size = extractor::WorkingSize(scene.photo.size(), 1.3);
    const cv::Mat perspective =
        extractor::WorkingFromPhoto(OrderCorners(scene.corners), Dravix().TargetRectangle(size));
    byRows += scene.camType > 0 && kernels::CubicWarp::Of(scene.photo, perspective, size) ? 1 : 0;
  }
  EXPECT_GT(byRows, 50);
}

TEST(MeasuringByRows, NumberOfThreadsDoesNotShow) {
  const Scene scene = MakeScene(4);
  const Shot shot = MakeShot(scene.photo, 20, 16, 12);
  const int threads = cv::getNumThreads();
  cv::setNumThreads(1);
  const Outcome alone = Measured(scene, shot, ExtractBy::kRows);
  for (const int count : {2, 3, 4, 16}) {
    cv::setNumThreads(count);
    const Outcome together = Measured(scene, shot, ExtractBy::kRows);
    EXPECT_EQ(together.code, alone.code);
    EXPECT_TRUE(SameBytes(together.lum, alone.lum)) << count;
  }
  cv::setNumThreads(threads);
}

}  // namespace
}  // namespace dravix::test
