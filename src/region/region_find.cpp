/// Finds the lit area in a photograph, or takes it from four corners set by hand.
///
/// Both searches work on a gray picture: they blur it, tell lit pixels from dark ones by Otsu's
/// threshold, and take the outline with the largest rotated bounding box as the lit area. AutoSet
/// does so at half size, where the gaps between LEDs are narrower, and grows its mask. ComputeBlur
/// works at full size, also takes what is brighter than its neighborhood, and does not grow its
/// mask, so that its outline lies closer to the true one. Neither can tell the screen from other
/// light of the same brightness, nor find a part of the screen that is as dark as the surround.
#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <algorithm>
#include <climits>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "image/binary.h"
#include "image/lit_area.h"
#include "region/defocused.h"
#include "region/half_size.h"
#include "region/largest_area.h"
#include "region/rounding.h"

namespace {

using dravix::image::Contour;
using dravix::image::Contours;
using dravix::image::Filled;
using dravix::image::LargestByMinAreaRect;
using dravix::image::OuterContours;
using dravix::region::ClampToInt32;

constexpr std::uint32_t kNeedsImage = CHECK_NOT_NULL | CHECK_IMAGE;

/// The ellipse by which ComputeMask grows its mask.
cv::Mat GrowingEllipse(int blurKernelSize) {
  const int side = ClampToInt32(std::int64_t{3} * blurKernelSize / 2);
  return cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(side, side));
}

void WarnOfSeveralAreas(std::size_t count) {
// The text has no placeholder for the count; a logging library that keeps the arguments has it.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
#endif
  AlgoLogWarn("RegionOI::ComputeMask--Warning :: Find >1 areas.", static_cast<int>(count));
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
}

bool Inside(const cv::Point& point, cv::Size frame) {
  return point.x >= 0 && point.x < frame.width && point.y >= 0 && point.y < frame.height;
}

}  // namespace

std::int32_t RegionOI::SetShot(const Shot* newShot) {
  AlgoLogInfo("RegionOI::SetShot");
  const std::int32_t code = Shot::Check(kNeedsImage, newShot);
  if (code != DRAVIX_OK) return code;
  shot = newShot;
  frameWidth = newShot->image.cols;
  frameHeight = newShot->image.rows;
  return DRAVIX_OK;
}

std::int32_t RegionOI::AutoSet() {
  AlgoLogInfo("RegionOI::AutoSet");
  mode = 0;
  const std::int32_t code = Shot::Check(kNeedsImage, shot);
  if (code != DRAVIX_OK) return code;

  // pyrDown halves and pyrUp doubles. At another factor they refuse the sizes or, for images of a
  // few pixels, give a mask that does not belong to the rectangle.
  if (pyramidFactor != 2) CV_Error(cv::Error::StsOutOfRange, "the pyramid factor must be 2");
  const int factor = pyramidFactor;
  const cv::Mat smallMask = ComputeMask(dravix::region::HalfSizeGray(*shot));
  if (smallMask.empty()) return DRAVIX_NO_LED_AREA;

  const cv::Rect found = cv::boundingRect(smallMask);
  const cv::Rect area(found.x * factor, found.y * factor, found.width * factor,
                      found.height * factor);
  cv::Mat areaMask;
  // The mask is not thresholded again: its border keeps the values between 0 and 255.
  cv::pyrUp(smallMask(found), areaMask, area.size());
  rect = area;
  mask = areaMask;
  return DRAVIX_OK;
}

cv::Mat RegionOI::ComputeMask(const cv::Mat& image) const {
  AlgoLogInfo("RegionOI::ComputeMask");
  // Steps write over what the one before has made where they can: memory that is touched for the
  // first time costs as much as the arithmetic.
  cv::Mat lit;
  cv::GaussianBlur(image, lit, cv::Size(blurKernelSize, blurKernelSize), blurSigma);
  dravix::image::BinarizeByOtsu(lit, lit);
  const Contours contours = OuterContours(lit);
  if (contours.empty()) {
    AlgoLogError("RegionOI::ComputeMask--Error :: Cannot find led area.");
    return {};
  }
  if (contours.size() > 1) WarnOfSeveralAreas(contours.size());
  cv::Mat area = Filled(contours, LargestByMinAreaRect(contours), image.size());
  cv::dilate(area, area, GrowingEllipse(blurKernelSize), cv::Point(-1, -1), 1, cv::BORDER_CONSTANT);
  return area;
}

std::int32_t RegionOI::ComputeBlur() {
  AlgoLogInfo("RegionOI::ComputeBlur");
  const std::int32_t code = Shot::Check(kNeedsImage, shot);
  if (code != DRAVIX_OK) return code;
  std::optional<dravix::region::LitArea> area =
      dravix::region::FindDefocused(*shot, {blurSigma, blurKernelSize});
  if (!area) {
    AlgoLogError("RegionOI::ComputeBlur--Error :: Cannot find led area.");
    return DRAVIX_NO_LED_AREA;
  }
  mask = area->mask;
  rect = area->rect;
  return DRAVIX_OK;
}

std::int32_t RegionOI::ManualSet(cv::Size frame, const std::vector<cv::Point>& corners4) {
  AlgoLogInfo("RegionOI::ManualSet");
  if (corners4.size() != 4) {
    AlgoLogError("RegionOI::ManualSet--Error :: corners4.size() != 4");
    return DRAVIX_NOT_FOUR_CORNERS;
  }
  const auto inFrame = [frame](const cv::Point& corner) { return Inside(corner, frame); };
  if (!std::all_of(corners4.begin(), corners4.end(), inFrame)) {
    AlgoLogError("RegionOI::ManualSet--Error :: corners not in image");
    return DRAVIX_CORNER_OUTSIDE;
  }
  Contour outline = OrderCorners(corners4);
  if (outline.empty()) {
    AlgoLogError("RegionOI::ManualSet--Error :: corners4.size() != 4");
    return DRAVIX_NOT_FOUR_CORNERS;
  }
  // Only the outline's rectangle is drawn, not the frame: filling gives the same pixels anywhere,
  // and a small area far from the origin must not cost the memory of the whole frame.
  const cv::Rect area = cv::boundingRect(outline);
  dravix::region::RequireAffordable(area.size());
  for (cv::Point& corner : outline) corner -= area.tl();
  mask = Filled({outline}, 0, area.size());
  rect = area;
  mode = 2;
  frameWidth = frame.width;
  frameHeight = frame.height;
  return DRAVIX_OK;
}
