#include <dravix/algolog.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "extractor/by_rows.h"
#include "extractor/edges.h"
#include "extractor/extractor.h"
#include "extractor/resample.h"

namespace {

using dravix::extractor::ColumnRun;
using dravix::extractor::FirstRuns;
using dravix::extractor::ReplaceEdges;
using dravix::extractor::ResampleColumns;
using dravix::extractor::ResampleRows;

/// The defocus spills light over the area's edge: this many outer rows and columns are not to be
/// trusted.
constexpr int kEdgeDepth = 4;

/// Rows measured at their own LED counts, each spread over the full width by repetition.
cv::Mat ResampleUnequalRows(const cv::Mat& columns, int ledWidth,
                            const std::vector<std::int32_t>& rowLedNums, int rowGroup) {
  cv::Mat result = cv::Mat::zeros(columns.rows, ledWidth, CV_32FC1);
  CV_Assert(rowGroup >= 1);
  for (int begin = 0; begin < columns.rows;) {
    const int end = begin + std::min(rowGroup, columns.rows - begin);
    const auto group = static_cast<std::size_t>(begin / rowGroup);
    CV_Assert(group < rowLedNums.size());
    const int count = rowLedNums[group];
    CV_CheckGE(count, 1, "a row needs a LED");
    CV_CheckLE(count, ledWidth, "a row has more LEDs than the widest");
    const cv::Mat measured = ResampleRows(columns.rowRange(begin, end), count);
    cv::Mat target = result.rowRange(begin, end);
    cv::resize(measured, target, target.size(), 0, 0, cv::INTER_NEAREST);
    begin = end;
  }
  return result;
}

bool AnyEmpty(const std::vector<ColumnRun>& runs) {
  return std::any_of(runs.begin(), runs.end(), [](const ColumnRun& run) { return run.length < 1; });
}

std::int32_t RefuseHeight() {
  AlgoLogError("Dravix::CalLum--Error ::  height is error !!.");
  return DRAVIX_BAD_ARGUMENT;
}

}  // namespace

std::int32_t Dravix::CalLum(const cv::Mat& image, const cv::Mat& mask, const cv::Rect& rect) {
  CV_Assert(mask.type() == CV_8UC1);
  CV_Assert(rect.x >= 0 && rect.width >= 1 && rect.width <= mask.cols - rect.x);
  const cv::Range across(rect.x, rect.x + rect.width);
  const std::vector<ColumnRun> runs = FirstRuns(mask.colRange(across));
  if (AnyEmpty(runs)) return RefuseHeight();
  CV_Assert(ledWidth > kEdgeDepth && ledHeight > kEdgeDepth);  // before memory is taken for them
  Keep(ResampleColumns(image.colRange(across), runs, ledHeight));
  return DRAVIX_OK;
}

std::int32_t Dravix::MeasureByRows(const dravix::kernels::CubicWarp& rows,
                                   const dravix::extractor::LitColumns& area) {
  if (AnyEmpty(area.runs)) return RefuseHeight();
  CV_Assert(ledWidth > kEdgeDepth && ledHeight > kEdgeDepth);
  Keep(dravix::extractor::Measure(rows, area, ledHeight));
  return DRAVIX_OK;
}

void Dravix::Keep(const cv::Mat& columns) {
  cv::Mat measured = rowLedNums.empty()
                         ? ResampleRows(columns, ledWidth)
                         : ResampleUnequalRows(columns, ledWidth, rowLedNums, rowGroup);
  ReplaceEdges(measured, kEdgeDepth);
  resultImage = dravix::extractor::MeasuredMarks(measured.size());
  lum = measured;
}
