/// How long it takes to find a region and its corners, and how long the same takes with one call of
/// the matrix library for each step.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>
#include <dravix/region.h>

#include "photographs.h"
#include "reference/plain_region.h"

namespace {

using dravix::bench::PhotographFor;
using dravix::bench::RunOnPhotograph;
using dravix::bench::Sizes;
namespace reference = dravix::reference;

RegionOI RegionFor(const benchmark::State& state) {
  RegionOI region;
  region.SetShot(&PhotographFor(state).shot);
  return region;
}

reference::RegionSettings SettingsOf(const RegionOI& region) {
  return {region.blurKernelSize, region.blurSigma, region.cornerQualityLevel,
          region.cornerRefineWindow};
}

void AutoSet(benchmark::State& state) {
  RegionOI region = RegionFor(state);
  RunOnPhotograph(state, region.shot->image, [&] { return region.AutoSet(); });
}
BENCHMARK(AutoSet)->Apply(Sizes);

void AutoSetPlainly(benchmark::State& state) {
  const RegionOI region = RegionFor(state);
  const Shot& shot = *region.shot;
  RunOnPhotograph(state, shot.image, [&] {
    return reference::AutoSet(shot.image, shot.device->cam_type, SettingsOf(region)) ? 0 : 1;
  });
}
BENCHMARK(AutoSetPlainly)->Apply(Sizes);

void ComputeBlur(benchmark::State& state) {
  RegionOI region = RegionFor(state);
  RunOnPhotograph(state, region.shot->image, [&] { return region.ComputeBlur(); });
}
BENCHMARK(ComputeBlur)->Apply(Sizes);

void ComputeBlurPlainly(benchmark::State& state) {
  const RegionOI region = RegionFor(state);
  const Shot& shot = *region.shot;
  RunOnPhotograph(state, shot.image, [&] {
    return reference::ComputeBlur(shot.image, shot.device->cam_type, SettingsOf(region)) ? 0 : 1;
  });
}
BENCHMARK(ComputeBlurPlainly)->Apply(Sizes);

void GetPrecision4Corner(benchmark::State& state) {
  RegionOI region = RegionFor(state);
  region.ComputeBlur();
  std::vector<cv::Point> corners;
  RunOnPhotograph(state, region.shot->image, [&] { return region.GetPrecision4Corner(corners); });
}
BENCHMARK(GetPrecision4Corner)->Apply(Sizes);

void CornersPlainly(benchmark::State& state) {
  RegionOI region = RegionFor(state);
  region.ComputeBlur();
  RunOnPhotograph(state, region.shot->image, [&] {
    const auto corners = reference::Corners({region.frameWidth, region.frameHeight},
                                            {region.rect, region.mask}, SettingsOf(region));
    return corners.empty() ? 1 : 0;
  });
}
BENCHMARK(CornersPlainly)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
