// A truth file, which names the file of its luminances: a piece of luminances, then the JSON.
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "stored/stored_data.h"
#include "stored/truth_file.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(truth_json, input) {
  ScratchFile("t.truth.npy", input.TakePiece());
  const std::string name = ScratchFile("t.json", input.Rest());
  try {
    Require(!tool::FilesOfTruth("--truth", name).empty(), "the file itself is one of its files");
    const tool::StoredTruth truth = tool::LoadTruth(name);
    Require(truth.luminances.type() == CV_32FC1 && truth.corners.size() == 4,
            "a truth has luminances and corners");
  } catch (const tool::Failure&) {
    return;
  }
}

}  // namespace dravix::fuzz
