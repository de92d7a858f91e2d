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
class DRAVIX_API RegionOI {
 public:
  std::int32_t frameWidth = 0, frameHeight = 0;  ///< image that the region refers to, pixels
  cv::Rect rect;                                 ///< in frame pixels
  cv::Mat mask;                                  ///< CV_8UC1, of rect's size, 255 = LED area
  std::int32_t mode = 0;       ///< 0 after AutoSet, 2 after ManualSet, 3 after PerspectiveSet
  const Shot* shot = nullptr;  ///< not owned
  cv::Mat perspective;         ///< 3 x 3 CV_64F, rectified from frame; empty until PerspectiveSet
  std::int32_t pyramidFactor = 2;  ///< AutoSet searches at 1 / this size; only 2 is possible
  std::int32_t blurKernelSize = 5;
  float blurSigma = 10.0F;
  float cornerQualityLevel = 0.2F;
  std::int32_t cornerRefineWindow = 60;

  // --- finding the region ---

  /// Remembers the shot and takes its size as the frame. 0; 1 no shot or empty image.
  std::int32_t SetShot(const Shot* newShot);
  /// Finds the lit area in the current shot, searching at half size. 0; 1 no shot; 200 none.
  std::int32_t AutoSet();
  /// Mask of the largest lit area of an 8-bit, one-channel image, dilated; empty when there is
  /// none.
  cv::Mat ComputeMask(const cv::Mat& image) const;
  /// Finds the lit area in the current shot when it is defocused. 0; 1 no shot; 200 none.
  std::int32_t ComputeBlur();
  /// Sets the area from four corners in any order, pixels of a frame of that size.
  /// 0; 201 not four, or three on one side of their mean height; 203 one outside the frame.
  std::int32_t ManualSet(cv::Size frame, const std::vector<cv::Point>& corners4);

  // --- corners and perspective ---

  /// The mask's four corners in frame pixels: top-left, top-right, bottom-right, bottom-left.
  /// 0; 204 with `corners` unchanged when there are not four, or with an inner rectangle of the
  /// frame in `corners` when the four cannot be ordered.
  std::int32_t GetPrecision4Corner(std::vector<cv::Point>& corners) const;
  /// Takes four ordered corners as the area to rectify; frame, rectangle and mask become the
  /// rectified rectangle. 0; 201 not four.
  std::int32_t PerspectiveSet(const std::vector<cv::Point>& corners4);
  /// Rectifies the shot's image. 0; 1 no shot or empty image; 202 no PerspectiveSet before.
  std::int32_t WarpPerspective(Shot* target);
  /// Turns frame, rectangle and mask with an image turned counter-clockwise by a multiple of 90
  /// degrees. 0; 9 another angle, or a negative multiple of 360.
  std::int32_t Rotate(int roll_angle);

  // --- file, buffer and picture ---

  /// Writes frame, rectangle and mask to a file ending in ".roi". 0; 8 wrong extension; 4 cannot be
  /// opened or written whole: what was there stays.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote. 0; 8 wrong extension; 2 cannot be opened; 10 no mark; 3 wrong version:
  /// the region is unchanged.
  std::int32_t Load(const std::string& fullname);
  /// Stores the bytes ToBuffer would write. 0; 1 null; 5 empty region.
  std::int32_t GetBufferSize(std::size_t* size) const;
  /// *size: capacity in, length out. 0; 1 null; 13 too small, nothing changed.
  std::int32_t ToBuffer(char* buffer, std::size_t* size) const;
  /// Reads the bytes of ToBuffer or of a file. 0; 1 null; 10 no mark; 3 wrong version.
  std::int32_t FromBuffer(const char* buffer, std::size_t size);
  /// Draws the region over the shot's picture for checking. 0; 5 empty region; 4 not written.
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
