// The library's files as the tool loads them, each under each name.
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "stored/photograph_inputs.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"

namespace dravix::fuzz {
namespace {

/// A damaged file ends in the tool's own message, or in the matrix library's refusal.
template <class Work>
void Try(Work&& work) {
  try {
    static_cast<void>(Refused([&] { work(); }));
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace

FUZZ_TARGET(stored_content, input) {
  const std::string shot = ScratchFile("file.shot", input.Rest());
  const std::string region = ScratchFile("file.roi", input.Rest());
  const std::string result = ScratchFile("file.lum", input.Rest());
  Try([&] {
    const Shot loaded = tool::LoadShot(shot);
    Require(!loaded.image.empty(), "a loaded shot has an image");
    tool::RequireMeasurable(shot, loaded);
  });
  Try([&] {
    const RegionOI loaded = tool::LoadRegion(region);
    Require(loaded.mask.size() == loaded.rect.size(), "a loaded region's mask fits its rectangle");
  });
  Try([&] { Require(!tool::LoadLuminances(result).empty(), "a loaded result has luminances"); });
}

}  // namespace dravix::fuzz
