// Each finding at its limit: photographs that are just wrong enough for it, and others just not.
// Those that need no LED grid are drawn, so that their numbers are exact.
#include <dravix/lab/check.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "lab/check/cases.h"
#include "sim/render.h"

namespace dravix::lab {
namespace {

using test::IdsOf;
using testing::Contains;
using testing::Not;

constexpr int kTop = 4095;
const cv::Rect kLitPart(60, 50, 240, 180);

/// A 12-bit photograph of 24 x 18 LEDs.
Shot TwelveBits(const cv::Mat& image) {
  Shot shot;
  shot.image = image;
  shot.type = CIE_Y;
  shot.device = Shot::Device();
  shot.device->cam_type = 120012;
  shot.pattern = Shot::Pattern();
  shot.pattern->interval_x = shot.pattern->interval_y = 1;
  shot.pattern->lighted_led_w = 24;
  shot.pattern->lighted_led_h = 18;
  return shot;
}

cv::Mat Dark() { return cv::Mat::zeros(300, 400, CV_16UC1); }

/// An even screen, so far melted that no LED shows.
cv::Mat LitAt(int level) {
  cv::Mat image = Dark();
  image(kLitPart) = level;
  return image;
}

/// Many different values, as noise has them.
cv::Mat Noisy(int lowest = 900, int highest = 1100) {
  cv::Mat image = Dark();
  cv::Mat lit = image(kLitPart);
  cv::RNG(5).fill(lit, cv::RNG::UNIFORM, lowest, highest);
  return image;
}

/// The drawing with `count` of its lit samples at `value`, all over the area.
cv::Mat With(cv::Mat image, int count, int value) {
  const int step = static_cast<int>(kLitPart.area()) / std::max(1, count);
  for (int i = 0; i < count; ++i) {
    const int place = i * step;
    image.at<std::uint16_t>(kLitPart.y + place / kLitPart.width,
                            kLitPart.x + place % kLitPart.width) =
        static_cast<std::uint16_t>(value);
  }
  return image;
}

cv::Mat Filled(const std::vector<cv::Point>& polygon) {
  cv::Mat image = Dark();
  cv::fillConvexPoly(image, polygon, 1000);
  return image;
}

std::vector<std::string> FoundIn(const cv::Mat& image) { return IdsOf(Check(TwelveBits(image))); }

/// 0.1 % of the lit part's 43,200 samples are 43.2; the outline may be off by a row.
constexpr int kJustFew = 42;
constexpr int kTooMany = 46;

TEST(SaturatedLimit, IsAThousandthOfTheLitSamplesAtTheTop) {
  EXPECT_THAT(FoundIn(With(Noisy(), kTooMany, kTop)), Contains("saturated"));
  EXPECT_THAT(FoundIn(With(Noisy(), kJustFew, kTop)), Not(Contains("saturated")));
  EXPECT_THAT(FoundIn(With(Noisy(), kTooMany, kTop - 1)), Not(Contains("saturated")));
}

TEST(TooDarkLimit, IsAMedianOfATwentiethOfTheRange) {
  EXPECT_THAT(FoundIn(LitAt(204)), Contains("too-dark"));
  EXPECT_THAT(FoundIn(LitAt(205)), Not(Contains("too-dark")));
}

/// The lit part with a dark notch over that share of its upper side.
cv::Mat Notched(double share) {
  cv::Mat image = LitAt(1000);
  const int width = static_cast<int>(share * kLitPart.width);
  image(cv::Rect(kLitPart.x + (kLitPart.width - width) / 2, kLitPart.y, width, 60)) = 0;
  return image;
}

TEST(NoAreaLimit, IsASideThatIsSeenAlongSixTenths) {
  EXPECT_THAT(FoundIn(Notched(0.25)), Not(Contains("no-area")));
  EXPECT_THAT(FoundIn(Notched(0.55)), Contains("no-area"));
}

TEST(NoAreaLimit, IsLightThatStandsOutOfTheNoise) {
  const auto withStep = [](double step) {
    cv::Mat image(300, 400, CV_16UC1);
    cv::RNG(5).fill(image, cv::RNG::NORMAL, 500, 20);
    image(kLitPart) += step;
    return image;
  };
  EXPECT_THAT(FoundIn(withStep(400)), Not(Contains("no-area")));
  EXPECT_THAT(FoundIn(withStep(4)), Contains("no-area"));
}

/// A second square area beside the lit part, of that share of its size.
cv::Mat WithSecond(double share) {
  cv::Mat image = LitAt(1000);
  const int side = cvRound(std::sqrt(share * kLitPart.area()));
  image(cv::Rect(322, 120, side, side)) = 1000;
  return image;
}

TEST(SeveralAreasLimit, IsASecondOneOfATenthOfTheSize) {
  EXPECT_THAT(FoundIn(WithSecond(0.115)), Contains("several-areas"));
  EXPECT_THAT(FoundIn(WithSecond(0.085)), Not(Contains("several-areas")));
}

TEST(AreaCutLimit, IsThePhotographsBorder) {
  const auto from = [](int x) {
    return Filled({{x, 50}, {x + 240, 50}, {x + 240, 230}, {x, 230}});
  };
  EXPECT_THAT(FoundIn(from(0)), Contains("area-cut"));
  EXPECT_THAT(FoundIn(from(8)), Not(Contains("area-cut")));
}

/// What is found with these corners.
std::vector<std::string> FoundWith(const Shot& shot, const std::vector<cv::Point>& corners) {
  CheckOptions options;
  options.corners = corners;
  return IdsOf(Check(shot, options));
}

TEST(AreaCutLimit, IsACornerMoreThanAPixelOutside) {
  const Shot shot = TwelveBits(Filled({{2, 50}, {242, 50}, {242, 230}, {2, 230}}));
  EXPECT_THAT(FoundWith(shot, {{-1, 50}, {242, 50}, {242, 230}, {2, 230}}),
              Not(Contains("area-cut")));
  EXPECT_THAT(FoundWith(shot, {{-2, 50}, {242, 50}, {242, 230}, {2, 230}}), Contains("area-cut"));
}

/// The lit part's corners with the first one moved inward by so many of its LEDs, 10 pixels each.
std::vector<cv::Point> CornersMoved(double leds) {
  const cv::Point first = kLitPart.tl();
  const cv::Point last = kLitPart.br();
  return {first + cv::Point(cvRound(10 * leds), 0), {last.x, first.y}, last, {first.x, last.y}};
}

TEST(CornersOffLimit, IsTwoLeds) {
  const Shot shot = TwelveBits(LitAt(1000));
  EXPECT_THAT(FoundWith(shot, CornersMoved(1.8)), Not(Contains("corners-off")));
  EXPECT_THAT(FoundWith(shot, CornersMoved(2.2)), Contains("corners-off"));
}

/// 60 x 40 LEDs of 10 pixels, even and without noise.
sim::Scene EvenScene() {
  sim::Scene scene;
  scene.screen.ledWidth = 60;
  scene.screen.ledHeight = 40;
  scene.pose.pitch = 10;
  scene.optics.blur = 0.4;
  scene.sensor.exposure = 0.4;
  scene.sensor.readNoise = 0.5;
  scene.sensor.fullWell = 0;
  return scene;
}

void SetCounts(Shot& shot, int width, int height) {
  shot.partition.reset();
  shot.pattern->lighted_led_w = width;
  shot.pattern->lighted_led_h = height;
}

// Where the pattern is wrong and the grid is seen, an LED is one that is seen.
TEST(CornersOffLimit, IsTwoLedsOfTheGridThatIsSeen) {
  sim::Photograph p = sim::Render(EvenScene());
  const auto found = [&](int pixels) {
    std::vector<cv::Point> corners = p.truth.cornerPixels;
    corners[0].x += pixels;
    return FoundWith(p.shot, corners);
  };
  SetCounts(p.shot, 30, 20);  // an LED of these would have 20 pixels
  EXPECT_THAT(found(23), testing::UnorderedElementsAre("corners-off", "led-count"));
  EXPECT_THAT(found(17), testing::ElementsAre("led-count"));
  SetCounts(p.shot, 90, 60);  // and of these 6.7
  EXPECT_THAT(found(23), testing::UnorderedElementsAre("corners-off", "led-count"));
  EXPECT_THAT(found(17), testing::ElementsAre("led-count"));
}

TEST(CornersOffLimit, IsTwoLedsThatAreSeenWithoutAPattern) {
  sim::Photograph p = sim::Render(EvenScene());
  std::vector<cv::Point> corners = p.truth.cornerPixels;
  p.shot.pattern.reset();
  corners[0].x += 17;  // 2.8 hundredths of the side
  EXPECT_THAT(FoundWith(p.shot, corners), Not(Contains("corners-off")));
  corners[0].x += 6;
  EXPECT_THAT(FoundWith(p.shot, corners), Contains("corners-off"));
}

TEST(LedCountLimit, IsTwoPercent) {
  sim::Scene scene = EvenScene();
  scene.screen.ledWidth = 150;
  scene.screen.ledHeight = 100;
  Shot shot = sim::Render(scene).shot;
  const auto found = [&](int width, int height) {
    SetCounts(shot, width, height);
    return IdsOf(Check(shot));
  };
  EXPECT_THAT(found(150, 100), testing::IsEmpty());
  EXPECT_THAT(found(152, 100), Not(Contains("led-count")));
  EXPECT_THAT(found(148, 101), Not(Contains("led-count")));
  EXPECT_THAT(found(155, 100), Contains("led-count"));
  EXPECT_THAT(found(150, 97), Contains("led-count"));
}

std::vector<std::string> FoundInScene(const std::function<void(sim::Scene&)>& change) {
  sim::Scene scene = EvenScene();
  change(scene);
  return IdsOf(Check(sim::Render(scene).shot));
}

TEST(TooSharpLimit, IsAWaveOfElevenTenthsOfTheMean) {
  const auto withBlur = [](double sigma) {
    return FoundInScene([&](sim::Scene& scene) {
      scene.optics.blur = sigma;
      scene.sensor.exposure = 0.1;
    });
  };
  EXPECT_THAT(withBlur(0.09), Contains("too-sharp"));
  EXPECT_THAT(withBlur(0.14), Not(Contains("too-sharp")));
}

/// What is found where few pixels sample an LED, behind a Gaussian of `sigma` pitches.
std::vector<std::string> FoundAtFewPixels(double sigma) {
  return FoundInScene([&](sim::Scene& scene) {
    scene.screen.ledWidth = 120;
    scene.screen.ledHeight = 80;
    scene.pose.pitch = 2.6;
    scene.optics.blur = sigma;
    scene.sensor.exposure = 0.15;
  });
}

// At this blur the wave, a quarter of the mean, is too weak to be the reason.
TEST(TooSharpLimit, IsAnErrorOfAHundredthBySampling) {
  EXPECT_THAT(FoundAtFewPixels(0.3), Contains("too-sharp"));
  EXPECT_THAT(FoundAtFewPixels(0.45), Not(Contains("too-sharp")));
}

TEST(MoireLimit, IsABeatOfAFiftiethOfTheMean) {
  EXPECT_THAT(FoundAtFewPixels(0.2), Contains("moire"));
  EXPECT_THAT(FoundAtFewPixels(0.25), Not(Contains("moire")));
}

TEST(TooBlurredLimit, IsASigmaOfEightTenths) {
  const auto withBlur = [](double sigma) {
    return FoundInScene([&](sim::Scene& scene) { scene.optics.blur = sigma; });
  };
  // An emitter of 0.4 pitch adds 0.115 pitch, squares to squares.
  EXPECT_THAT(withBlur(0.74), Not(Contains("too-blurred")));
  EXPECT_THAT(withBlur(0.84), Contains("too-blurred"));
}

TEST(ResolutionLimit, IsFourPixelsForAnLed) {
  // 24 x 18 LEDs over 240 x 180 pixels have ten of them.
  const auto found = [](int columns, int rows) {
    Shot shot = TwelveBits(LitAt(1000));
    SetCounts(shot, columns, rows);
    return FoundWith(shot, CornersMoved(0));
  };
  EXPECT_THAT(found(60, 45), Not(Contains("resolution")));
  EXPECT_THAT(found(61, 45), Contains("resolution"));
  EXPECT_THAT(found(60, 46), Contains("resolution"));
}

TEST(TiltLimit, IsSidesThatDifferByFifteenPercent) {
  const auto withUpper = [](int width) {
    return Filled({{180 - width / 2, 50}, {180 + width / 2, 50}, {300, 230}, {60, 230}});
  };
  EXPECT_THAT(FoundIn(withUpper(208)), Not(Contains("tilt")));  // 13 %
  EXPECT_THAT(FoundIn(withUpper(200)), Contains("tilt"));       // 17 %
}

TEST(MosaicLimit, IsPlacesThatDifferByTwelvePercent) {
  const auto found = [](int other) {
    cv::Mat image = LitAt(1000);
    for (int y = kLitPart.y; y < kLitPart.br().y; y += 2) {
      for (int x = kLitPart.x; x < kLitPart.br().x; x += 2) {
        image.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(other);
      }
    }
    return FoundIn(image);
  };
  EXPECT_THAT(found(890), Not(Contains("mosaic")));
  EXPECT_THAT(found(870), Contains("mosaic"));
}

TEST(MosaicLimit, IsOnePlaneOfThree) {
  Shot shot = TwelveBits(LitAt(1000));
  shot.type = CAM_RGB;
  EXPECT_THAT(IdsOf(Check(shot)), Contains("mosaic"));
  cv::cvtColor(shot.image, shot.image, cv::COLOR_GRAY2RGB);
  EXPECT_THAT(IdsOf(Check(shot)), Not(Contains("mosaic")));
}

TEST(BitDepthLimit, IsTheTopOfTheRange) {
  EXPECT_THAT(FoundIn(With(Noisy(), 1, kTop)), Not(Contains("bit-depth")));
  EXPECT_THAT(FoundIn(With(Noisy(), 1, kTop + 1)), Contains("bit-depth"));
}

TEST(BitDepthLimit, IsAValueInTwo) {
  const auto found = [](int odd) {
    // One expression would be a multiplication by 1.
    cv::Mat image = Noisy() / 2;
    image *= 2;
    cv::RNG random(9);
    for (int i = 0; i < odd; ++i) {
      const cv::Point place(random.uniform(kLitPart.x, kLitPart.br().x),
                            random.uniform(kLitPart.y, kLitPart.br().y));
      ++image.at<std::uint16_t>(place);
    }
    return FoundIn(image);
  };
  EXPECT_THAT(found(0), Contains("bit-depth"));
  EXPECT_THAT(found(432), Not(Contains("bit-depth")));  // of 100
}

TEST(BitDepthLimit, IsAPlateauOfAThousandthBelowTheTop) {
  // Each of the values below occurs about 12 times.
  EXPECT_THAT(FoundIn(With(Noisy(300, 3900), kTooMany, 3950)), Contains("bit-depth"));
  EXPECT_THAT(FoundIn(With(Noisy(300, 3900), kJustFew, 3950)), Not(Contains("bit-depth")));
}

TEST(PatternLimit, IsOneLed) {
  Shot shot = TwelveBits(LitAt(1000));
  shot.partition = Shot::Partition{0, 0, 24, 18, 24, 18};
  EXPECT_THAT(IdsOf(Check(shot)), Not(Contains("pattern")));
  shot.partition->h = 19;
  EXPECT_THAT(IdsOf(Check(shot)), Contains("pattern"));
  shot.partition.reset();
  EXPECT_THAT(IdsOf(Check(shot)), Not(Contains("pattern")));
  shot.pattern->lighted_led_w = 0;
  EXPECT_THAT(IdsOf(Check(shot)), Contains("pattern"));
}

TEST(FrameLimit, IsOnePixel) {
  const Shot shot = TwelveBits(LitAt(1000));
  const auto withRegion = [&](cv::Size frame) {
    RegionOI region;
    EXPECT_EQ(region.ManualSet(frame, CornersMoved(0)), 0);
    CheckOptions options;
    options.region = &region;
    return IdsOf(Check(shot, options));
  };
  EXPECT_THAT(withRegion({400, 300}), Not(Contains("frame")));
  EXPECT_THAT(withRegion({401, 300}), Contains("frame"));
  const auto withBoard = [&](cv::Size size) {
    const Shot board = TwelveBits(cv::Mat(size, CV_16UC1, cv::Scalar(100)));
    CheckOptions options;
    options.checkerboard = &board;
    return IdsOf(Check(shot, options));
  };
  EXPECT_THAT(withBoard({400, 300}), Not(Contains("frame")));
  EXPECT_THAT(withBoard({400, 301}), Contains("frame"));
}

/// The lit part as a checkerboard of square blocks.
cv::Mat Board(int side) {
  cv::Mat image = Dark();
  for (int y = 0; y * side < kLitPart.height; ++y) {
    for (int x = 0; x * side < kLitPart.width; ++x) {
      if ((x + y) % 2 == 0) {
        image(cv::Rect(kLitPart.x + x * side, kLitPart.y + y * side, side, side)) = 1000;
      }
    }
  }
  return image;
}

TEST(BlocksLimit, IsOneBlock) {
  const Shot shot = TwelveBits(LitAt(1000));
  const Shot board = TwelveBits(Board(30));
  const auto found = [](const Shot& even, const Shot& pattern, cv::Size blocks) {
    CheckOptions options;
    options.checkerboard = &pattern;
    options.blocks = blocks;
    return IdsOf(Check(even, options));
  };
  EXPECT_THAT(found(shot, board, {8, 6}), Not(Contains("blocks")));
  EXPECT_THAT(found(shot, board, {8, 7}), Contains("blocks"));
  EXPECT_THAT(found(shot, board, {4, 3}), Contains("blocks"));
  EXPECT_THAT(found(shot, board, {12, 9}), Contains("blocks"));
  EXPECT_THAT(found(board, shot, {8, 6}), Contains("blocks"));
}

}  // namespace
}  // namespace dravix::lab
