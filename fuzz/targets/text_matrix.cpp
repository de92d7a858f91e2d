// A table of numbers as text: 8 bits for its columns, 8 for its rows, then the text.
#include <dravix/bio.h>

#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

FUZZ_TARGET(text_matrix, input) {
  const int cols = input.Take<std::int8_t>();
  const int rows = input.Take<std::int8_t>();
  const std::string name = ScratchFile("table.txt", input.Rest());
  cv::Mat table;
  Require(BIO::LoadTxtToMat(name, {cols, rows}, table), "a file that is there is read");
  Require(table.rows == std::max(rows, 0) && table.cols == std::max(cols, 0) &&
              table.type() == CV_32FC1,
          "the table has the size that was asked for");
  cv::Mat again;
  Require(BIO::LoadTxtToMat(name, {cols, rows}, again) && SameMat(again, table),
          "the same file gives the same table");
}

}  // namespace dravix::fuzz
