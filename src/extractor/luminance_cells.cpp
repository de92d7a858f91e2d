/// One luminance per LED, measured block by block.
///
/// The detector gives the rectangle of every block of a checkerboard in the working image. Each
/// block is averaged to its own LEDs as the whole area is in the other pipeline, so that what the
/// lens bends matters only within a block. Blocks on the screen's border are cut by the mask; inner
/// ones are taken as the detector gives them.
#include "checkerboard/checkerboard.h"
#include "extractor/border_leds.h"
#include "extractor/extractor.h"
#include "extractor/measured_marks.h"
#include "extractor/resample.h"
#include "extractor/stretched_columns.h"

namespace {

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
  return std::vector<ColumnRun>(static_cast<std::size_t>(cell.width), ColumnRun{0, cell.height});
}

}  // namespace

std::int32_t Dravix::CalLum(const cv::Mat& image, const CheckerboardDetector& detector) {
  lum = cv::Mat(
      cv::Mat::zeros(ledHeight, ledWidth, CV_32FC1));  // a new matrix: a host may hold the old one
  const int lastRow = detector.gridRows - 1;
  const int lastColumn = detector.gridColumns - 1;
  for (int r = 0; r <= lastRow; ++r) {
    for (int c = 0; c <= lastColumn; ++c) {
      const bool border = r == 0 || r == lastRow || c == 0 || c == lastColumn;
      const int cellHeight = r == lastRow ? lastRowAreaHeight : singleAreaSize;
      const int cellWidth = c == lastColumn ? lastColumnAreaWidth : singleAreaSize;
      const cv::Rect& cell =
          detector.cells.at(static_cast<std::size_t>(r) * static_cast<std::size_t>(lastColumn + 1) +
                            static_cast<std::size_t>(c));
      const std::vector<ColumnRun> runs = CellRuns(detector, cell, border);
      if (!dravix::extractor::EveryColumnHasMask(runs)) return DRAVIX_BAD_ARGUMENT;
      const cv::Rect place(singleAreaSize * c, singleAreaSize * r, cellWidth, cellHeight);
      const cv::Mat target = lum(place);
      dravix::extractor::ForEachStrip(
          image(cell), runs, cellHeight, [&](int first, const cv::Mat& strip) {
            dravix::extractor::ResampleRows(strip, target.rowRange(first, first + strip.rows));
          });
    }
  }
  dravix::extractor::ReplaceBorderLeds(lum, kBorderDepth);
  resultImage = dravix::extractor::MeasuredMarks(lum.size());
  return DRAVIX_OK;
}
