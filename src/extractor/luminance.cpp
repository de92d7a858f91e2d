/// One luminance per LED of an area that is found as a whole.
///
/// Single LEDs are not resolved in a defocused photograph, but the lit area divides evenly among
/// them. Each image column is averaged, between the top and the bottom of the mask, to one value
/// per LED row; each row of those is averaged to one value per LED. A value is thus the mean light
/// of the rectangle that belongs to one LED. Light that the defocus spreads to neighboring
/// rectangles is counted there, and lines of LEDs that the lens bends are cut by straight ones.
#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "extractor/border_leds.h"
#include "extractor/by_rows.h"
#include "extractor/extractor.h"
#include "extractor/measured_marks.h"
#include "extractor/resample.h"
#include "extractor/stretched_columns.h"

namespace {

using dravix::extractor::ColumnRun;
using dravix::extractor::FirstRuns;
using dravix::extractor::ReplaceBorderLeds;
using dravix::extractor::ResampleRows;

/// The defocus spills light over the lit area's edge, so this many outer rows and columns of LEDs
/// are measured too low and are replaced.
constexpr int kBorderDepth = 4;

/// Measures each row at its own LED count and spreads it over the target's width by repeating
/// values. `first` is the number of the first row.
void ResampleUnequalRows(const cv::Mat& columns, int first,
                         const std::vector<std::int32_t>& rowLedNums, int rowGroup,
                         const cv::Mat& target) {
  const int ledWidth = target.cols;
  CV_Assert(rowGroup >= 1);
  for (int begin = 0; begin < columns.rows;) {
    const int left = rowGroup - (first + begin) % rowGroup;
    const int end = begin + std::min(left, columns.rows - begin);
    const auto group = static_cast<std::size_t>((first + begin) / rowGroup);
    CV_Assert(group < rowLedNums.size());
    const int count = rowLedNums[group];
    CV_CheckGE(count, 1, "a row needs an LED");
    CV_CheckLE(count, ledWidth, "a row has more LEDs than the widest");
    cv::Mat measured(end - begin, count, CV_32FC1);
    ResampleRows(columns.rowRange(begin, end), measured);
    cv::Mat rows = target.rowRange(begin, end);
    cv::resize(measured, rows, rows.size(), 0, 0, cv::INTER_NEAREST);
    begin = end;
  }
}

[[noreturn]] void RefuseOutsideMask() {
  CV_Error(cv::Error::StsOutOfRange, "the LED area's rectangle leaves its mask");
}

/// Checked before memory is taken for them.
void RequireInnerLeds(std::int32_t width, std::int32_t height) {
  if (width > kBorderDepth && height > kBorderDepth) return;
  CV_Error(cv::Error::StsOutOfRange, "there are too few LEDs to replace those on the border");
}

}  // namespace

std::int32_t Dravix::CalLum(const cv::Mat& image, const cv::Mat& mask, const cv::Rect& rect) {
  CV_Assert(mask.type() == CV_8UC1);
  if (rect.width < 1) CV_Error(cv::Error::StsOutOfRange, "the LED area has no columns");
  if (rect.x < 0 || rect.x >= mask.cols) RefuseOutsideMask();
  // A column without mask is reported before the rectangle's leaving the mask further right.
  const cv::Range across(rect.x, rect.x + std::min(rect.width, mask.cols - rect.x));
  const std::vector<ColumnRun> runs = FirstRuns(mask.colRange(across));
  if (!dravix::extractor::EveryColumnHasMask(runs)) return DRAVIX_BAD_ARGUMENT;
  if (across.size() < rect.width) RefuseOutsideMask();
  return MeasureColumns(image, {rect.x, runs});
}

std::int32_t Dravix::MeasureColumns(const cv::Mat& image,
                                    const dravix::extractor::LitColumns& area) {
  if (!dravix::extractor::EveryColumnHasMask(area.runs)) return DRAVIX_BAD_ARGUMENT;
  RequireInnerLeds(ledWidth, ledHeight);
  const cv::Range across(area.left, area.left + static_cast<int>(area.runs.size()));
  cv::Mat measured(ledHeight, ledWidth, CV_32FC1);
  dravix::extractor::ForEachStrip(
      image.colRange(across), area.runs, ledHeight,
      [&](int first, const cv::Mat& strip) { MeasureRows(strip, first, measured); });
  Keep(measured);
  return DRAVIX_OK;
}

std::int32_t Dravix::MeasureByRows(const dravix::kernels::CubicWarp& rows,
                                   const dravix::extractor::LitColumns& area) {
  if (!dravix::extractor::EveryColumnHasMask(area.runs)) return DRAVIX_BAD_ARGUMENT;
  RequireInnerLeds(ledWidth, ledHeight);
  cv::Mat measured(ledHeight, ledWidth, CV_32FC1);
  MeasureRows(dravix::extractor::Measure(rows, area, ledHeight), 0, measured);
  Keep(measured);
  return DRAVIX_OK;
}

void Dravix::MeasureRows(const cv::Mat& columns, int first, const cv::Mat& measured) const {
  const cv::Mat target = measured.rowRange(first, first + columns.rows);
  if (rowLedNums.empty()) {
    ResampleRows(columns, target);
  } else {
    ResampleUnequalRows(columns, first, rowLedNums, rowGroup, target);
  }
}

void Dravix::Keep(cv::Mat& measured) {
  ReplaceBorderLeds(measured, kBorderDepth);
  resultImage = dravix::extractor::MeasuredMarks(measured.size());
  lum = measured;
}
