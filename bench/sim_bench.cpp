/// How long it takes to simulate a photograph of 1, 12 and 30 megapixels.
#include <benchmark/benchmark.h>

#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

void RenderSized(benchmark::State& state) {
  const auto scene = dravix::sim::SizedScene(static_cast<double>(state.range(0)));
  const auto pixels = dravix::sim::PhotoSizeOf(scene).area();
  for ([[maybe_unused]] auto _ : state) {
    const auto photograph = dravix::sim::Render(scene);
    benchmark::DoNotOptimize(photograph.shot.image.data);
  }
  state.SetItemsProcessed(state.iterations() * pixels);  // pixels per second
}
BENCHMARK(RenderSized)->Arg(1)->Arg(12)->Arg(30)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
