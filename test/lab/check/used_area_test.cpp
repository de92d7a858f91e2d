#include <dravix/lab/used_area.h>
#include <gmock/gmock.h>

#include <opencv2/core.hpp>
#include <vector>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "sim/render.h"

namespace dravix::lab {
namespace {

sim::Scene Screen() {
  sim::Scene scene;
  scene.pose.tiltX = 5;
  scene.pose.roll = 2;
  return scene;
}

double FarthestOff(const std::array<cv::Point2d, 4>& found, const sim::Quad& truth) {
  double farthest = 0;
  for (std::size_t i = 0; i < 4; ++i) farthest = std::max(farthest, cv::norm(found[i] - truth[i]));
  return farthest;
}

TEST(UsedArea, IsTheScreenThoughTheCornersAreAroundIt) {
  const sim::Photograph p = sim::Render(Screen());
  const cv::Size size = p.shot.image.size();
  const std::vector<cv::Point> around = {
      {10, 10}, {size.width - 10, 10}, {size.width - 10, size.height - 10}, {10, size.height - 10}};
  const auto used = UsedArea(p.shot, around);
  ASSERT_TRUE(used);
  // Straightened by such corners the screen is no upright rectangle, and lines are laid through it.
  EXPECT_LT(FarthestOff(*used, p.truth.corners), 0.06 * size.width);
  EXPECT_LT(FarthestOff(UsedArea(p.shot, p.truth.cornerPixels).value(), p.truth.corners), 3);
}

TEST(UsedArea, HasTheRectangleThatTheMeasurementFinds) {
  const sim::Photograph p = sim::Render(Screen());
  std::vector<cv::Point> corners = p.truth.cornerPixels;
  corners[0] += cv::Point(15, 9);
  Dravix measuring;
  ASSERT_EQ(measuring.SetImage(&p.shot), 0);
  const cv::Size size = extractor::WorkingSize(p.shot.image.size(), measuring.warpScale);
  const cv::Mat map = extractor::WorkingFromPhoto(corners, measuring.TargetRectangle(size));
  cv::Mat mask;
  cv::Rect rect;
  measuring.AutoBlurLocate(extractor::WarpToWorkingImage(p.shot.image, map, size), mask, rect);
  const auto used = UsedArea(p.shot, corners);
  ASSERT_TRUE(used);
  std::vector<cv::Point2d> working;
  cv::perspectiveTransform(std::vector<cv::Point2d>(used->begin(), used->end()), working, map);
  EXPECT_NEAR(working[0].x, rect.x - 0.5, 0.01);
  EXPECT_NEAR(working[1].x, rect.x + rect.width - 0.5, 0.01);
}

TEST(UsedArea, OfADarkPhotographOrUnorderedCornersIsNothing) {
  sim::Photograph p = sim::Render(Screen());
  EXPECT_FALSE(UsedArea(p.shot, {{1, 1}, {5, 1}, {9, 1}, {5, 9}}));
  p.shot.image = cv::Mat::zeros(p.shot.image.size(), CV_16UC1);
  EXPECT_FALSE(UsedArea(p.shot, p.truth.cornerPixels));
  EXPECT_FALSE(UsedArea(Shot(), p.truth.cornerPixels));
}

}  // namespace
}  // namespace dravix::lab
