// How long the checks of a photograph take: with the corners of the screen, as `measure` gives
// them, and with a checkerboard beside it.
#include <dravix/lab/check.h>

#include "bench/photographs.h"

namespace dravix::bench {
namespace {

/// With the corners of the photograph's truth beside the options.
void TimeCheck(benchmark::State& state, const sim::Photograph& photograph,
               lab::CheckOptions options) {
  options.corners = photograph.truth.cornerPixels;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(lab::Check(photograph.shot, options));
  }
  CountPixels(state, photograph.shot.image);
}

void BM_Check(benchmark::State& state) {
  const sim::Photograph& photograph = PhotographFor(state);
  TimeCheck(state, photograph, {});
}
BENCHMARK(BM_Check)->Apply(Sizes);

void BM_CheckBlurred(benchmark::State& state) {
  const auto& photograph = OncePerSize<sim::Photograph>(state, [](double megapixels) {
    sim::Scene scene = sim::SizedScene(megapixels);
    scene.optics.blur = 1.2;
    return sim::Render(scene);
  });
  TimeCheck(state, photograph, {});
}
BENCHMARK(BM_CheckBlurred)->Apply(Sizes);

void BM_CheckWithBoard(benchmark::State& state) {
  const sim::Photograph& photograph = PhotographFor(state);
  const Shot& board = OncePerSize<Shot>(state, [](double megapixels) {
    return sim::RenderCheckerboard(sim::SizedScene(megapixels));
  });
  lab::CheckOptions options;
  options.checkerboard = &board;
  options.blocks = photograph.truth.grid;
  TimeCheck(state, photograph, options);
}
BENCHMARK(BM_CheckWithBoard)->Apply(Sizes);

}  // namespace
}  // namespace dravix::bench
