#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <cstring>

namespace dravix::lab {
namespace {

/// Whether `depth` rows at the top and at the bottom are copies of the next row inside.
bool RowsAreCopied(const cv::Mat& matrix, int depth) {
  if (matrix.rows <= depth) return false;
  const std::size_t bytes = static_cast<std::size_t>(matrix.cols) * matrix.elemSize();
  const auto areEqual = [&](int a, int b) {
    return std::memcmp(matrix.ptr(a), matrix.ptr(b), bytes) == 0;
  };
  const int last = matrix.rows - 1;
  for (int i = 0; i < depth; ++i) {
    if (!areEqual(i, depth) || !areEqual(last - i, last - depth)) return false;
  }
  return true;
}

/// Whether `depth` columns on the left and on the right are copies of the next column inside.
bool ColumnsAreCopied(const cv::Mat& matrix, int depth) {
  if (matrix.cols <= depth) return false;
  for (int y = 0; y < matrix.rows; ++y) {
    const auto areEqual = [&](int a, int b) {
      return std::memcmp(matrix.ptr(y, a), matrix.ptr(y, b), matrix.elemSize()) == 0;
    };
    const int last = matrix.cols - 1;
    for (int i = 0; i < depth; ++i) {
      if (!areEqual(i, depth) || !areEqual(last - i, last - depth)) return false;
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
  // What is copied 4 deep is also equal 2 deep, so the wider border comes first.
  for (const int depth : {kCopiedBorder, kCopiedBorderByBlocks}) {
    if (RowsAreCopied(luminances, depth) && ColumnsAreCopied(luminances, depth)) return depth;
  }
  return 0;
}

std::int64_t CopiedLeds(int width, cv::Size leds) {
  const auto inside = [&](int length) {
    return static_cast<std::int64_t>(std::max(length - 2 * width, 0));
  };
  return static_cast<std::int64_t>(leds.width) * leds.height -
         inside(leds.width) * inside(leds.height);
}

std::string CopiedBorderText(int width, cv::Size leds) {
  if (width == 0) return CopiedBorderText(width);
  const auto all = static_cast<std::int64_t>(leds.width) * leds.height;
  return CopiedBorderText(width) + ", " + std::to_string(CopiedLeds(width, leds)) + " of " +
         std::to_string(all) + " LEDs";
}

std::string CopiedBorderText(int width) {
  if (width == 0) return "none";
  return "the outer " + std::to_string(width) + " LEDs on each side are copies of inner ones";
}

}  // namespace dravix::lab
