/// One luminance per LED, measured block by block.
///
/// The detector gives the rectangle of every block of a checkerboard in the working image. Each
/// block is averaged to its own LEDs as the whole area is in the other pipeline, so that what the
/// lens bends matters only within a block. Blocks on the screen's border are cut by the mask; inner
/// ones are taken as the detector gives them.
#include <algorithm>
#include <opencv2/core/utility.hpp>

#include "checkerboard/checkerboard.h"
#include "checkerboard/grid_view.h"
#include "extractor/border_leds.h"
#include "extractor/cells_by_rows.h"
#include "extractor/extractor.h"
#include "extractor/measured_marks.h"
#include "extractor/rectify.h"
#include "extractor/resample.h"
#include "extractor/stretched_columns.h"

namespace {

using dravix::checkerboard::GridIndex;
using dravix::checkerboard::IsBorder;
using dravix::extractor::Cell;
using dravix::extractor::ColumnRun;
using dravix::extractor::FirstRuns;

/// Border blocks are cut closer to the true edge than the whole area is, so fewer outer rows and
/// columns are measured too low than in the other pipeline.
constexpr int kBorderDepth = 2;

/// The rows that are averaged in each column of a cell: those of the mask in a border cell, all
/// rows in an inner one.
std::vector<ColumnRun> CellRuns(const CheckerboardDetector& detector, const cv::Rect& cell,
                                bool border) {
  if (border) return FirstRuns(detector.mask(cell));
  if (cell.width < 0) CV_Error(cv::Error::StsOutOfRange, "a cell has a width below 0");
  return std::vector<ColumnRun>(static_cast<std::size_t>(cell.width), ColumnRun{0, cell.height});
}

/// How the blocks divide the LEDs.
struct Blocks {
  explicit Blocks(const Dravix& dravix)
      : side(dravix.singleAreaSize),
        lastWidth(dravix.lastColumnAreaWidth),
        lastHeight(dravix.lastRowAreaHeight) {}

  [[nodiscard]] cv::Rect LedsOf(int column, int row, cv::Size grid) const {
    return {side * column, side * row, column == grid.width - 1 ? lastWidth : side,
            row == grid.height - 1 ? lastHeight : side};
  }

  int side, lastWidth, lastHeight;
};

cv::Size GridOf(const CheckerboardDetector& detector) {
  return {detector.gridColumns, detector.gridRows};
}

/// The cell of a block. Throws what the matrix library throws where a border cell leaves the mask.
Cell CellOf(const CheckerboardDetector& detector, const Blocks& blocks, int column, int row) {
  const cv::Size grid = GridOf(detector);
  const cv::Rect& rect = detector.cells.at(GridIndex(column, row, grid.width));
  return {rect, CellRuns(detector, rect, IsBorder(grid, column, row)),
          blocks.LedsOf(column, row, grid)};
}

/// Whether nothing stands in the way of measuring all blocks. Where something does, the blocks are
/// measured one after the other, up to the first that cannot be.
bool AllMeasurable(const CheckerboardDetector& detector, const Blocks& blocks, cv::Size working,
                   cv::Size leds) {
  const auto inside = [](const cv::Rect& r, cv::Size size) {
    return !r.empty() && (r & cv::Rect({}, size)) == r;
  };
  const cv::Size grid = GridOf(detector);
  for (int row = 0; row < grid.height; ++row) {
    for (int column = 0; column < grid.width; ++column) {
      if (!inside(detector.cells.at(GridIndex(column, row, grid.width)), working)) return false;
      const cv::Rect place = blocks.LedsOf(column, row, grid);
      if (!inside(place, leds)) return false;
      // A value for each LED row and pixel column could take far more memory than the photograph.
      if (place.height > working.height) return false;
      const Cell cell = CellOf(detector, blocks, column, row);
      if (std::any_of(cell.runs.begin(), cell.runs.end(),
                      [](const ColumnRun& run) { return run.length < 1; })) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

std::int32_t Dravix::CalLum(const cv::Mat& image, const CheckerboardDetector& detector) {
  lum = cv::Mat(
      cv::Mat::zeros(ledHeight, ledWidth, CV_32FC1));  // a new matrix: a host may hold the old one
  const Blocks blocks(*this);
  for (int row = 0; row < detector.gridRows; ++row) {
    for (int column = 0; column < detector.gridColumns; ++column) {
      const Cell cell = CellOf(detector, blocks, column, row);
      if (!dravix::extractor::EveryColumnHasMask(cell.runs)) return DRAVIX_BAD_ARGUMENT;
      const cv::Mat target = lum(cell.leds);
      dravix::extractor::ForEachStrip(
          image(cell.rect), cell.runs, cell.leds.height, [&](int first, const cv::Mat& strip) {
            dravix::extractor::ResampleRows(strip, target.rowRange(first, first + strip.rows));
          });
    }
  }
  dravix::extractor::ReplaceBorderLeds(lum, kBorderDepth);
  resultImage = dravix::extractor::MeasuredMarks(lum.size());
  return DRAVIX_OK;
}

std::int32_t Dravix::MeasureByRows(const dravix::kernels::CubicWarp& rows,
                                   const CheckerboardDetector& detector) {
  const Blocks blocks(*this);
  if (!AllMeasurable(detector, blocks, rows.Size(), {ledWidth, ledHeight})) {
    return CalLum(
        dravix::extractor::WarpToWorkingImage(shot->image, detector.transform, detector.imageSize),
        detector);
  }
  cv::Mat measured = cv::Mat::zeros(ledHeight, ledWidth, CV_32FC1);
  cv::parallel_for_(cv::Range(0, detector.gridRows), [&](const cv::Range& range) {
    for (int row = range.start; row < range.end; ++row) {
      std::vector<Cell> cells;
      cells.reserve(static_cast<std::size_t>(detector.gridColumns));
      for (int column = 0; column < detector.gridColumns; ++column) {
        cells.push_back(CellOf(detector, blocks, column, row));
      }
      dravix::extractor::MeasureCells(rows, cells, measured);
    }
  });
  dravix::extractor::ReplaceBorderLeds(measured, kBorderDepth);
  lum = measured;
  resultImage = dravix::extractor::MeasuredMarks(lum.size());
  return DRAVIX_OK;
}
