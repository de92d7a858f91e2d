/// The border LEDs of a result: replaced by inner ones, since the defocus spoils them.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::extractor {

/// Overwrites the outer `depth` rows and columns of `lum` with the nearest row or column that lies
/// `depth` inside: first the top rows, then the bottom ones, then the left and the right columns.
/// Throws cv::Exception when there is no such row or column.
void ReplaceBorderLeds(cv::Mat& lum, int depth);

}  // namespace dravix::extractor
