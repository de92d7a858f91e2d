/// How long ExtractPro takes on photographs of 20 and 31 megapixels with 24 x 16 blocks, and its
/// steps, by the kernels and plainly. One item is a pixel of the photograph; times are those of one
/// thread.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <cmath>
#include <map>

#include "checkerboard/cell_search.h"
#include "checkerboard/checkerboard.h"
#include "checkerboard/lit_area/led_area.h"
#include "checkerboard/pictures/quotient.h"
#include "checkerboard/pictures/rectified.h"
#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "kernels/warp/cubic_warp.h"
#include "reference/plain_detector.h"
#include "sim/render.h"

namespace {

namespace board = dravix::checkerboard;

/// A screen of 24 x 16 blocks that takes four fifths of a photograph of that many megapixels.
dravix::sim::Scene SceneOf(double megapixels) {
  dravix::sim::Scene scene;
  scene.sensor.width = static_cast<int>(std::lround(std::sqrt(megapixels * 1.5e6)));
  scene.sensor.height = static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5)));
  scene.checkerboard.block = 16;
  scene.screen.ledWidth = 24 * scene.checkerboard.block;
  scene.screen.ledHeight = 16 * scene.checkerboard.block;
  scene.screen.luminance.scatter = 0.02;
  scene.pose.pitch = 0.8 * scene.sensor.width / scene.screen.ledWidth;
  scene.pose.tiltX = 3;
  scene.pose.tiltY = -4;
  scene.pose.roll = 1;
  return scene;
}

/// What each step starts from.
struct Subject {
  explicit Subject(double megapixels)
      : measured(dravix::sim::Render(SceneOf(megapixels))),
        checkerboard(dravix::sim::RenderCheckerboard(SceneOf(megapixels))) {
    cv::setNumThreads(1);
    region.ManualSet(measured.shot.image.size(), measured.truth.cornerPixels);
    const Dravix extractor;
    const cv::Size size = dravix::extractor::WorkingSize(Photo().size(), extractor.warpScale);
    workingFromPhoto = dravix::extractor::WorkingFromPhoto(measured.truth.cornerPixels,
                                                           extractor.TargetRectangle(size));
    const CheckerboardDetector d = Prepared(size);
    const double cell = size.width * d.areaScale / measured.truth.grid.width;
    params = {workingFromPhoto,
              size,
              d.areaScale,
              d.blurSigma,
              d.kernelSize,
              d.edgeLevelPercent,
              {cell, size.height * d.areaScale / measured.truth.grid.height}};
  }
  [[nodiscard]] const cv::Mat& Photo() const { return measured.shot.image; }
  [[nodiscard]] CheckerboardDetector Prepared(cv::Size size) const {
    CheckerboardDetector detector;
    detector.SetImage(&checkerboard, &measured.shot);
    detector.SetParam(measured.truth.grid, size, workingFromPhoto);
    detector.keepsRectified = false;
    return detector;
  }
  [[nodiscard]] board::WorkingPicture Measured() const {
    return board::WarpForDetection(Photo(), board::Samples::kKept, params);
  }
  [[nodiscard]] board::WorkingPicture Lit() const {
    return board::WarpForDetection(checkerboard.image, board::Samples::kKept, params);
  }

  dravix::sim::Photograph measured;
  Shot checkerboard;
  RegionOI region;
  cv::Mat workingFromPhoto;
  board::RectifyParams params;
};

const Subject& SubjectAt(const benchmark::State& state) {
  static std::map<std::int64_t, Subject> made;
  return made.try_emplace(state.range(0), static_cast<double>(state.range(0))).first->second;
}

/// Runs work(subject) again and again.
template <class Work>
void Run(benchmark::State& state, Work&& work) {
  const Subject& subject = SubjectAt(state);
  for ([[maybe_unused]] auto _ : state) work(subject);
  const auto pixels = static_cast<std::int64_t>(subject.Photo().total()) * state.iterations();
  state.SetItemsProcessed(pixels);
  state.SetBytesProcessed(pixels * static_cast<std::int64_t>(subject.Photo().elemSize()));
}

void MeasureBy(benchmark::State& state, ExtractBy by) {
  Run(state, [&](const Subject& s) {
    Dravix dravix;
    dravix.extractBy = by;
    const cv::Size grid = s.measured.truth.grid;
    if (dravix.ExtractPro(&s.measured.shot, &s.checkerboard, {grid.width, grid.height}, s.region,
                          -1, -1) != DRAVIX_OK) {
      state.SkipWithError("not measured");
    }
  });
}
void ExtractPro(benchmark::State& state) { MeasureBy(state, ExtractBy::kWhatIsFaster); }
void ExtractProWholeImage(benchmark::State& state) { MeasureBy(state, ExtractBy::kWholeImage); }

void Corners(benchmark::State& state) {
  Run(state, [&](const Subject& s) {
    std::vector<cv::Point> corners;
    if (s.region.GetPrecision4Corner(corners) != DRAVIX_OK) state.SkipWithError("no corners");
  });
}

void Detect(benchmark::State& state) {
  Run(state, [&](const Subject& s) {
    if (s.Prepared(s.params.imageSize).checkborderPrision() != DRAVIX_OK) {
      state.SkipWithError("not found");
    }
  });
}

void DetectPlainly(benchmark::State& state) {
  Run(state, [&](const Subject& s) {
    CheckerboardDetector detector = s.Prepared(s.params.imageSize);
    if (dravix::reference::Detect(detector) != DRAVIX_OK) state.SkipWithError("not found");
  });
}

void WarpAndSmooth(benchmark::State& state) {
  Run(state, [](const Subject& s) { benchmark::DoNotOptimize(s.Measured().level); });
}

void FindLitArea(benchmark::State& state) {
  const board::WorkingPicture measured = SubjectAt(state).Measured();
  Run(state,
      [&](const Subject& s) { benchmark::DoNotOptimize(board::LedArea(measured, s.params)->box); });
}

void SeeWhetherAnythingIsLit(benchmark::State& state) {
  const board::WorkingPicture lit = SubjectAt(state).Lit();
  Run(state,
      [&](const Subject& s) { benchmark::DoNotOptimize(board::AnythingLit(lit, s.params)); });
}

void BinarizeQuotient(benchmark::State& state) {
  const board::WorkingPicture measured = SubjectAt(state).Measured();
  const board::Rectified pictures{SubjectAt(state).Lit().samples, measured.samples};
  const auto area = board::LedArea(measured, SubjectAt(state).params);
  Run(state, [&](const Subject&) {
    benchmark::DoNotOptimize(board::Quotient(pictures, area->mask).AboveOtsu().Words());
  });
}

void SearchCells(benchmark::State& state) {
  const board::WorkingPicture measured = SubjectAt(state).Measured();
  const board::Rectified pictures{SubjectAt(state).Lit().samples, measured.samples};
  const auto area = board::LedArea(measured, SubjectAt(state).params);
  const dravix::kernels::BitPicture lit = board::Quotient(pictures, area->mask).AboveOtsu();
  Run(state, [&](const Subject& s) {
    const double block = s.params.cell.area();
    board::CellSearch search(lit, area->mask, {s.params.kernel, 0.075 * block, 2.25 * block});
    benchmark::DoNotOptimize(search.Next().lit.size());
  });
}

/// What is left of a measurement once the cells are known.
void MeasureCells(benchmark::State& state) {
  CheckerboardDetector detector = SubjectAt(state).Prepared(SubjectAt(state).params.imageSize);
  detector.checkborderPrision();
  Run(state, [&](const Subject& s) {
    Dravix dravix;
    dravix.SetImage(&s.measured.shot);
    dravix.SetsingleAreaSize(detector.gridColumns, detector.gridRows, -1, -1);
    const auto rows =
        dravix::kernels::CubicWarp::Of(s.Photo(), s.workingFromPhoto, s.params.imageSize);
    if (dravix.MeasureByRows(*rows, detector) != DRAVIX_OK) state.SkipWithError("not measured");
  });
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("megapixels")->Arg(20)->Arg(31)->Unit(benchmark::kMillisecond);
}

BENCHMARK(ExtractPro)->Apply(Sizes);
BENCHMARK(ExtractProWholeImage)->Apply(Sizes);
BENCHMARK(Corners)->Apply(Sizes);
BENCHMARK(Detect)->Apply(Sizes);
BENCHMARK(DetectPlainly)->Apply(Sizes);
BENCHMARK(WarpAndSmooth)->Apply(Sizes);
BENCHMARK(FindLitArea)->Apply(Sizes);
BENCHMARK(SeeWhetherAnythingIsLit)->Apply(Sizes);
BENCHMARK(BinarizeQuotient)->Apply(Sizes);
BENCHMARK(SearchCells)->Apply(Sizes);
BENCHMARK(MeasureCells)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
