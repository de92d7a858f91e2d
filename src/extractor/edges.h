/// The last steps of every measurement: edges, and the marks beside the luminances.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::extractor {

/// Overwrites the outer `depth` rows, then columns, by the nearest one that lies `depth` inside:
/// top, bottom, left, right. Throws cv::Exception when there is no such row or column.
void ReplaceEdges(cv::Mat& lum, int depth);

/// The matrix that goes with the luminances: CV_8UC1, every element 2.
[[nodiscard]] cv::Mat MeasuredMarks(cv::Size size);

}  // namespace dravix::extractor
