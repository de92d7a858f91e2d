/// How long the checkerboard detector takes on photographs of 20 and 31 megapixels.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "extractor/rectify.h"
#include "sim/catalogue.h"
#include "sim/render.h"

namespace {

void DetectSized(benchmark::State& state) {
  const auto scene = dravix::sim::SizedScene(static_cast<double>(state.range(0)));
  const auto measured = dravix::sim::Render(scene);
  const Shot board = dravix::sim::RenderCheckerboard(scene);
  const Dravix extractor;
  const cv::Size working = dravix::extractor::WorkingSize(board.image.size(), extractor.warpScale);
  const cv::Mat transform = dravix::extractor::WorkingFromPhoto(measured.truth.cornerPixels,
                                                                extractor.TargetRectangle(working));
  for ([[maybe_unused]] auto _ : state) {
    CheckerboardDetector detector;
    detector.SetImage(&board, &measured.shot);
    detector.SetParam(measured.truth.grid, working, transform);
    if (detector.checkborderPrision() != DRAVIX_OK) state.SkipWithError("not found");
  }
  state.SetItemsProcessed(state.iterations() *
                          board.image.size().area());  // pixels of the photograph
}
BENCHMARK(DetectSized)->Arg(20)->Arg(31)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
