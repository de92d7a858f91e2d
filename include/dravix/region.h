/// RegionOI: where in the camera's frame the lit LED area lies.
#ifndef DRAVIX_REGION_H_
#define DRAVIX_REGION_H_

#include <dravix/export.h>

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

class Shot;

/// The LED area as rectangle, mask and corners. A host finds it (AutoSet, ComputeBlur) or sets it
/// (ManualSet), saves it, and hands it to DravixExtractPro. Pixel centres lie at integers. Copies
/// share their matrices, as cv::Mat does; no operation writes into a matrix that it did not make.
///
/// What OpenCV refuses (parameters, a rectangle or mask that does not fit the frame, areas beyond
/// memory) it reports as cv::Exception; the region is then as it was (AutoSet's mode apart). The
/// exports of dravix.h turn that into a code.
class DRAVIX_API RegionOI {
 public:
  std::int32_t frameWidth = 0, frameHeight = 0;  ///< image that the region refers to, pixels
  cv::Rect rect;                                 ///< in frame pixels
  cv::Mat mask;                                  ///< CV_8UC1, of rect's size, 255 = LED area
  std::int32_t mode = 0;       ///< 0 after AutoSet, 2 after ManualSet, 3 after PerspectiveSet
  const Shot* shot = nullptr;  ///< not owned
  cv::Mat perspective;         ///< 3 x 3 CV_64F, rectified from frame; empty until PerspectiveSet

  // The defaults below were chosen on 60 simulated screens (bench/region_defaults.cpp: photographs
  // of 0.5 to 3 megapixels, LED pitch 4 to 12 px, tilt to 12 degrees, lens distortion to 1 %, dead
  // LEDs). Errors are root mean squares over a screen's four corners after GetPrecision4Corner.
  // With them all 60 are found after ManualSet (0.85 px over all, worst 1.6) and after ComputeBlur
  // (1.4 px, worst 4.3; 51 within 2 px), 58 after AutoSet (5.0 px, worst 6.9).

  /// AutoSet searches at 1 / this size. Only 2 is possible: OpenCV's pyramids halve and double.
  std::int32_t pyramidFactor = 2;
  /// Side in pixels of ComputeMask's Gaussian and of the square with which ComputeBlur closes and
  /// opens; odd, >= 1. The larger, the better gaps between LEDs are bridged, and the farther out
  /// AutoSet's outline lies, as its mask is grown by 1.5 times this side: 3.0 px off at 3, 5.0 at
  /// 5, 8.6 at 7, 13.5 at 11. ComputeBlur: 5.4 px at 1, 3.8 at 3, then 1.3 to 1.4 up to 15. 5 is
  /// the smallest that serves both. At 1 and at 7 and 9 AutoSet took wrong corners on a screen
  /// (650 px off), at 5 never; from 11 upwards it finds all 60.
  std::int32_t blurKernelSize = 5;
  /// Sigma of the Gaussians of ComputeMask and ComputeBlur, pixels. Hardly matters: ComputeBlur is
  /// 1.5 px off at 0.8 and 1.4 at 1.5 to 10. At 10 the small kernels are near their strongest blur.
  float blurSigma = 10.0F;
  /// Weakest corner accepted, as a share of the strongest; above 0. The screens' corners are found
  /// alike from 0.01 to 0.4; at 0.5 AutoSet loses one. It decides for skewed areas: of 50
  /// quadrilaterals of 250 px a side and more whose corners were moved by up to half a side, 0.06
  /// found 49 (38 within 4 px), 0.1 found 48 (38), 0.15 41 (37), 0.2 40 (37); from 0.06 downwards
  /// areas that are no quadrilateral begin to pass.
  float cornerQualityLevel = 0.1F;
  /// Half the side of the window in which a corner is refined, pixels; twice this and 5 more must
  /// fit into the frame. Corners are detected some 54 px inside the true ones: windows of 50 and
  /// less stay there (66 to 73 px off). ManualSet: 0.81 px at 55, 0.85 at 60, 0.97 at 70, 1.2 at
  /// 90, 1.7 at 111; ComputeBlur: 1.4 px at 55 to 65, 1.9 at 90, 2.4 at 111.
  std::int32_t cornerRefineWindow = 60;

  // --- finding the region ---

  /// Remembers the shot and takes its size as the frame. 0; 1 no shot or empty image.
  std::int32_t SetShot(const Shot* newShot);
  /// Finds the lit area in the current shot, searching at half size. The mask is grown and lies
  /// outside the LEDs (see blurKernelSize): for corners within 2 px take ComputeBlur or ManualSet.
  /// 0, mode is 0; 1 no shot or empty image; 200 none. On failure all but the mode stays.
  std::int32_t AutoSet();
  /// Mask (CV_8UC1, the image's size) of the largest lit area of an 8-bit, one-channel image that
  /// is not empty, dilated by an ellipse of 3 * blurKernelSize / 2; empty when there is none.
  cv::Mat ComputeMask(const cv::Mat& image) const;
  /// Finds the lit area in the current shot when it is defocused; the mode stays.
  /// 0; 1 no shot or empty image; 200 none, nothing changed.
  std::int32_t ComputeBlur();
  /// Sets the area from four corners in any order, pixels of a frame of that size.
  /// 0; 201 not four, or three on one side of their mean height; 203 one outside the frame.
  /// Nothing changes on failure.
  std::int32_t ManualSet(cv::Size frame, const std::vector<cv::Point>& corners4);

  // --- corners and perspective ---

  /// The mask's four corners in frame pixels: top-left, top-right, bottom-right, bottom-left. The
  /// area needs about 210 px a side, and its corners 40 px to the frame's border or, at worst, 1:
  /// where all sides run 20 px inside it, a third of the areas gets wrong corners or none.
  /// 0; 204 with `corners` unchanged when there are not four, or with an inner rectangle of the
  /// frame in `corners` when the four cannot be ordered.
  std::int32_t GetPrecision4Corner(std::vector<cv::Point>& corners) const;
  /// Takes four ordered corners as the area to rectify; frame, rectangle and mask become the
  /// rectified rectangle, the longer of opposite sides wide and high. 0; 201 not four, nothing
  /// changed. Corners that coincide are taken, and leave an empty region.
  std::int32_t PerspectiveSet(const std::vector<cv::Point>& corners4);
  /// Rectifies the shot's image and keeps the shot as the current one. 0; 1 no shot or empty image;
  /// 202 no PerspectiveSet before: the image is untouched.
  std::int32_t WarpPerspective(Shot* target);
  /// Turns frame, rectangle and mask with an image turned counter-clockwise by a multiple of 90
  /// degrees. The mask is transposed for quarter turns and left as it is for half turns, never
  /// mirrored. 0; 9 another angle, or a negative multiple of 360: nothing changed.
  std::int32_t Rotate(int roll_angle);

  // --- file, buffer and picture ---

  /// Writes frame, rectangle and mask to a file ending in ".roi". 0; 8 wrong extension; 4 cannot be
  /// opened or written whole: what was there stays.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote; mode, perspective, shot and parameters stay. 0; 8 wrong extension;
  /// 2 cannot be opened; 10 no mark; 3 wrong version: the region is unchanged.
  std::int32_t Load(const std::string& fullname);
  /// Stores the bytes ToBuffer would write. 0; 1 null; 5 empty region.
  std::int32_t GetBufferSize(std::size_t* size) const;
  /// *size: capacity in, length out. 0; 1 null; 13 too small, nothing changed.
  std::int32_t ToBuffer(char* buffer, std::size_t* size) const;
  /// Reads the bytes of ToBuffer or of a file, never beyond `size` of them. 0; 1 null; 10 no mark;
  /// 3 wrong version: the region is unchanged.
  std::int32_t FromBuffer(const char* buffer, std::size_t size);
  /// Draws the region over the shot's picture for checking, in a file of the format that the name's
  /// extension says: outline green, its rotated box magenta, corners and sizes of the rectangle in
  /// yellow, in letters that grow with the picture. 0; 5 empty region; 4 not written, or a shot
  /// without pixels.
  std::int32_t ExportImage(const std::string& fullname, const Shot& photo) const;
};

/// Four points as top-left, top-right, bottom-right, bottom-left; empty unless exactly two of them
/// lie above their mean height.
DRAVIX_API std::vector<cv::Point> OrderCorners(const std::vector<cv::Point>& corners);
/// The rectangle's own corner pixels, in that order.
DRAVIX_API std::vector<cv::Point> RectToCorners(const cv::Rect& rect);
/// The points of cv::RotatedRect::points in its order, each coordinate trunc(value + 0.5f).
DRAVIX_API std::vector<cv::Point> RectToCorners(const cv::RotatedRect& rect);

#endif  // DRAVIX_REGION_H_
