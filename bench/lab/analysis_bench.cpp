// How long it takes to analyze screens of different sizes and kinds: quiet ones, noisy ones, and
// ones with so many defects that hardly a LED is plainly sound.
#include <benchmark/benchmark.h>
#include <dravix/lab/analysis.h>

#include <limits>
#include <opencv2/core.hpp>

namespace {

using dravix::lab::AnalysisOptions;

cv::Mat1f Screen(cv::Size size, double noise, int defectsPerThousand) {
  cv::Mat1f values(size);
  cv::RNG rng(11);
  rng.fill(values, cv::RNG::NORMAL, 1000.0, 1000.0 * noise);
  const auto defects = static_cast<int>(values.total() * defectsPerThousand / 1000);
  for (int i = 0; i < defects; ++i) {
    const cv::Point place(rng.uniform(0, size.width), rng.uniform(0, size.height));
    values(place) = i % 2 == 0 ? 0.0F : std::numeric_limits<float>::quiet_NaN();
  }
  return values;
}

/// Arguments: columns, rows, noise in percent, defects per thousand LEDs (half of them NaN).
void BM_Analyze(benchmark::State& state) {
  const cv::Size size(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  const cv::Mat1f values =
      Screen(size, static_cast<double>(state.range(2)) / 100, static_cast<int>(state.range(3)));
  AnalysisOptions options;
  options.module = {64, 64};
  options.cabinet = {128, 128};
  for (auto _ : state) benchmark::DoNotOptimize(dravix::lab::Analyze(values, options));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.total()));
}
BENCHMARK(BM_Analyze)
    ->Args({480, 270, 3, 0})
    ->Args({480, 270, 10, 10})
    ->Args({480, 270, 50, 0})
    ->Args({7680, 4320, 3, 0})
    ->Args({7680, 4320, 10, 0})
    ->Args({7680, 4320, 3, 10})
    ->Unit(benchmark::kMillisecond);

void BM_ToJson(benchmark::State& state) {
  AnalysisOptions options;
  options.module = {64, 64};
  const auto analysis = dravix::lab::Analyze(Screen({480, 270}, 0.03, 10), options);
  for (auto _ : state) benchmark::DoNotOptimize(ToJson(analysis));
}
BENCHMARK(BM_ToJson)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
