/// How long the automatic pipeline and its two halves take, by rows and through the whole working
/// image, and how long the plain transcription takes. Times are those of the calling thread and of
/// the wall clock.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>

#include <optional>

#include "extractor/by_rows.h"
#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "photographs.h"
#include "reference/plain_transcription.h"
#include "shot/shot_picture.h"

namespace {

using dravix::bench::PhotographFor;
using dravix::bench::RunOnPhotograph;
using dravix::extractor::LitColumns;
using dravix::extractor::SearchSettings;
using dravix::kernels::CubicWarp;
using dravix::sim::Photograph;

/// What each step starts from.
struct Working {
  cv::Size size;
  cv::Mat workingFromPhoto;
  std::optional<CubicWarp> rows;
  std::optional<SearchSettings> search;
  LitColumns area;
  cv::Mat image;
  cv::Mat mask;
  cv::Rect rect;
  Dravix dravix;
};

Working Prepared(const Photograph& photo) {
  constexpr float kWhite = 255;
  Working w;
  const cv::Mat& image = photo.shot.image;
  w.dravix.SetImage(&photo.shot);
  w.size = dravix::extractor::WorkingSize(image.size(), w.dravix.warpScale);
  w.workingFromPhoto = dravix::extractor::WorkingFromPhoto(photo.truth.cornerPixels,
                                                           w.dravix.TargetRectangle(w.size));
  w.rows = CubicWarp::Of(image, w.workingFromPhoto, w.size);
  const auto blur = dravix::kernels::Gaussian::Of(w.dravix.blurKernelSize,
                                                  static_cast<double>(w.dravix.blurSigma));
  const auto fullScale = static_cast<float>(dravix::shot::FullScale(photo.shot));
  w.search = SearchSettings{kWhite / fullScale, blur.value(), w.dravix.blurKernelSize};
  w.area = dravix::extractor::Locate(w.rows.value(), *w.search).value();
  w.image = dravix::extractor::WarpToWorkingImage(image, w.workingFromPhoto, w.size);
  w.dravix.AutoBlurLocate(w.image, w.mask, w.rect);
  return w;
}

const Working& WorkingFor(const benchmark::State& state) {
  return dravix::bench::OncePerSize<Working>(
      state, [&](double) { return Prepared(PhotographFor(state)); });
}

template <ExtractBy way>
void Extract(benchmark::State& state) {
  const Photograph& photo = PhotographFor(state);
  Dravix dravix;
  dravix.extractBy = way;
  RunOnPhotograph(state, photo.shot.image,
                  [&] { return dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0); });
}

void LocateByRows(benchmark::State& state) {
  const Working& w = WorkingFor(state);
  RunOnPhotograph(state, PhotographFor(state).shot.image,
                  [&] { return dravix::extractor::Locate(*w.rows, *w.search) ? 0 : 1; });
}

void MeasureByRows(benchmark::State& state) {
  const Working& w = WorkingFor(state);
  RunOnPhotograph(state, PhotographFor(state).shot.image, [&] {
    return dravix::extractor::Measure(*w.rows, w.area, w.dravix.ledHeight).empty() ? 1 : 0;
  });
}

void RectifyWhole(benchmark::State& state) {
  const Working& w = WorkingFor(state);
  const cv::Mat& photo = PhotographFor(state).shot.image;
  RunOnPhotograph(state, photo, [&] {
    return dravix::extractor::WarpToWorkingImage(photo, w.workingFromPhoto, w.size).empty() ? 1 : 0;
  });
}

void LocateWhole(benchmark::State& state) {
  const Working& w = WorkingFor(state);
  RunOnPhotograph(state, PhotographFor(state).shot.image, [&] {
    cv::Mat mask;
    cv::Rect rect;
    w.dravix.AutoBlurLocate(w.image, mask, rect);
    return mask.empty() ? 1 : 0;
  });
}

void LuminanceWhole(benchmark::State& state) {
  const Working& w = WorkingFor(state);
  Dravix dravix = w.dravix;
  RunOnPhotograph(state, PhotographFor(state).shot.image,
                  [&] { return dravix.CalLum(w.image, w.mask, w.rect); });
}

void PlainTranscription(benchmark::State& state) {
  const Photograph& photo = PhotographFor(state);
  const Shot& shot = photo.shot;
  const dravix::reference::Panel panel{
      shot.pattern->lighted_led_w, shot.pattern->lighted_led_h, -1, {}};
  RunOnPhotograph(state, shot.image, [&] {
    return dravix::reference::Extract(shot.image, photo.truth.cornerPixels, shot.device->cam_type,
                                      panel)
               ? 0
               : 1;
  });
}

void Sizes(benchmark::internal::Benchmark* bench) {
  dravix::bench::Sizes(bench);
  bench->UseRealTime();
}

BENCHMARK(Extract<ExtractBy::kWhatIsFaster>)->Name("Extract")->Apply(Sizes);
BENCHMARK(LocateByRows)->Apply(Sizes);
BENCHMARK(MeasureByRows)->Apply(Sizes);
BENCHMARK(Extract<ExtractBy::kWholeImage>)->Name("ExtractWhole")->Apply(Sizes);
BENCHMARK(RectifyWhole)->Apply(Sizes);
BENCHMARK(LocateWhole)->Apply(Sizes);
BENCHMARK(LuminanceWhole)->Apply(Sizes);
BENCHMARK(PlainTranscription)->Apply(Sizes);

}  // namespace
BENCHMARK_MAIN();
