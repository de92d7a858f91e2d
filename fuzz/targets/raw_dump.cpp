// A raw sensor dump: columns and rows in 32 bits each, a mosaic code, a plane type, the dump.
#include <dravix/bimage.h>
#include <dravix/shot.h>

#include <cstring>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(raw_dump, input) {
  const auto cols = input.Take<std::int32_t>();
  const auto rows = input.Take<std::int32_t>();
  const int bayerCode = input.Take<std::uint8_t>();
  const auto type = input.Take<std::uint8_t>();
  const base::ByteView dump = input.Rest();
  const std::string name = ScratchFile("dump.raw", dump);
  const cv::Mat samples = BImage::ReadOrvelRaw(name, rows, cols);
  const bool fits = rows > 0 && cols > 0 &&
                    std::uint64_t{dump.size()} == std::uint64_t{2} * static_cast<unsigned>(rows) *
                                                      static_cast<unsigned>(cols);
  Require(samples.empty() == !fits, "a dump of that size is read, and no other");
  Require(samples.empty() || std::memcmp(samples.data, dump.data(), dump.size()) == 0,
          "the samples are those of the dump");

  Require(BImage::ReadOrvelRaw(ScratchName("none"), rows, cols).empty(), "no file, no picture");

  Shot shot;
  const std::int32_t code = shot.CreateFromRaw(name, type, cols, rows, bayerCode);
  Require((code == 0) == !shot.image.empty(), "a shot gets its image, or stays as it was");
  Require(code != 0 || bayerCode != 0 || SameMat(shot.image, samples),
          "one plane is kept as it is");
  Require(Shot().CreateFromRaw(name, rows, type) != 0, "no camera has so few pixels");
}

}  // namespace dravix::fuzz
