// The matrix file of BIO: a mark and one record.
#include <dravix/bio.h>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(bin_file, input) {
  const std::string read = ScratchFile("read.bin", input.Rest());
  cv::Mat m;
  if (Refused([&] { Require(BIO::LoadBinToMat(read, m), "a file that is there is read"); })) return;
  const std::string saved = ScratchName("saved.bin");
  Require(BIO::SaveMatToBin(saved, m), "what was read can be saved");
  const std::string first = ContentOf(saved);
  cv::Mat again;
  Require(BIO::LoadBinToMat(saved, again) && SameMat(again, m), "a matrix survives its file");
  Require(BIO::SaveMatToBin(saved, again) && ContentOf(saved) == first,
          "saved, loaded and saved: same bytes");
}

}  // namespace dravix::fuzz
