#include "unmix_spots.h"

#include <dravix/lab/board_places.h>
#include <dravix/lab/spot_photograph.h>
#include <dravix/lab/unmix.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <opencv2/core/utility.hpp>
#include <optional>
#include <string>
#include <vector>

#include "sim/random.h"
#include "sim/render.h"
#include "unmix_errors.h"

namespace dravix {
namespace {

constexpr int kSeeds = 2;
constexpr int kBlock = 8;  ///< LEDs along a block of the checkerboard

struct Kind {
  const char* name;
  int ledWidth, ledHeight;
  double pitch;  ///< pixels
  sim::Defocus defocus;
  double blur;        ///< pitches
  double scatter;     ///< of the LEDs, relative
  double brightness;  ///< of the best exposure
  double cornerBlur;  ///< see sim::Optics
};

constexpr auto kGauss = sim::Defocus::kGaussian;
constexpr auto kDisk = sim::Defocus::kDisk;
constexpr std::array kKinds = {
    Kind{"10 % scatter", 48, 40, 8, kGauss, 0.4, 0.1, 1, 0},
    Kind{"wide, 1 %", 48, 40, 8, kGauss, 0.58, 0.01, 1, 0},
    Kind{"wide disk, 3 %", 48, 40, 8, kDisk, 1.0, 0.03, 1, 0},
    Kind{"dim, wide, 3 %", 48, 40, 8, kGauss, 0.55, 0.03, 0.15, 0},
    Kind{"small screen, 10 %", 16, 16, 8, kGauss, 0.58, 0.1, 1, 0},
    Kind{"few pixels, 3 %", 48, 40, 5, kGauss, 0.5, 0.03, 1, 0},
    Kind{"wider at corners, 3 %", 48, 40, 10, kGauss, 0.4, 0.03, 1, 0.3},
};

sim::Scene SceneOf(const Kind& kind, std::uint64_t seed) {
  sim::Scene scene;
  scene.seed = seed;
  scene.optics.fineSpots = true;
  scene.optics.defocus = kind.defocus;
  scene.optics.blur = kind.blur;
  scene.optics.cornerBlur = kind.cornerBlur;
  scene.optics.strayLight = 0.005;
  scene.whole.ledWidth = kind.ledWidth;
  scene.whole.ledHeight = kind.ledHeight;
  scene.screen.emitterFill = 0.35;
  scene.screen.luminance.scatter = kind.scatter;
  scene.pose.pitch = kind.pitch;
  scene.pose.tiltX = 3;
  scene.pose.tiltY = -2;
  scene.pose.roll = 1;
  scene.sensor.margin = static_cast<int>(9 * kind.pitch);
  const cv::Size size = sim::PhotoSizeOf(scene);
  scene.sensor.width = size.width;
  scene.sensor.height = size.height;
  scene.checkerboard.block = kBlock;
  scene.sensor.exposure = 0.5 * kind.brightness;
  return scene;
}

/// One LED of each interval is lit, so much brighter or longer that its spot is as bright.
sim::Scene SparseOf(const sim::Scene& scene, const Kind& kind, int interval) {
  sim::Scene sparse = scene;
  sparse.whole.intervalX = sparse.whole.intervalY = interval;
  sparse.whole.phaseX = 1;
  const double variance = (kind.defocus == kDisk ? 0.25 : 1.0) * kind.blur * kind.blur + 0.01;
  sparse.sensor.exposure = 0.45 * std::max(1.0, 6.28 * variance);
  return sparse;
}

lab::UnmixOptions OptionsFor(const sim::Scene& scene, const Kind& kind, const sim::Truth& truth) {
  lab::UnmixOptions options;
  options.corners = truth.corners;
  sim::Random random(scene.seed, 0xC0);
  const double reach = 0.1 * kind.pitch;
  for (cv::Point2d& corner : options.corners) {
    corner += cv::Point2d(random.Uniform(-reach, reach), random.Uniform(-reach, reach));
  }
  options.leds = {kind.ledWidth, kind.ledHeight};
  options.sensorTop = (1 << scene.sensor.bits) - 1;
  return options;
}

/// The spot that was rendered, without any doubt.
lab::KnownSpot TrueSpot(const sim::Scene& scene) {
  const double pitch = scene.pose.pitch;
  const double blur = scene.optics.blur * pitch;
  lab::KnownSpot spot;
  const bool isDisk = scene.optics.defocus == kDisk;
  spot.variance = (isDisk ? 0.25 : 1.0) * blur * blur + (isDisk ? 0.05 : 0.0);
  spot.diskSquared = isDisk ? std::pow(0.25 * blur * blur, 2) : 0.0;
  spot.emitter = scene.screen.emitterFill * pitch;
  constexpr double kCertain = 1e9;
  for (int i = 0; i < 3; ++i) spot.information(i, i) = kCertain;
  return spot;
}

lab::PhotographedSpot BoardSpot(const sim::Scene& scene, const Shot& photo,
                                const lab::UnmixOptions& options) {
  const Shot board = sim::RenderCheckerboard(scene);
  const lab::BoardGrid grid = {options.corners, options.leds, sim::GridOf(scene)};
  const lab::BoardPlaces places = lab::BoardPlacesOf(board, grid);
  if (!places.refused.empty()) return {std::nullopt, 0, 0, places.refused};
  return lab::SpotOfBoard(board, places.lit, photo, options);
}

/// Errors by the way in which the spot was found, in the order of the table's columns.
constexpr std::size_t kWays = 5;
constexpr std::array<const char*, kWays> kWayNames = {"alone", "interval 2", "interval 4",
                                                      "checkerboard", "true spot"};

struct Sums {
  std::array<double, kWays> squares{};
  std::array<int, kWays> answered{};
  double noiseGain = 0;
};

void AddRun(const Kind& kind, std::uint64_t seed, Sums& sums) {
  const sim::Scene scene = SceneOf(kind, seed);
  const sim::Photograph photograph = sim::Render(scene);
  const lab::UnmixOptions options = OptionsFor(scene, kind, photograph.truth);
  const cv::Mat1d truth = SeenTruth(scene, photograph.truth.luminances);
  const auto sparse = [&](int interval) {
    return lab::SpotOf(sim::Render(SparseOf(scene, kind, interval)).shot, photograph.shot, options);
  };
  std::array<lab::PhotographedSpot, kWays> spots;
  spots[1] = sparse(2);
  spots[2] = sparse(4);
  spots[3] = BoardSpot(scene, photograph.shot, options);
  if (kind.cornerBlur == 0) spots[4].spot = TrueSpot(scene);
  for (std::size_t way = 0; way < kWays; ++way) {
    if (way > 0 && !spots.at(way).spot) {
      if (way < 4) std::printf("  %s: %s\n", kWayNames.at(way), spots.at(way).refused.c_str());
      continue;
    }
    lab::UnmixOptions with = options;
    with.spot = spots.at(way).spot;
    const lab::Unmixed u = lab::Unmix(photograph.shot.image, with);
    if (way == 0) sums.noiseGain += u.noiseGain / kSeeds;
    if (u.refused) {
      std::printf("  %s: %s\n", kWayNames.at(way), u.refused->message.c_str());
      continue;
    }
    const double error = Rms(Errors(u.luminances, truth, 0));
    std::printf("  %s %s %.3f spot %.4f %.4f said %.3f\n", kind.name, kWayNames.at(way), error,
                u.spotSigma, u.spotDisk, 100 * u.sigma);
    sums.squares.at(way) += error * error;
    sums.answered.at(way) += 1;
  }
  std::fflush(stdout);
}

void PrintRow(const Kind& kind, const Sums& sums) {
  std::printf("| %s, %s %.2f, %dx%d, %.0f px | %.1f |", kind.name,
              kind.defocus == kDisk ? "disk" : "gauss", kind.blur, kind.ledWidth, kind.ledHeight,
              kind.pitch, sums.noiseGain);
  for (std::size_t way = 0; way < kWays; ++way) {
    if (sums.answered.at(way) == 0) {
      std::printf(" - |");
      continue;
    }
    std::printf(" %.3f |", std::sqrt(sums.squares.at(way) / sums.answered.at(way)));
  }
  std::printf("\n");
}

}  // namespace

void PrintSpots(std::uint64_t seed) {
  std::vector<Sums> all;
  for (const Kind& kind : kKinds) {
    Sums sums;
    for (int i = 0; i < kSeeds; ++i) AddRun(kind, seed + static_cast<unsigned>(i), sums);
    all.push_back(sums);
  }
  std::printf("\n| screen and spot | noise gain |");
  for (const char* name : kWayNames) std::printf(" %s |", name);
  std::printf("\n| --- | --- | --- | --- | --- | --- | --- |\n");
  for (std::size_t i = 0; i < all.size(); ++i) PrintRow(kKinds.at(i), all[i]);
}

}  // namespace dravix
