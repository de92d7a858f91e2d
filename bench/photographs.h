/// What all benchmarks share: photographs of every size, made once, and the counters.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <opencv2/core.hpp>

#include "sim/catalogue.h"
#include "sim/render.h"

namespace dravix::bench {

/// 5 to 61 megapixels: from the screen of a phone's camera to the largest sensors in use.
inline void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("megapixels")->Unit(benchmark::kMillisecond);
  for (const int megapixels : {5, 12, 20, 31, 61}) bench->Arg(megapixels);
}

/// What `make` makes for the benchmark's size, once for all benchmarks that ask with the same type.
template <class Made, class Make>
const Made& OncePerSize(const benchmark::State& state, Make&& make) {
  static std::map<std::int64_t, Made> made;
  const auto found = made.find(state.range(0));
  if (found != made.end()) return found->second;
  return made.emplace(state.range(0), make(static_cast<double>(state.range(0)))).first->second;
}

inline const sim::Photograph& PhotographFor(const benchmark::State& state) {
  return OncePerSize<sim::Photograph>(
      state, [](double megapixels) { return sim::Render(sim::SizedScene(megapixels)); });
}

/// Counts the pixels of an image, as items, and their bytes for every iteration.
inline void CountPixels(benchmark::State& state, const cv::Mat& image) {
  const auto pixels = static_cast<std::int64_t>(image.total());
  state.SetItemsProcessed(state.iterations() * pixels);
  state.SetBytesProcessed(state.iterations() * pixels *
                          static_cast<std::int64_t>(image.elemSize()));
}

/// Runs `work`, which returns a result code, again and again.
template <class Work>
void RunOnPhotograph(benchmark::State& state, const cv::Mat& image, Work&& work) {
  for ([[maybe_unused]] auto _ : state) {
    if (work() != 0) state.SkipWithError("refused");
  }
  CountPixels(state, image);
}

}  // namespace dravix::bench
