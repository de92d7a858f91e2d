#include "extractor/edges.h"

namespace dravix::extractor {

void ReplaceEdges(cv::Mat& lum, int depth) {
  // In small matrices the bands overlap, so the order shows in the result.
  const int lastRow = lum.rows - 1;
  for (int i = 0; i < depth; ++i) lum.row(depth).copyTo(lum.row(i));
  for (int i = 0; i < depth; ++i) lum.row(lastRow - depth).copyTo(lum.row(lastRow - i));
  const int lastColumn = lum.cols - 1;
  for (int i = 0; i < depth; ++i) lum.col(depth).copyTo(lum.col(i));
  for (int i = 0; i < depth; ++i) lum.col(lastColumn - depth).copyTo(lum.col(lastColumn - i));
}

cv::Mat MeasuredMarks(cv::Size size) {
  constexpr int kMeasured = 2;
  return {size, CV_8UC1, cv::Scalar(kMeasured)};
}

}  // namespace dravix::extractor
