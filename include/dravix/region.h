/// RegionOI: where in the camera's frame the lit area lies.
#ifndef DRAVIX_REGION_H_
#define DRAVIX_REGION_H_

#include <dravix/export.h>

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

class Shot;

/// The lit area as rectangle, mask and corners. A host finds it (AutoSet, ComputeBlur) or sets it
/// (ManualSet), saves it, and hands it to DravixExtractPro. Pixel centers lie at integers. Copies
/// share their matrices, as those of cv::Mat do; no operation writes into a matrix that it did not
/// make.
///
/// What OpenCV refuses (parameters, a rectangle or mask that does not fit the frame), areas of more
/// than 2^28 pixels that are stated by their corners, and what needs more memory than there is, is
/// reported as cv::Exception, or as std::bad_alloc where memory runs out; the region is then as it
/// was, except for AutoSet's mode. There are no other exceptions. The exports of dravix.h turn them
/// into a code.
class DRAVIX_API RegionOI {
 public:
  std::int32_t frameWidth = 0, frameHeight = 0;  ///< size in pixels of the image it refers to
  cv::Rect rect;                                 ///< in frame pixels
  cv::Mat mask;                                  ///< CV_8UC1, of rect's size, 255 = lit area
  std::int32_t mode = 0;       ///< 0 after AutoSet, 2 after ManualSet, 3 after PerspectiveSet
  const Shot* shot = nullptr;  ///< not owned
  cv::Mat perspective;  ///< 3 x 3 CV_64F, maps frame to rectified; empty until PerspectiveSet

  // The defaults below were chosen on 60 simulated screens; docs/accuracy.md has the figures.

  /// AutoSet searches at 1 / this size. Range: 2 only, since OpenCV's pyramids halve and double.
  std::int32_t pyramidFactor = 2;
  /// Side in pixels of ComputeMask's Gaussian and of the square with which ComputeBlur closes and
  /// opens. Range: odd, 1 and more; 5 is the smallest value that bridges the gaps between LEDs for
  /// both, and AutoSet's outline lies the farther out the larger it is.
  std::int32_t blurKernelSize = 5;
  /// Sigma in pixels of the Gaussians of ComputeMask and ComputeBlur. Range: above 0; from 0.8 to
  /// 10 it hardly matters.
  float blurSigma = 10.0F;
  /// Weakest corner accepted, as a share of the strongest. Range: above 0, useful from 0.06 to 0.4;
  /// below, areas that are no quadrilateral pass, and above, skewed ones lose a corner.
  float cornerQualityLevel = 0.1F;
  /// Half the side in pixels of the window in which a corner is refined. Range: 1 and more, useful
  /// from 55 to 75, and twice this plus 5 must fit into the frame; smaller windows do not reach the
  /// true corner.
  std::int32_t cornerRefineWindow = 60;

  // --- finding the region ---

  /// Remembers the shot and takes its size as the frame. 0; 1 no shot or empty image.
  std::int32_t SetShot(const Shot* newShot);
  /// Finds the lit area in the current shot, searching at half size. The mask is grown, so that its
  /// outline lies some pixels outside the LEDs (see blurKernelSize); ComputeBlur and ManualSet come
  /// closer. 0, mode is 0; 1 no shot or empty image; 200 no lit area. On failure only the mode
  /// changes.
  std::int32_t AutoSet();
  /// Returns the mask (CV_8UC1, the image's size) of the largest lit area of `image`, grown by an
  /// ellipse of 3 * blurKernelSize / 2 pixels across; empty when there is none. `image` has 8 bits,
  /// one channel and at least one pixel.
  cv::Mat ComputeMask(const cv::Mat& image) const;
  /// Finds the lit area in the current shot, which is defocused; the mode stays.
  /// 0; 1 no shot or empty image; 200 no lit area, nothing changed.
  std::int32_t ComputeBlur();
  /// Sets the area from four corners in any order, in pixels of a frame of that size.
  /// 0; 201 not four, or three of them on one side of their mean height; 203 one lies outside the
  /// frame. Nothing changes on failure.
  std::int32_t ManualSet(cv::Size frame, const std::vector<cv::Point>& corners4);

  // --- corners and perspective ---

  /// Finds the mask's four corners in frame pixels: top-left, top-right, bottom-right, bottom-left.
  /// The area needs sides of about 210 pixels, and a distance of 40 pixels or more from the frame's
  /// border; docs/accuracy.md says what happens closer to it.
  /// 0; 204 with `corners` unchanged when there are not four, or with an inner rectangle of the
  /// frame in `corners` when the four cannot be ordered.
  std::int32_t GetPrecision4Corner(std::vector<cv::Point>& corners) const;
  /// Takes four ordered corners as the area to rectify. Frame, rectangle and mask become the
  /// rectified rectangle, whose width and height are the longer of the area's opposite sides. 0;
  /// 201 not four, nothing changed. Corners that coincide are accepted, and leave an empty region.
  std::int32_t PerspectiveSet(const std::vector<cv::Point>& corners4);
  /// Rectifies the image of `target` and keeps it as the current shot. 0; 1 no shot or empty image;
  /// 202 no PerspectiveSet before: the image is untouched. The rectified image may have 2^28 bytes
  /// or, if that is more, as many pixels as the square of the image's diagonal.
  std::int32_t WarpPerspective(Shot* target);
  /// Turns frame, rectangle and mask with an image that is turned counter-clockwise by a multiple
  /// of 90 degrees. A quarter turn transposes the mask, a half turn leaves it as it is; it is never
  /// mirrored. 0; 9 another angle, or a negative multiple of 360: nothing changed.
  std::int32_t Rotate(int roll_angle);

  // --- file, buffer and picture ---

  /// Writes frame, rectangle and mask to a file ending in ".roi". 0; 8 wrong extension; 4 cannot be
  /// opened, or cannot be written whole.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote; mode, perspective, shot and parameters stay. 0; 8 wrong extension;
  /// 2 cannot be opened; 10 wrong mark; 3 wrong version. On failure the region is unchanged.
  std::int32_t Load(const std::string& fullname);
  /// Stores how many bytes ToBuffer would write. 0; 1 null; 5 empty region.
  std::int32_t GetBufferSize(std::size_t* size) const;
  /// Writes the bytes of the file into `buffer`. *size is its capacity before the call and the
  /// length after it. 0; 1 null; 13 too small, nothing changed.
  std::int32_t ToBuffer(char* buffer, std::size_t* size) const;
  /// Reads the bytes of ToBuffer or of a file, never more than `size` of them. 0; 1 null; 10 wrong
  /// mark; 3 wrong version. On failure the region is unchanged.
  std::int32_t FromBuffer(const char* buffer, std::size_t size);
  /// Draws the region over the shot's picture, so that a person can check it, and writes a file in
  /// the format that the name's extension says. The outline is green, its rotated box magenta; the
  /// rectangle's corners and sizes are yellow, in letters that grow with the picture. 0; 5 empty
  /// region; 4 not written, or a shot without pixels.
  std::int32_t ExportImage(const std::string& fullname, const Shot& photo) const;
};

/// Orders four points as top-left, top-right, bottom-right, bottom-left. Empty unless there are
/// four and exactly two of them lie above their mean height.
DRAVIX_API std::vector<cv::Point> OrderCorners(const std::vector<cv::Point>& corners);
/// The rectangle's own corner pixels, in that order.
DRAVIX_API std::vector<cv::Point> RectToCorners(const cv::Rect& rect);
/// The points of cv::RotatedRect::points in its order, each coordinate truncated after adding 0.5.
DRAVIX_API std::vector<cv::Point> RectToCorners(const cv::RotatedRect& rect);

#endif  // DRAVIX_REGION_H_
