#include "extractor/border_leds.h"

namespace dravix::extractor {

void ReplaceBorderLeds(cv::Mat& lum, int depth) {
  // In a small matrix opposite bands overlap, so the order of the four copies shows in the result.
  const int lastRow = lum.rows - 1;
  for (int i = 0; i < depth; ++i) lum.row(depth).copyTo(lum.row(i));
  for (int i = 0; i < depth; ++i) lum.row(lastRow - depth).copyTo(lum.row(lastRow - i));
  const int lastColumn = lum.cols - 1;
  for (int i = 0; i < depth; ++i) lum.col(depth).copyTo(lum.col(i));
  for (int i = 0; i < depth; ++i) lum.col(lastColumn - depth).copyTo(lum.col(lastColumn - i));
}

}  // namespace dravix::extractor
