/// How long each of the exported functions takes, as a host calls it. The measurements count the
/// photograph's pixels and bytes, all others those of the luminances. Files are written to the
/// folder for temporary files.
#include <benchmark/benchmark.h>
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <filesystem>
#include <string>
#include <vector>

#include "photographs.h"

namespace {

using dravix::bench::CountPixels;
using dravix::bench::PhotographFor;
using dravix::bench::RunOnPhotograph;
using dravix::bench::Sizes;
using dravix::sim::Photograph;

std::vector<std::int32_t> CornersOf(const Photograph& photo) {
  std::vector<std::int32_t> corners;
  for (const cv::Point& corner : photo.truth.cornerPixels) {
    corners.push_back(corner.x);
    corners.push_back(corner.y);
  }
  return corners;
}

DravixHandle NewHandle() {
  DravixHandle handle = nullptr;
  DravixCreateHandle(&handle);
  return handle;
}

/// A handle that holds the photograph's result. Handles live as long as the process.
DravixHandle MeasuredFor(const benchmark::State& state) {
  return dravix::bench::OncePerSize<DravixHandle>(state, [&](double) {
    const Photograph& photo = PhotographFor(state);
    DravixHandle handle = NewHandle();
    DravixExtract(handle, &photo.shot, CornersOf(photo).data(), 4, 0, 0, 0);
    return handle;
  });
}

/// Runs a call on a handle with a result and counts the luminances.
template <class Call>
void RunOnResult(benchmark::State& state, Call&& call) {
  DravixHandle handle = MeasuredFor(state);
  RunOnPhotograph(state, PhotographFor(state).truth.luminances, [&] { return call(handle); });
}

std::string TemporaryFile(const char* name) {
  return (std::filesystem::temp_directory_path() / name).string();
}

void CreateHandle(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(NewHandle());
}
// A handle is never freed, so that only some are made.
BENCHMARK(CreateHandle)->Iterations(100);

void DestroyHandle(benchmark::State& state) {
  DravixHandle handle = NewHandle();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(DravixDestroyHandle(handle));
}
BENCHMARK(DestroyHandle);

void Extract(benchmark::State& state) {
  const Photograph& photo = PhotographFor(state);
  const std::vector<std::int32_t> corners = CornersOf(photo);
  DravixHandle handle = NewHandle();
  RunOnPhotograph(state, photo.shot.image,
                  [&] { return DravixExtract(handle, &photo.shot, corners.data(), 4, 0, 0, 0); });
}
BENCHMARK(Extract)->Apply(Sizes);

void ExtractPro(benchmark::State& state) {
  const Photograph& photo = PhotographFor(state);
  const Shot& board = dravix::bench::OncePerSize<Shot>(state, [](double megapixels) {
    return dravix::sim::RenderCheckerboard(dravix::sim::SizedScene(megapixels));
  });
  RegionOI region;
  region.ManualSet(photo.shot.image.size(), photo.truth.cornerPixels);
  const cv::Size grid = photo.truth.grid;
  DravixHandle handle = NewHandle();
  RunOnPhotograph(state, photo.shot.image, [&] {
    return DravixExtractPro(handle, &region, &photo.shot, &board, {grid.width, grid.height}, -1,
                            -1);
  });
}
BENCHMARK(ExtractPro)->Apply(Sizes);

void GetByReference(benchmark::State& state) {
  DravixResult result{};
  RunOnResult(state, [&](DravixHandle handle) { return DravixGet(handle, &result, 0); });
}
BENCHMARK(GetByReference)->Apply(Sizes);

void GetCopy(benchmark::State& state) {
  RunOnResult(state, [](DravixHandle handle) {
    DravixResult result{};
    const std::int32_t code = DravixGet(handle, &result, 1);
    delete[] static_cast<char*>(result.resultImage.data);
    delete[] static_cast<char*>(result.lum.data);
    return code;
  });
}
BENCHMARK(GetCopy)->Apply(Sizes);

void Save(benchmark::State& state) {
  const std::string name = TemporaryFile("dravix-export-bench.lum");
  RunOnResult(state, [&](DravixHandle handle) { return DravixSave(handle, name.c_str()); });
  std::filesystem::remove(name);
}
BENCHMARK(Save)->Apply(Sizes);

void Load(benchmark::State& state) {
  const std::string name = TemporaryFile("dravix-export-bench.lum");
  DravixSave(MeasuredFor(state), name.c_str());
  DravixHandle handle = NewHandle();
  RunOnPhotograph(state, PhotographFor(state).truth.luminances,
                  [&] { return DravixLoad(handle, name.c_str()); });
  std::filesystem::remove(name);
}
BENCHMARK(Load)->Apply(Sizes);

void GetBufferSize(benchmark::State& state) {
  std::uint64_t size = 0;
  RunOnResult(state, [&](DravixHandle handle) { return DravixGetBufferSize(handle, &size); });
}
BENCHMARK(GetBufferSize)->Apply(Sizes);

std::vector<char> BufferFor(const benchmark::State& state) {
  std::uint64_t size = 0;
  DravixGetBufferSize(MeasuredFor(state), &size);
  return std::vector<char>(static_cast<std::size_t>(size));
}

void ToBuffer(benchmark::State& state) {
  std::vector<char> buffer = BufferFor(state);
  RunOnResult(state, [&](DravixHandle handle) {
    std::uint64_t size = buffer.size();
    return DravixToBuffer(handle, buffer.data(), &size);
  });
}
BENCHMARK(ToBuffer)->Apply(Sizes);

void FromBuffer(benchmark::State& state) {
  std::vector<char> buffer = BufferFor(state);
  std::uint64_t size = buffer.size();
  DravixToBuffer(MeasuredFor(state), buffer.data(), &size);
  DravixHandle handle = NewHandle();
  RunOnPhotograph(state, PhotographFor(state).truth.luminances, [&] {
    return DravixFromBuffer(handle, buffer.data(), static_cast<std::int64_t>(buffer.size()));
  });
}
BENCHMARK(FromBuffer)->Apply(Sizes);

template <int colored>
void ExportImage(benchmark::State& state) {
  const std::string name = TemporaryFile("dravix-export-bench.png");
  RunOnResult(
      state, [&](DravixHandle handle) { return DravixExportImage(handle, name.c_str(), colored); });
  std::filesystem::remove(name);
}
BENCHMARK(ExportImage<0>)->Name("ExportGrayImage")->Apply(Sizes);
BENCHMARK(ExportImage<1>)->Name("ExportColorImage")->Apply(Sizes);

void Release(benchmark::State& state) {
  DravixHandle handle = NewHandle();
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(DravixRelease(handle));
}
BENCHMARK(Release);

}  // namespace

BENCHMARK_MAIN();
