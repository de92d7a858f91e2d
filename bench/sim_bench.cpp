/// How long it takes to simulate a photograph.
#include <benchmark/benchmark.h>

#include "photographs.h"

namespace {

void RenderSized(benchmark::State& state) {
  const auto scene = dravix::sim::SizedScene(static_cast<double>(state.range(0)));
  cv::Mat image;
  for ([[maybe_unused]] auto _ : state) image = dravix::sim::Render(scene).shot.image;
  dravix::bench::CountPixels(state, image);
}
BENCHMARK(RenderSized)->Apply(dravix::bench::Sizes);

}  // namespace

BENCHMARK_MAIN();
