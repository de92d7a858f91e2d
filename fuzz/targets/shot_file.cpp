// A photograph with its metadata, .shot, as file and as buffer.
#include <dravix/shot.h>

#include "fuzz/record_format.h"

namespace dravix::fuzz {

FUZZ_TARGET(shot_file, input) {
  CheckRecordFormat<Shot, std::size_t, std::size_t>(input.Rest(), ".shot");
  // Groups that a file lacks stay, so that reading it into a shot that has them is another way.
  Shot known;
  known.SetPointLocatorMeta(120016, std::array{64, 48}.data(), std::array{2, 2}.data(), 1, 35);
  if (Refused([&] { known.FromBuffer(Chars(input.Rest()), input.Rest().size()); })) {
    return;
  }
  known.Info();
}

}  // namespace dravix::fuzz
