#include <dravix/lab/copied_border.h>

#include <cstring>

namespace dravix::lab {
namespace {

bool RowsAreEqual(const cv::Mat& matrix, int a, int b) {
  const std::size_t bytes = static_cast<std::size_t>(matrix.cols) * matrix.elemSize();
  return std::memcmp(matrix.ptr(a), matrix.ptr(b), bytes) == 0;
}

/// Whether `depth` rows at the top and at the bottom are copies of the next row inside.
bool RowsAreCopied(const cv::Mat& matrix, int depth) {
  if (matrix.rows <= depth) return false;
  const int last = matrix.rows - 1;
  for (int i = 0; i < depth; ++i) {
    if (!RowsAreEqual(matrix, i, depth) || !RowsAreEqual(matrix, last - i, last - depth)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int CopiedBorderOf(const cv::Mat& luminances) {
  double low = 0;
  double high = 0;
  cv::minMaxLoc(luminances, &low, &high);
  if (low == high) return 0;
  const cv::Mat columns = luminances.t();
  // What is copied 4 deep is also equal 2 deep, so the wider border comes first.
  for (const int depth : {kCopiedBorder, kCopiedBorderByBlocks}) {
    if (RowsAreCopied(luminances, depth) && RowsAreCopied(columns, depth)) return depth;
  }
  return 0;
}

std::string CopiedBorderText(int width) {
  if (width == 0) return "none";
  return "the outer " + std::to_string(width) + " LEDs on each side are copies of inner ones";
}

}  // namespace dravix::lab
