// A gray map of 16-bit samples.
#include <dravix/bimage.h>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(pgm, input) {
  const std::string name = ScratchFile("picture.pgm", input.Rest());
  const cv::Mat before(1, 1, CV_8UC1, cv::Scalar(7));
  cv::Mat picture = before;
  Require(!BImage::ReadPgm16(ScratchName("none"), picture), "no file, no picture");
  const bool read = BImage::ReadPgm16(name, picture);
  Require(read || picture.data == before.data, "a picture that is not read stays as it was");
  if (!read) return;
  Require(
      picture.type() == CV_16UC1 && !picture.empty() && picture.total() * 2 < input.Rest().size(),
      "a picture has no more samples than its file");
  cv::Mat again;
  Require(BImage::ReadPgm16(name, again) && SameMat(again, picture),
          "the same file gives the same picture");
}

}  // namespace dravix::fuzz
