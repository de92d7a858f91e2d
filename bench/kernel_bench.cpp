/// How long each kernel takes on a whole working image, one after the other as the search for the
/// lit area and the measurement use them. Pixels and bytes are those of the working image.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/bit_picture.h"
#include "kernels/bits/histogram.h"
#include "kernels/eight_bits.h"
#include "kernels/smoothing/gaussian.h"
#include "kernels/warp/cubic_warp.h"
#include "kernels/weighted_sums.h"
#include "photographs.h"

namespace {

using namespace dravix::kernels;
using dravix::bench::CountPixels;
using dravix::bench::PhotographFor;
using dravix::bench::Sizes;

constexpr float kWhite = 255.0F;
constexpr float kFullScale = 4095.0F;  // of the simulated camera
constexpr int kSide = 11;              // pixels, of the smoothing and the cleaning
constexpr double kSigma = 10;

/// The working image and what the search makes of it, with room for whole vectors.
struct Working {
  cv::Size size;
  std::optional<CubicWarp> warp;
  cv::Mat samples;  ///< CV_16UC1
  cv::Mat gray;     ///< CV_8UC1
  std::optional<BitPicture> lit;
};

Working Prepared(const dravix::sim::Photograph& photo) {
  Working w;
  const Dravix dravix;
  const cv::Mat& image = photo.shot.image;
  w.size = dravix::extractor::WorkingSize(image.size(), dravix.warpScale);
  const cv::Mat workingFromPhoto =
      dravix::extractor::WorkingFromPhoto(photo.truth.cornerPixels, dravix.TargetRectangle(w.size));
  w.warp = CubicWarp::Of(image, workingFromPhoto, w.size);
  w.samples.create(w.size.height, CubicWarp::PaddedWidth(w.size.width), CV_16UC1);
  for (int y = 0; y < w.size.height; ++y) {
    w.warp.value().Row(y, {0, w.size.width}, w.samples.ptr<std::uint16_t>(y));
  }
  w.samples.convertTo(w.gray, CV_8U, static_cast<double>(kWhite / kFullScale));
  w.lit.emplace(w.size);
  w.lit->SetAbove(w.gray, 64);
  return w;
}

const Working& WorkingFor(const benchmark::State& state) {
  return dravix::bench::OncePerSize<Working>(
      state, [&](double) { return Prepared(PhotographFor(state)); });
}

/// Does something with every row of the working image.
template <class RowWork>
void ForEachRow(benchmark::State& state, RowWork&& work) {
  const Working& w = WorkingFor(state);
  for ([[maybe_unused]] auto _ : state) {
    for (int y = 0; y < w.size.height; ++y) work(w, y);
  }
  CountPixels(state, w.samples.colRange(0, w.size.width));
}

void Warp(benchmark::State& state) {
  std::vector<std::uint16_t> row(static_cast<std::size_t>(WorkingFor(state).samples.cols));
  ForEachRow(state, [&](const Working& w, int y) {
    w.warp->Row(y, {0, w.size.width}, row.data());
    benchmark::DoNotOptimize(row.data());
  });
}
BENCHMARK(Warp)->Apply(Sizes);

void EightBits(benchmark::State& state) {
  std::vector<std::uint16_t> row(static_cast<std::size_t>(WorkingFor(state).samples.cols) + 64);
  ForEachRow(state, [&](const Working& w, int y) {
    std::copy_n(w.samples.ptr<std::uint16_t>(y), w.size.width, row.data());
    ToEightBits(row.data(), static_cast<std::size_t>(w.size.width), kWhite / kFullScale);
    benchmark::DoNotOptimize(row.data());
  });
}
BENCHMARK(EightBits)->Apply(Sizes);

void Smooth(benchmark::State& state) {
  constexpr std::size_t kMargin = 64;
  const Gaussian blur = Gaussian::Of(kSide, kSigma).value();
  const auto width = static_cast<std::size_t>(WorkingFor(state).samples.cols);
  const std::vector<std::uint16_t> row(width + Gaussian::kPadding, 100);
  const std::vector<const std::uint16_t*> window(kSide, row.data());
  std::vector<std::uint16_t> sums(width + Gaussian::kPadding + 2 * kMargin);
  std::vector<std::uint8_t> smoothed(width + Gaussian::kPadding);
  ForEachRow(state, [&](const Working& w, int /*y*/) {
    blur.Down(window, w.size.width, sums.data() + kMargin);
    blur.Across(sums.data() + kMargin, w.size.width, smoothed.data());
    benchmark::DoNotOptimize(smoothed.data());
  });
}
BENCHMARK(Smooth)->Apply(Sizes);

void Count(benchmark::State& state) {
  ValueCounter counter;
  ForEachRow(state, [&](const Working& w, int y) {
    counter.Add(w.gray.ptr<std::uint8_t>(y), static_cast<std::size_t>(w.size.width));
  });
  benchmark::DoNotOptimize(OtsuLevel(counter.Counts()));
}
BENCHMARK(Count)->Apply(Sizes);

/// Does something with the lit pixels.
template <class Work>
void OnBits(benchmark::State& state, Work&& work) {
  const Working& w = WorkingFor(state);
  for ([[maybe_unused]] auto _ : state) work(w);
  CountPixels(state, w.gray.colRange(0, w.size.width));
}

void Threshold(benchmark::State& state) {
  BitPicture lit(WorkingFor(state).size);
  OnBits(state, [&](const Working& w) { lit.SetAbove(w.gray, 64); });
}
BENCHMARK(Threshold)->Apply(Sizes);

void CloseAndOpen(benchmark::State& state) {
  OnBits(state, [](const Working& w) {
    BitPicture lit = *w.lit;
    CloseThenOpen(lit, kSide);
    benchmark::DoNotOptimize(lit.Row(0));
  });
}
BENCHMARK(CloseAndOpen)->Apply(Sizes);

void CountAreas(benchmark::State& state) {
  OnBits(state, [](const Working& w) { benchmark::DoNotOptimize(TopologyOf(*w.lit)); });
}
BENCHMARK(CountAreas)->Apply(Sizes);

void ColumnRuns(benchmark::State& state) {
  OnBits(state, [](const Working& w) { benchmark::DoNotOptimize(FirstStretches(*w.lit)); });
}
BENCHMARK(ColumnRuns)->Apply(Sizes);

void ColumnSums(benchmark::State& state) {
  std::vector<float> sums(static_cast<std::size_t>(WorkingFor(state).samples.cols));
  std::vector<WeightedRow> rows = {{0, WorkingFor(state).size.width, 0.25F, false, sums.data()}};
  ForEachRow(state, [&](const Working& w, int y) {
    rows.front().fresh = y == 0;
    AddWeighted(w.samples.ptr<std::uint16_t>(y), rows);
  });
}
BENCHMARK(ColumnSums)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
