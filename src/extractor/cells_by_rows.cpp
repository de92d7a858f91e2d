#include "extractor/cells_by_rows.h"

#include <algorithm>
#include <cstdint>

#include "extractor/column_averages.h"

namespace dravix::extractor {
namespace {

/// A cell while its rows come in.
class OpenCell {
 public:
  explicit OpenCell(const Cell& cell)
      : cell_(cell),
        columns_(cell.leds.height, cell.rect.width, CV_32FC1),
        averages_(InWorkingImage(cell), columns_) {}

  /// Adds row y of the working image, whose samples begin at column `begin`.
  void Add(int y, int begin, const std::uint16_t* samples) {
    averages_.Add(y, samples + (cell_.rect.x - begin));
  }
  void Finish(cv::Mat& lum) {
    averages_.Finish();
    ResampleRows(columns_, cell_.leds.width).copyTo(lum(cell_.leds));
  }

 private:
  static std::vector<ColumnRun> InWorkingImage(const Cell& cell) {
    std::vector<ColumnRun> runs = cell.runs;
    for (ColumnRun& run : runs) run.start += cell.rect.y;
    return runs;
  }

  const Cell& cell_;
  cv::Mat columns_;
  ColumnAverages averages_;
};

}  // namespace

void MeasureCells(const kernels::CubicWarp& rows, const std::vector<Cell>& cells, cv::Mat& lum) {
  cv::Rect all;
  std::vector<OpenCell> open;
  open.reserve(cells.size());
  for (const Cell& cell : cells) {
    all |= cell.rect;
    open.emplace_back(cell);
  }
  constexpr int kBlock = kernels::CubicWarp::kBlockWidth;
  const cv::Range columns(all.x / kBlock * kBlock, all.br().x);
  std::vector<std::uint16_t> row(
      static_cast<std::size_t>(kernels::CubicWarp::PaddedWidth(columns.size())));
  for (int y = all.y; y < all.br().y; ++y) {
    rows.Row(y, columns, row.data());
    for (OpenCell& cell : open) cell.Add(y, columns.start, row.data());
  }
  for (OpenCell& cell : open) cell.Finish(lum);
}

}  // namespace dravix::extractor
