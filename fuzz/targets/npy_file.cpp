// A matrix in NumPy's format.
#include <cmath>

#include "fuzz/same.h"
#include "fuzz/target.h"
#include "matrices/matrix_files.h"
#include "terminal/failure.h"

namespace dravix::fuzz {

FUZZ_TARGET(npy_file, input) {
  cv::Mat values;
  try {
    values = tool::DecodeNpy("values.npy", Text(input.Rest()));
  } catch (const tool::Failure&) {
    return;
  }
  Require(values.type() == CV_32FC1 && values.total() * 4 <= input.Rest().size(),
          "a matrix has no more values than its file");
  const std::string written = tool::EncodeNpy(values);
  const cv::Mat again = tool::DecodeNpy("values.npy", written);
  Require(SameMat(again, values) && tool::EncodeNpy(again) == written, "values survive their file");
  const std::string csv = tool::EncodeCsv(values);
  Require(static_cast<int>(std::count(csv.begin(), csv.end(), '\n')) == values.rows,
          "a row is a line");
}

}  // namespace dravix::fuzz
