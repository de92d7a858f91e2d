/// Finds the corners of a region's mask, rectifies by corners, and turns a region with its image.
///
/// The corners are sought in the mask, not in the photograph. A corner detector with a window of
/// 111 pixels gives up to four points, which the outline's noise hardly moves but which lie about
/// half a window inside the true corners; an iterative refinement then moves each point to where
/// the outline's two edges meet. The detector needs areas of about 210 pixels a side, and corners
/// of about a right angle: a very acute or obtuse one may be too weak to be found.
#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "image/large_mat.h"
#include "region/corner_refinement.h"
#include "region/largest_area.h"
#include "region/region_state.h"
#include "region/rounding.h"
#include "region/strong_corners.h"

namespace {

using dravix::region::ClampToInt32;
using dravix::region::DarkMargin;
using dravix::region::FramePart;
using dravix::region::kCornerMargin;
using dravix::region::kCornerStep;
using dravix::region::RoundPixel;
using dravix::region::TruncToInt32;
using dravix::region::WindowFits;

constexpr int kCorners = 4;

/// Whether `rect` lies in the frame. The sums have 64 bits: the matrix library's own test adds in
/// 32 bits and accepts a rectangle whose end overflows.
bool Contains(cv::Size frame, const cv::Rect& rect) {
  return rect.x >= 0 && rect.y >= 0 && std::int64_t{rect.x} + rect.width <= frame.width &&
         std::int64_t{rect.y} + rect.height <= frame.height;
}

/// The mask at its place in the frame, with no more of the dark frame around it than the corner
/// search and the refinement look at: what a frame claims to measure must not cost memory or time.
FramePart SearchedPart(const RegionOI& region) {
  const cv::Size frame(region.frameWidth, region.frameHeight);
  if (!Contains(frame, region.rect)) {
    CV_Error(cv::Error::StsOutOfRange, "the region's rectangle leaves its frame");
  }
  if (region.mask.size() != region.rect.size() || region.mask.channels() != 1) {
    CV_Error(cv::Error::StsUnmatchedSizes, "the region's mask is not one plane of its rectangle");
  }
  // A window that does not fit into the frame is refused further on, and needs no margin.
  const std::int64_t margin = std::max<std::int64_t>(
      kCornerMargin,
      WindowFits(region.cornerRefineWindow, frame) ? DarkMargin(region.cornerRefineWindow) : 0);
  const auto begin = [margin](int start) {
    return static_cast<int>(std::max<std::int64_t>(0, start - margin)) / kCornerStep * kCornerStep;
  };
  const auto end = [margin](int stop, int whole) {
    return stop + static_cast<int>(std::min<std::int64_t>(margin, whole - stop));
  };
  const cv::Point from(begin(region.rect.x), begin(region.rect.y));
  const cv::Point to(end(region.rect.br().x, frame.width), end(region.rect.br().y, frame.height));
  FramePart part{dravix::image::LargeZeros(cv::Size(to - from), CV_8UC1), from, frame};
  region.mask.copyTo(part.image(region.rect - from));
  return part;
}

/// Whole pixels of the frame.
std::vector<cv::Point> Rounded(const std::vector<cv::Point2f>& corners) {
  std::vector<cv::Point> pixels;
  pixels.reserve(corners.size());
  for (const cv::Point2f& corner : corners) {
    pixels.emplace_back(RoundPixel(static_cast<double>(corner.x)),
                        RoundPixel(static_cast<double>(corner.y)));
  }
  return pixels;
}

/// The corners of a rectangle inside the frame, from which a host can go on by hand when the
/// corners that were found cannot be put in order.
std::vector<cv::Point> InnerRectangle(double width, double height) {
  const int left = TruncToInt32(width * 0.1);
  const int top = TruncToInt32(height * 0.1);
  const int right = TruncToInt32(width * 0.9);
  const int bottom = TruncToInt32(height * 0.9);
  return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

float Distance(const cv::Point2f& a, const cv::Point2f& b) {
  const float dx = a.x - b.x;
  const float dy = a.y - b.y;
  return std::sqrt(dx * dx + dy * dy);
}

/// The rectified length of two opposite sides, in pixels. A screen that is seen at an angle has
/// sides of different lengths; at the longer one no detail is lost.
int LongerSide(float a, float b) { return RoundPixel(std::max(a, b)); }

/// The angle as 0 to 359 degrees, or 360 for negative multiples of 360, which Rotate refuses.
std::int64_t NormalizedAngle(int rollAngle) {
  const std::int64_t angle = rollAngle;
  const std::int64_t turns = angle / 360;
  return angle < 0 ? angle + (1 - turns) * 360 : angle - turns * 360;
}

/// The start of an interval as counted from the other end of `whole`.
int FromOtherEnd(int whole, int length, int start) {
  return ClampToInt32(std::int64_t{whole} - length - start);
}

}  // namespace

std::int32_t RegionOI::GetPrecision4Corner(std::vector<cv::Point>& corners) const {
  AlgoLogInfo("RegionOI::GetPrecision4Corner");
  FramePart part;
  std::vector<cv::Point2f> found;
  if (!dravix::region::IsEmpty(*this)) {
    part = SearchedPart(*this);
    const cv::Point2f origin(part.origin);
    found = dravix::region::StrongCorners(part.image, rect - part.origin,
                                          static_cast<double>(cornerQualityLevel));
    for (cv::Point2f& corner : found) corner += origin;
  }
  if (found.size() != kCorners) {
    AlgoLogError("RegionOI::GetPrecision4Corner--Error ::  cannot find 4 points !!.");
    return DRAVIX_NO_CORNERS;
  }
  corners =
      OrderCorners(Rounded(dravix::region::Refined(part, std::move(found), cornerRefineWindow)));
  if (corners.empty()) {
    AlgoLogError("RegionOI::GetPrecision4Corner--Error ::  cannot find Correct 4 points !!.");
    corners = InnerRectangle(frameWidth, frameHeight);
    return DRAVIX_NO_CORNERS;
  }
  return DRAVIX_OK;
}

std::int32_t RegionOI::PerspectiveSet(const std::vector<cv::Point>& corners4) {
  AlgoLogInfo("RegionOI::PerspectiveSet");
  if (corners4.size() != kCorners) {
    AlgoLogError("RegionOI::PerspectiveSet--Error :: corners4.size() != 4");
    return DRAVIX_NOT_FOUR_CORNERS;
  }
  std::array<cv::Point2f, kCorners> frame;
  std::copy(corners4.begin(), corners4.end(), frame.begin());
  const int width = LongerSide(Distance(frame[1], frame[0]), Distance(frame[2], frame[3]));
  const int height = LongerSide(Distance(frame[2], frame[1]), Distance(frame[3], frame[0]));
  dravix::region::RequireAffordable({width, height});
  const auto right = static_cast<float>(width - 1);
  const auto bottom = static_cast<float>(height - 1);
  const std::array<cv::Point2f, kCorners> rectified = {
      {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}}};

  cv::Mat rectifiedFromFrame =
      cv::getPerspectiveTransform(frame.data(), rectified.data(), cv::DECOMP_LU);
  mask = cv::Mat(height, width, CV_8UC1, cv::Scalar(255));
  perspective = std::move(rectifiedFromFrame);
  rect = cv::Rect(0, 0, width, height);
  frameWidth = width;
  frameHeight = height;
  mode = 3;
  return DRAVIX_OK;
}

std::int32_t RegionOI::WarpPerspective(Shot* target) {
  AlgoLogInfo("RegionOI::WarpPerspective");
  const std::int32_t code = Shot::Check(CHECK_NOT_NULL | CHECK_IMAGE, target);
  if (code != DRAVIX_OK) return code;
  shot = target;
  if (perspective.empty()) {
    AlgoLogError("RegionOI::WarpPerspective--Error ::need compute perspective_mat_ is empty");
    return DRAVIX_NO_PERSPECTIVE;
  }
  const cv::Size size(frameWidth, frameHeight);
  dravix::region::RequireAffordable(size, dravix::region::MostRectifiedPixels(target->image));
  cv::Mat rectified;
  cv::warpPerspective(target->image, rectified, perspective, size, cv::INTER_LINEAR,
                      cv::BORDER_CONSTANT, cv::Scalar(0));
  target->image = rectified;
  return DRAVIX_OK;
}

std::int32_t RegionOI::Rotate(int roll_angle) {
  AlgoLogInfo("RegionOI::Rotate");
  const std::int64_t angle = NormalizedAngle(roll_angle);
  if (angle == 0) return DRAVIX_OK;
  if (angle == 180) {
    rect.x = FromOtherEnd(frameWidth, rect.width, rect.x);
    rect.y = FromOtherEnd(frameHeight, rect.height, rect.y);
    return DRAVIX_OK;
  }
  if (angle != 90 && angle != 270) {
    AlgoLogError("RegionOI::Rotate--Error :: roll_angle");
    return DRAVIX_BAD_ARGUMENT;
  }
  // The mask is transposed and never mirrored. That is exact for symmetric masks, such as those of
  // PerspectiveSet, and hosts rely on it for all others.
  cv::Mat turned;
  if (!mask.empty()) cv::transpose(mask, turned);
  mask = turned;
  std::swap(frameWidth, frameHeight);
  rect = cv::Rect(rect.y, rect.x, rect.height, rect.width);
  if (angle == 90) {
    rect.y = FromOtherEnd(frameHeight, rect.height, rect.y);
  } else {
    rect.x = FromOtherEnd(frameWidth, rect.width, rect.x);
  }
  return DRAVIX_OK;
}
