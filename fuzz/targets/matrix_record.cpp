// One matrix record from a host's stream and from bytes, and written again.
#include <dravix/bio.h>

#include <sstream>

#include "fuzz/record_format.h"
#include "fuzz/same.h"
#include "image/mat_record.h"

namespace dravix::fuzz {
namespace {

std::string Written(const cv::Mat& m) {
  std::ostringstream out;
  WriteMat(m, out);
  return out.str();
}

}  // namespace

FUZZ_TARGET(matrix_record, input) {
  std::istringstream in(Text(input.Rest()));
  cv::Mat fromStream;
  const bool streamRefused = Refused([&] { ReadMat(in, fromStream); });

  base::ByteReader reader(input.Rest());
  cv::Mat fromBytes;
  const bool bytesRefused = Refused([&] { fromBytes = image::ReadMatRecord(reader); });
  Require(streamRefused == bytesRefused, "stream and bytes end alike");
  if (streamRefused) return;
  Require(SameMat(fromStream, fromBytes), "stream and bytes hold the same");

  const std::string written = Written(fromStream);
  std::istringstream again(written);
  cv::Mat second;
  ReadMat(again, second);
  Require(SameMat(second, fromStream), "a matrix survives writing");
  Require(Written(second) == written, "written, read and written: same bytes");
  Require(again.peek() == std::istringstream::traits_type::eof(), "a record is read to its end");
}

}  // namespace dravix::fuzz
