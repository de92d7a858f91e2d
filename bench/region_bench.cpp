/// How long it takes to find a region and its corners on a photograph of 30 megapixels.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>
#include <dravix/region.h>

#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

constexpr double kMegapixels = 30;

const dravix::sim::Photograph& Photo() {
  static const dravix::sim::Photograph photo =
      dravix::sim::Render(dravix::sim::SizedScene(kMegapixels));
  return photo;
}

/// Counts the bytes of the photograph's 16-bit samples for every iteration.
void CountPhoto(benchmark::State& state) {
  const cv::Mat& image = Photo().shot.image;
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(image.total() * image.elemSize()));
}

void AutoSet(benchmark::State& state) {
  RegionOI region;
  region.SetShot(&Photo().shot);
  for (auto _ : state) {
    if (region.AutoSet() != DRAVIX_OK) state.SkipWithError("no area");
  }
  CountPhoto(state);
}
BENCHMARK(AutoSet)->Unit(benchmark::kMillisecond);

void ComputeBlur(benchmark::State& state) {
  RegionOI region;
  region.SetShot(&Photo().shot);
  for (auto _ : state) {
    if (region.ComputeBlur() != DRAVIX_OK) state.SkipWithError("no area");
  }
  CountPhoto(state);
}
BENCHMARK(ComputeBlur)->Unit(benchmark::kMillisecond);

void GetPrecision4Corner(benchmark::State& state) {
  RegionOI region;
  region.SetShot(&Photo().shot);
  region.ComputeBlur();
  std::vector<cv::Point> corners;
  for (auto _ : state) {
    if (region.GetPrecision4Corner(corners) != DRAVIX_OK) state.SkipWithError("no corners");
  }
  CountPhoto(state);
}
BENCHMARK(GetPrecision4Corner)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
