// Writes seeds for every target: fuzz_seeds FOLDER makes FOLDER/<target>/<name>.
#include <cstdio>
#include <fstream>

#include "fuzz/quiet.h"
#include "fuzz/seeds/seeds.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

void Seeds::Add(std::string_view target, std::string_view name, base::ByteView bytes) {
  const std::filesystem::path folder = folder_ / target;
  std::filesystem::create_directories(folder);
  std::ofstream out(folder / name, std::ios::binary);
  if (!bytes.empty()) out.write(Chars(bytes), static_cast<std::streamsize>(bytes.size()));
  out.close();
  Require(out.good(), "a seed can be written");
}

void Seeds::AddWithFaults(std::string_view target, std::string_view name, base::ByteView bytes) {
  const std::string stem(name);
  Add(target, stem, bytes);
  Add(target, stem + "-half", bytes.first(bytes.size() / 2));
  Add(target, stem + "-short", bytes.first(bytes.size() - 1));
  Add(target, stem + "-shifted", bytes.subspan(1));
  base::Bytes longer(bytes.begin(), bytes.end());
  longer.push_back(std::byte{'L'});
  Add(target, stem + "-long", longer);
}

}  // namespace dravix::fuzz

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  dravix::fuzz::WorkQuietly();
  dravix::fuzz::Seeds seeds(argv[1]);
  dravix::fuzz::AddRecordSeeds(seeds);
  dravix::fuzz::AddCameraSeeds(seeds);
  dravix::fuzz::AddTextSeeds(seeds);
  dravix::fuzz::AddMeasuringSeeds(seeds);
  dravix::fuzz::AddCallSeeds(seeds);
  return 0;
}
