// A DNG whose strip tag points at the samples, from the bottom up: a plane type, the file.
#include <dravix/bimage.h>
#include <dravix/shot.h>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(dng_direct, input) {
  const auto type = input.Take<std::uint8_t>();
  const std::string name = ScratchFile("direct.dng", input.Rest());
  const cv::Mat samples = BImage::ReadDngToup(name);
  Require(samples.empty() || samples.total() * 2 <= input.Rest().size(),
          "a picture has no more samples than its file");
  Require(BImage::ReadDngToup(ScratchName("none")).empty(), "no file, no picture");
  Shot shot;
  const std::int32_t code = shot.ReadDngToupTek(name, type);
  Require((code == 0) == !shot.image.empty(), "a shot gets its image, or stays as it was");
  Require(code != 0 || SameMat(shot.image, samples), "the plane is kept as it is");
}

}  // namespace dravix::fuzz
