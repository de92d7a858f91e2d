/// The corners of a mask, found where its outline is instead of in every pixel of the frame.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::region {

/// Up to four corners of the bright area in `frame` (CV_8UC1), the strongest first, in frame
/// pixels: the very points that cv::goodFeaturesToTrack returns for a block size of 111 pixels and
/// a distance of at least 100 pixels between corners. For a part of a larger dark frame they are
/// those of the whole frame, if the part begins at multiples of 64 pixels and shows 64 dark pixels
/// around the bright area.
///
/// `area` contains every pixel of the frame that is not zero. `qualityLevel`: the strength of the
/// weakest corner accepted, as a share of the strongest's. Throws cv::Exception unless it is above
/// 0.
[[nodiscard]] std::vector<cv::Point2f> StrongCorners(const cv::Mat& frame, const cv::Rect& area,
                                                     double qualityLevel);

}  // namespace dravix::region
