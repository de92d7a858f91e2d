/// What saving a photograph and reading a raw dump cost beside writing and reading the same bytes
/// plainly, on photographs of 5 to 61 megapixels. Compare the CPU columns: the wall clock also
/// waits for the disk. The plain way is one system call for all bytes, into a file of the same
/// name or into new memory; "Flushed" also waits until the disk has them.
#include <benchmark/benchmark.h>
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// A folder that vanishes with the program.
class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("dravix-bench-" + std::to_string(getpid()))) {
    fs::create_directory(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  [[nodiscard]] std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

const Folder& TheFolder() {
  static const Folder folder;
  return folder;
}

/// 3 : 2, as camera sensors are.
cv::Size SizeOf(const benchmark::State& state) {
  const double height = std::sqrt(static_cast<double>(state.range(0)) * 1e6 / 1.5);
  return {static_cast<int>(height * 1.5), static_cast<int>(height)};
}

Shot ShotOf(cv::Size size, int type) {
  Shot shot;
  shot.type = CAM_G;
  shot.image.create(size, type);
  cv::randu(shot.image, 0, 4096);
  shot.pattern = Shot::Pattern{};
  return shot;
}

void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

enum class Flush { kNo, kYes };

/// Writes the bytes as the whole file, as plainly as the system allows.
bool WritePlainly(const std::string& name, const void* data, std::size_t bytes, Flush flush) {
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return false;
  const bool written = write(file, data, bytes) == static_cast<ssize_t>(bytes);
  const bool flushed = flush == Flush::kNo || fsync(file) == 0;
  return close(file) == 0 && written && flushed;
}

template <Flush flush>
void Write(benchmark::State& state) {
  const cv::Mat image = ShotOf(SizeOf(state), CV_16UC1).image;
  const std::size_t bytes = image.total() * image.elemSize();
  for (auto _ : state) {
    if (!WritePlainly(TheFolder().File("plain"), image.data, bytes, flush)) {
      state.SkipWithError("not written");
    }
  }
  CountBytes(state, bytes);
}

template <int type>
void Save(benchmark::State& state) {
  const Shot shot = ShotOf(SizeOf(state), type);
  const std::string name = TheFolder().File("a.shot");
  for (auto _ : state) {
    if (shot.Save(name) != DRAVIX_OK) state.SkipWithError("not saved");
  }
  CountBytes(state, fs::file_size(name));
}

/// A raw dump of that size; its name.
std::string Dump(cv::Size size) {
  const cv::Mat image = ShotOf(size, CV_16UC1).image;
  const std::string name = TheFolder().File("a.raw");
  WritePlainly(name, image.data, image.total() * image.elemSize(), Flush::kNo);
  return name;
}

void Read(benchmark::State& state) {
  const cv::Size size = SizeOf(state);
  const std::string name = Dump(size);
  const std::size_t bytes = static_cast<std::size_t>(size.area()) * 2;
  for (auto _ : state) {
    const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    void* memory = std::malloc(bytes);
    if (read(file, memory, bytes) != static_cast<ssize_t>(bytes)) state.SkipWithError("not read");
    benchmark::DoNotOptimize(memory);
    std::free(memory);
    close(file);
  }
  CountBytes(state, bytes);
}

void ReadOrvelRaw(benchmark::State& state) {
  const cv::Size size = SizeOf(state);
  const std::string name = Dump(size);
  for (auto _ : state) {
    if (BImage::ReadOrvelRaw(name, size.height, size.width).empty()) {
      state.SkipWithError("not read");
    }
  }
  CountBytes(state, static_cast<std::size_t>(size.area()) * 2);
}

void Load(benchmark::State& state) {
  const std::string name = TheFolder().File("b.shot");
  if (ShotOf(SizeOf(state), CV_16UC1).Save(name) != DRAVIX_OK) state.SkipWithError("not saved");
  for (auto _ : state) {
    Shot shot;
    if (shot.Load(name) != DRAVIX_OK) state.SkipWithError("not loaded");
  }
  CountBytes(state, fs::file_size(name));
}

void ToBuffer(benchmark::State& state) {
  const Shot shot = ShotOf(SizeOf(state), CV_16UC1);
  std::vector<char> buffer(shot.image.total() * 2 + 1024);
  for (auto _ : state) {
    std::size_t size = buffer.size();
    if (shot.ToBuffer(buffer.data(), &size) != DRAVIX_OK) state.SkipWithError("too small");
  }
  CountBytes(state, shot.image.total() * 2);
}

/// What a save costs whatever its size: a result of 64 x 32 LEDs.
void SaveLittle(benchmark::State& state) {
  const cv::Mat little(32, 64, CV_32FC1, cv::Scalar(1));
  for (auto _ : state) {
    if (!BIO::SaveMatToBin(TheFolder().File("little.bin"), little)) {
      state.SkipWithError("not saved");
    }
  }
}

template <Flush flush>
void WriteLittle(benchmark::State& state) {
  const std::vector<char> little(8192);
  for (auto _ : state) {
    if (!WritePlainly(TheFolder().File("little"), little.data(), little.size(), flush)) {
      state.SkipWithError("not written");
    }
  }
}

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("megapixels")->Unit(benchmark::kMillisecond);
  for (const int megapixels : {5, 12, 20, 31, 61}) bench->Arg(megapixels);
}

BENCHMARK(Write<Flush::kNo>)->Name("WritePlainly")->Apply(Sizes);
BENCHMARK(Write<Flush::kYes>)->Name("WritePlainlyFlushed")->Apply(Sizes);
BENCHMARK(Save<CV_16UC1>)->Name("Save")->Apply(Sizes);
BENCHMARK(Save<CV_32FC1>)->Name("SaveFloats")->Apply(Sizes);
BENCHMARK(Save<CV_16UC3>)->Name("SaveColors")->Apply(Sizes);
BENCHMARK(ToBuffer)->Apply(Sizes);
BENCHMARK(Read)->Name("ReadPlainly")->Apply(Sizes);
BENCHMARK(ReadOrvelRaw)->Apply(Sizes);
BENCHMARK(Load)->Apply(Sizes);

BENCHMARK(WriteLittle<Flush::kNo>)->Name("WriteLittle")->Unit(benchmark::kMillisecond);
BENCHMARK(WriteLittle<Flush::kYes>)->Name("WriteLittleFlushed")->Unit(benchmark::kMillisecond);
BENCHMARK(SaveLittle)->Unit(benchmark::kMillisecond);

}  // namespace
BENCHMARK_MAIN();
