/// CheckerboardDetector: finds the blocks of a checkerboard of LEDs in the order of the grid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "checkerboard/geometry/lit_area_share.h"
#include "checkerboard/geometry/sides.h"
#include "kernels/targets.h"

class Shot;

/// Finds, in a photograph of the screen that shows lit and dark blocks by turns, the cell of every
/// block: its rectangle in the rectified working image. A detector lives for one run: SetImage,
/// SetParam, checkborderPrision; then `mask`, `cells` and the grid are read. Lengths are in
/// working-image pixels.
class CheckerboardDetector {
 public:
  /// A contour that was looked at and not used for a block.
  struct Rejected {
    cv::Rect rect;
    /// A literal: "too small", "too large", "no rectangle", "no place" (a block of its color cannot
    /// be there) or "twice" (a larger one is at the same place).
    const char* reason;
  };

  cv::Mat mask;                  ///< CV_8UC1 of imageSize, 255 = lit area
  std::vector<cv::Rect> cells;   ///< one per block, row by row; columns * rows after SetParam
  cv::Mat transform;             ///< 3 x 3 CV_64F, working image from photograph
  cv::Size imageSize;            ///< of the working image
  std::int32_t gridColumns = 0;  ///< blocks across
  std::int32_t gridRows = 0;     ///< blocks down
  /// The contour rectangle of each block, -1 for none; columns * rows + 1 entries, the last -1.
  std::vector<std::int32_t> cellIndex;
  /// Blocks as found, lit ones first; from inferredFrom on, those inferred from their neighbors.
  std::vector<cv::Rect> contourRectangles;
  double cellArea = 0;        ///< expected area of a cell, in square pixels
  double maxCellArea = 0;     ///< larger rectangles are no blocks
  double minCellArea = 0;     ///< smaller ones neither
  double halfCellHeight = 0;  ///< half the expected height of a cell
  /// Share of the working image's width and height that the lit area takes.
  double areaScale = dravix::checkerboard::kLitAreaShare;
  /// Where a local threshold lies between the dark and the lit around it, in percent.
  std::int32_t edgeLevelPercent = 50;
  /// Side of the largest structuring element; small blocks get a smaller one.
  std::int32_t kernelSize = 11;
  float blurSigma = 10.0F;  ///< of the Gaussian that smooths both rectified photographs
  const Shot* checkerboardShot = nullptr;  ///< not owned
  const Shot* shot = nullptr;              ///< the measured one; not owned

  dravix::checkerboard::Sides outlineExcess;  ///< pixels by which the mask's outline is too far out

  // For the picture that ExportCheckerboardResult paints.
  cv::Mat rectified;  ///< CV_8UC1, the checkerboard in the working image
  std::vector<Rejected> rejected;
  std::size_t inferredFrom = 0;  ///< in contourRectangles
  bool keepsRectified = true;    ///< false: nobody will look at `rectified`, which stays empty

  /// Whether the photographs are warped row by row with the library's own kernels, where these can
  /// do it. Results are the same to the last bit; tests and benchmarks choose.
  bool byRows = dravix::kernels::VectorsAvailable();

  /// Remembers both shots. Returns 0; 1 when one is null, and then keeps the old ones.
  std::int32_t SetImage(const Shot* checkerboardShot, const Shot* shot);
  /// Sets the grid (columns, rows), the size of the working image and the perspective matrix, and
  /// resets mask, cells and cell index. Returns 0.
  std::int32_t SetParam(cv::Size gridSize, cv::Size imageSize, const cv::Mat& transform);
  /// Finds the blocks and matches them to the grid. Returns 0; 200 when there is no lit area; 300
  /// when the blocks do not match the grid.
  std::int32_t checkerboard();
  /// Finds the blocks and places each one exactly, into `cells`. Returns what checkerboard returns.
  std::int32_t checkborderPrision();
  /// Paints cells, their order and the contours over the rectified picture. Returns 0; 1 without a
  /// checkerboard shot; 4 when the picture was not written.
  std::int32_t ExportCheckerboardResult(const std::string& fullname) const;
};
