/// CheckerboardDetector: finds the blocks of a checkerboard of lit LEDs in grid order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "checkerboard/lit_area_share.h"
#include "checkerboard/sides.h"

class Shot;

/// Finds, in a photograph of the screen showing lit and dark blocks by turns, the rectangle of
/// every block in the rectified working image. Lives for one run: SetImage, SetParam,
/// checkborderPrision, then `mask`, `cells` and the grid are read. Lengths are in working-image
/// pixels.
class CheckerboardDetector {
 public:
  /// A contour that was looked at and not used for a cell.
  struct Rejected {
    cv::Rect rect;
    const char* reason;  ///< a literal: "too small", "too large", "no rectangle", "no
                         ///< place" (its colour is wrong there) or "twice"
  };

  cv::Mat mask;                  ///< CV_8UC1 of imageSize, 255 = LED area
  std::vector<cv::Rect> cells;   ///< one per block, row by row; columns * rows after SetParam
  cv::Mat transform;             ///< 3 x 3 CV_64F, working image from photograph
  cv::Size imageSize;            ///< of the working image
  std::int32_t gridColumns = 0;  ///< blocks across
  std::int32_t gridRows = 0;     ///< blocks down
  std::vector<std::int32_t> cellIndex;      ///< contour rectangle of each grid position, -1 for
                                            ///< none; columns * rows + 1 entries, the last -1
  std::vector<cv::Rect> contourRectangles;  ///< blocks as found, lit ones first; then, from
                                            ///< inferredFrom on, those inferred from neighbours
  double cellArea = 0;                      ///< expected area of one block
  double maxCellArea = 0;                   ///< larger rectangles are no blocks
  double minCellArea = 0;                   ///< smaller ones neither
  double halfCellHeight = 0;                ///< half the expected height of a block
  /// share of the working image's width and height that the lit area takes
  double areaScale = dravix::checkerboard::kLitAreaShare;
  std::int32_t edgeLevelPercent = 50;  ///< where an edge lies between dark and lit around it
  std::int32_t kernelSize = 11;        ///< largest structuring element; smaller for small blocks
  float blurSigma = 10.0F;
  const Shot* checkerboardShot = nullptr;  ///< not owned
  const Shot* shot = nullptr;              ///< the measured one; not owned

  dravix::checkerboard::Sides outlineExcess;  ///< how far the mask's outline lies too far out

  // For the picture that ExportCheckerboardResult paints.
  cv::Mat rectified;  ///< CV_8UC1, the checkerboard in the working image
  std::vector<Rejected> rejected;
  std::size_t inferredFrom = 0;  ///< in contourRectangles

  /// Remembers both shots. 0; 1 when one is null.
  std::int32_t SetImage(const Shot* checkerboardShot, const Shot* shot);
  /// Sets grid (columns, rows), size of the working image and the perspective matrix; resets mask,
  /// cells and cell index. 0.
  std::int32_t SetParam(cv::Size gridSize, cv::Size imageSize, const cv::Mat& transform);
  /// Finds the blocks and matches them to the grid. 0; 200 no LED area; 300 no such grid.
  std::int32_t checkerboard();
  /// Finds the blocks and places each one exactly, into `cells`. 0; 200; 300.
  std::int32_t checkborderPrision();
  /// Paints cells, order and contours over the rectified picture. 0; 1 no checkerboard shot; 4 the
  /// picture was not written.
  std::int32_t ExportCheckerboardResult(const std::string& fullname) const;
};
