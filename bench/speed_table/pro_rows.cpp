// The checkerboard pipeline against the same steps through whole pictures.
#include <dravix/dravix.h>
#include <dravix/region.h>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "reference/plain_region.h"
#include "reference/plain_transcription.h"
#include "speed_table/measure.h"
#include "speed_table/rows.h"

namespace dravix::bench {
namespace {

constexpr int kAcross = 24;
constexpr int kDown = 16;
constexpr int kSide = 20;  // LEDs of a block

struct Scene {
  sim::Photograph photo;
  Shot board;
  RegionOI region;
};

Scene MakeScene(double megapixels) {
  const sim::Scene simulated = SceneOf(megapixels, {kAcross * kSide, kDown * kSide});
  Scene scene{sim::Render(simulated), sim::RenderCheckerboard(simulated), {}};
  scene.region.ManualSet(scene.photo.shot.image.size(), scene.photo.truth.cornerPixels);
  return scene;
}

cv::Mat Plain(const Scene& scene) {
  const RegionOI& region = scene.region;
  const cv::Size frame(region.frameWidth, region.frameHeight);
  const std::vector<cv::Point> corners =
      OrderCorners(reference::Corners(frame, {region.rect, region.mask},
                                      {region.blurKernelSize, region.blurSigma,
                                       region.cornerQualityLevel, region.cornerRefineWindow}));
  if (corners.empty()) return {};
  const cv::Mat working = reference::Rectified(scene.photo.shot.image, corners);
  CheckerboardDetector detector;
  detector.SetImage(&scene.board, &scene.photo.shot);
  detector.areaScale = Dravix().roiScale;
  detector.SetParam({kAcross, kDown}, working.size(),
                    reference::WorkingFromPhoto(corners, scene.photo.shot.image.size()));
  if (detector.checkborderPrision() != DRAVIX_OK) return {};
  const reference::Cells cells{detector.mask, detector.cells, kAcross, kDown, kSide, kSide, kSide};
  return reference::CellLuminance(working, cells, {kAcross * kSide, kDown * kSide, -1, {}})
      .value_or(cv::Mat());
}

cv::Mat Measured(const Scene& scene) {
  Dravix dravix;
  const std::int32_t code =
      dravix.ExtractPro(&scene.photo.shot, &scene.board, {kAcross, kDown}, scene.region, -1, -1);
  return code == DRAVIX_OK ? cv::Mat(dravix.lum) : cv::Mat();
}

void ProRowsFor(const Options& options, double megapixels, Table& table) {
  constexpr double kMega = 1e6;
  constexpr double kSpeedAim = 7;
  constexpr double kMemoryAim = 4;
  const Scene scene = MakeScene(megapixels);
  cv::Mat expected;
  cv::Mat found;
  const std::vector<double> times = ShortestInTurns(
      options.Turns(), {[&] { expected = Plain(scene); }, [&] { found = Measured(scene); }});
  const Case what{"`DravixExtractPro`", megapixels, "24 x 16 blocks"};
  table.Compared(what, !expected.empty() && SameBits(found, expected));
  table.Faster(what, times[0], times[1], kSpeedAim);
  const double extra = PeakMemory([&] { Measured(scene); }) -
                       static_cast<double>(expected.total() * (sizeof(float) + 1));
  const double photo = static_cast<double>(scene.photo.shot.image.total()) * 2;
  table.AtMost({"its memory", megapixels, what.details}, photo / kMega, extra / kMega, kMemoryAim,
               "MB");
}

}  // namespace

void ProRows(const Options& options, Table& table) {
  const std::vector<double> sizes =
      options.brief ? std::vector<double>{options.Megapixels(0)} : std::vector<double>{20, 31};
  for (const double megapixels : sizes) ProRowsFor(options, megapixels, table);
}

}  // namespace dravix::bench
