/// How long the automatic pipeline and each of its steps take on photographs of 20 and 31
/// megapixels, and how long the plain transcription of the luminance step takes. One item is one
/// photograph; times are those of the calling thread and of the wall clock.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>

#include <map>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "reference/plain_transcription.h"
#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

/// What each step starts from.
struct Working {
  dravix::sim::Photograph photo;
  cv::Mat workingFromPhoto;
  cv::Mat image;
  cv::Mat mask;
  cv::Rect rect;
  Dravix dravix;
};

/// The photograph of that size with the results of all steps, made once.
const Working& WorkingAt(std::int64_t megapixels) {
  static std::map<std::int64_t, Working> made;
  auto [it, isNew] = made.try_emplace(megapixels);
  Working& w = it->second;
  if (isNew) {
    w.photo = dravix::sim::Render(dravix::sim::SizedScene(static_cast<double>(megapixels)));
    w.dravix.SetImage(&w.photo.shot);
    const cv::Size size =
        dravix::extractor::WorkingSize(w.photo.shot.image.size(), w.dravix.warpScale);
    w.workingFromPhoto = dravix::extractor::WorkingFromPhoto(w.photo.truth.cornerPixels,
                                                             w.dravix.TargetRectangle(size));
    w.image = dravix::extractor::WarpToWorkingImage(w.photo.shot.image, w.workingFromPhoto, size);
    w.dravix.AutoBlurLocate(w.image, w.mask, w.rect);
  }
  return w;
}

void Extract(benchmark::State& state) {
  const Working& w = WorkingAt(state.range(0));
  Dravix dravix;
  for (auto _ : state) {
    if (dravix.Extract(&w.photo.shot, w.photo.truth.cornerPixels, 0, 0, 0) != DRAVIX_OK) {
      state.SkipWithError("not measured");
    }
  }
}

void Rectify(benchmark::State& state) {
  const Working& w = WorkingAt(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(dravix::extractor::WarpToWorkingImage(
        w.photo.shot.image, w.workingFromPhoto, w.image.size()));
  }
}

void Locate(benchmark::State& state) {
  const Working& w = WorkingAt(state.range(0));
  for (auto _ : state) {
    cv::Mat mask;
    cv::Rect rect;
    w.dravix.AutoBlurLocate(w.image, mask, rect);
    benchmark::DoNotOptimize(mask.data);
  }
}

void Luminance(benchmark::State& state) {
  const Working& w = WorkingAt(state.range(0));
  Dravix dravix = w.dravix;
  for (auto _ : state) {
    if (dravix.CalLum(w.image, w.mask, w.rect) != DRAVIX_OK) state.SkipWithError("not measured");
  }
}

void LuminanceAsTranscribed(benchmark::State& state) {
  const Working& w = WorkingAt(state.range(0));
  const dravix::reference::Panel panel{w.dravix.ledWidth, w.dravix.ledHeight, -1, {}};
  for (auto _ : state) {
    benchmark::DoNotOptimize(dravix::reference::Luminance(w.image, {w.mask, w.rect}, panel));
  }
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("megapixels")->Arg(20)->Arg(31)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(Extract)->Apply(Sizes);
BENCHMARK(Rectify)->Apply(Sizes);
BENCHMARK(Locate)->Apply(Sizes);
BENCHMARK(Luminance)->Apply(Sizes);
BENCHMARK(LuminanceAsTranscribed)->Apply(Sizes);

}  // namespace
BENCHMARK_MAIN();
