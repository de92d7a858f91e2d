// The automatic pipeline: each target against the plain transcription, memory, threads, growth.
#include <algorithm>
#include <cmath>

#include "extractor/extractor.h"
#include "reference/plain_transcription.h"
#include "speed_table/measure.h"
#include "speed_table/rows.h"

namespace dravix::bench {
namespace {

std::string Text(cv::Size leds) {
  return std::to_string(leds.width) + " x " + std::to_string(leds.height) + " LEDs";
}

/// At least so many times as fast as the plain way, by the width of the vectors.
double AimFor(const std::string& target) {
  if (target == "none") return 0;
  if (target.rfind("AVX3", 0) == 0) return 8;
  return target == "AVX2" ? 5 : 2.2;
}

cv::Mat Measured(const sim::Photograph& photo) {
  Dravix dravix;
  dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0);
  return dravix.lum;
}

double PhotoBytes(const sim::Photograph& photo) {
  return static_cast<double>(photo.shot.image.total() * photo.shot.image.elemSize());
}

/// Beyond the photograph and the result.
double ExtraMemory(const sim::Photograph& photo, const cv::Mat& result) {
  return PeakMemory([&] { Measured(photo); }) -
         static_cast<double>(result.total() * (sizeof(float) + 1));
}

void ExtractRowsFor(const Options& options, double megapixels, cv::Size leds, Table& table) {
  constexpr double kMega = 1e6;
  const sim::Photograph photo = sim::Render(SceneOf(megapixels, leds));
  const reference::Panel panel{leds.width, leds.height, -1, {}};
  const std::vector<std::int64_t> targets = Targets();
  cv::Mat expected;
  std::vector<cv::Mat> found(targets.size());
  std::vector<Work> works = {[&] {
    expected = *reference::Extract(photo.shot.image, photo.truth.cornerPixels,
                                   photo.shot.device->cam_type, panel);
  }};
  for (std::size_t i = 0; i < targets.size(); ++i) {
    works.emplace_back([&, i] {
      Force(targets[i]);
      found[i] = Measured(photo);
    });
  }
  const std::vector<double> times = ShortestInTurns(options.Turns(), works);
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const std::string target = NameOf(targets[i]);
    const Case what{"`DravixExtract`", megapixels, Text(leds) + ", " + target};
    table.Compared(what, SameBits(found[i], expected));
    table.Faster(what, times[0], times[i + 1], AimFor(target));
  }
  for (const std::int64_t target : {targets.front(), targets.back()}) {
    Force(target);
    table.AtMost({"its memory", megapixels, Text(leds) + ", " + NameOf(target)},
                 PhotoBytes(photo) / kMega, ExtraMemory(photo, expected) / kMega,
                 target == targets.front() ? 1.0 : 0, "MB");
  }
  Force(0);
}

/// The shortest time of a measurement, in milliseconds.
double TimeOf(const sim::Photograph& photo, int turns) {
  return ShortestInTurns(turns, {[&] { Measured(photo); }}).front();
}

}  // namespace

void ExtractRows(const Options& options, Table& table) {
  const std::vector<double> sizes =
      options.brief ? std::vector<double>{options.Megapixels(0)} : std::vector<double>{12, 20, 31};
  for (const double megapixels : sizes) {
    for (const cv::Size leds : {cv::Size(480, 270), cv::Size(256, 128)}) {
      ExtractRowsFor(options, megapixels, leds, table);
    }
  }
}

void ThreadRows(const Options& options, Table& table) {
  constexpr double kAim = 1.7;
  const double megapixels = options.Megapixels(20);
  const cv::Size leds(480, 270);
  const sim::Photograph photo = sim::Render(SceneOf(megapixels, leds));
  std::vector<cv::Mat> found(2);
  std::vector<Work> works;
  for (int threads = 1; threads <= 2; ++threads) {
    works.emplace_back([&, threads] {
      cv::setNumThreads(threads);
      found[static_cast<std::size_t>(threads - 1)] = Measured(photo);
    });
  }
  const std::vector<double> times = ShortestInTurns(2 * options.Turns(), works, Clock::kWall);
  cv::setNumThreads(1);
  const Case what{"two threads against one", megapixels, Text(leds)};
  table.Compared(what, SameBits(found[0], found[1]));
  table.Faster(what, times[0], times[1], kAim);
}

void GrowthRows(const Options& options, Table& table) {
  constexpr double kAim = 1.15;
  constexpr double kNanosecondsPerMs = 1e6;
  const cv::Size leds(480, 270);
  std::vector<double> perPixel;
  for (const double megapixels : {options.Megapixels(12), options.Megapixels(61)}) {
    const sim::Photograph photo = sim::Render(SceneOf(megapixels, leds));
    const double scale = Dravix().warpScale;
    const double pixels = static_cast<double>(photo.shot.image.total()) * scale * scale;
    perPixel.push_back(TimeOf(photo, options.Turns()) * kNanosecondsPerMs / pixels);
  }
  table.AtMost({"time per output pixel, against 12 MP", options.Megapixels(61), Text(leds)},
               perPixel[0], perPixel[1], kAim, "ns");
}

}  // namespace dravix::bench
