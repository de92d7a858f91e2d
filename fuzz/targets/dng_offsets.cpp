// A DNG whose strip tag points at an array of offsets: a mosaic code, a plane type, the file.
#include <dravix/bimage.h>
#include <dravix/shot.h>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(dng_offsets, input) {
  const int bayerCode = input.Take<std::uint8_t>();
  const auto type = input.Take<std::uint8_t>();
  const std::string name = ScratchFile("offsets.dng", input.Rest());
  const cv::Mat samples = BImage::ReadRggbDng(name);
  Require(samples.empty() || samples.total() * 2 <= input.Rest().size(),
          "a picture has no more samples than its file");
  Require(BImage::ReadRggbDng(ScratchName("none")).empty(), "no file, no picture");
  Shot shot;
  const std::int32_t code = shot.ReadDng(name, type, bayerCode);
  Require((code == 0) == !shot.image.empty(), "a shot gets its image, or stays as it was");
  Require(code != 0 || bayerCode != 0 || SameMat(shot.image, samples),
          "one plane is kept as it is");
}

}  // namespace dravix::fuzz
