/// The corners of a mask, found where its outline is instead of in every pixel of the frame.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::region {

/// Side of the window, in pixels, over which the corner search sums up the outline's gradient. It
/// is wide so that the noise of the outline does not count. The price is that each corner lies
/// about half a window inside the true one, which a refinement has to make good.
constexpr int kCornerWindow = 111;
/// Dark pixels that a part of a frame must show around the bright area, unless the frame ends
/// before: half a window, whose middle then sees no outline any more; one for the gradient, which
/// sees the outline from the pixel beside it; and one because pixels at the border are no corners.
constexpr int kCornerMargin = kCornerWindow / 2 + 2;
/// A part of a frame must begin at multiples of so many pixels. The matrix library's gradient takes
/// up to 32 pixels at once from the left border on; with a multiple of that, a pixel's gradient
/// does not depend on where its part begins.
constexpr int kCornerStep = 64;

/// Up to four corners of the bright area in `frame` (CV_8UC1), the strongest first, in frame
/// pixels: the very points that cv::goodFeaturesToTrack returns for a block size of kCornerWindow
/// and a distance of at least 100 pixels between corners. For a part of a larger dark frame they
/// are those of the whole frame, if the part begins at multiples of kCornerStep and shows
/// kCornerMargin dark pixels around the bright area.
///
/// `area` contains every pixel of the frame that is not zero. `qualityLevel`: the strength of the
/// weakest corner accepted, as a share of the strongest's. Throws cv::Exception unless it is above
/// 0.
[[nodiscard]] std::vector<cv::Point2f> StrongCorners(const cv::Mat& frame, const cv::Rect& area,
                                                     double qualityLevel);

}  // namespace dravix::region
