// A seam is compared over a few columns (rows) on each side of it: enough of them to average noise,
// few enough that a gradient across the screen does not look like a step.
#include "lab/analysis/seams.h"

#include <algorithm>
#include <cmath>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

constexpr int kMostColumns = 4;  // on each side of a seam

/// One direction of the matrix: the means of its columns or of its rows, and where they lie.
struct Lines {
  SeamDirection direction;
  std::vector<Mean> means;
  int begin, end;  ///< lines [begin, end) are inside the edge
  int at;          ///< screen position of line 0
  int module;      ///< lines of one module
};

double MeanOf(const Lines& lines, int begin, int end) {
  Mean mean;
  for (int i = begin; i < end; ++i) mean.Add(lines.means[static_cast<std::size_t>(i)]);
  return mean.Value();
}

double StepAt(const Lines& lines, int seam) {
  const int half = std::max(1, lines.module / 2);
  const int reach = std::min({kMostColumns, half, seam - lines.begin, lines.end - seam});
  const double before = MeanOf(lines, seam - reach, seam);
  const double after = MeanOf(lines, seam, seam + reach);
  return Quotient(after - before, (after + before) / 2);
}

void AddSeams(const Lines& lines, std::vector<Seam>& seams) {
  for (int line = lines.begin + 1; line < lines.end; ++line) {
    const int position = line + lines.at;
    if (position % lines.module != 0) continue;
    seams.push_back({lines.direction, position, StepAt(lines, line)});
  }
}

}  // namespace

std::vector<Seam> SeamsOf(const CountedRows& rows, cv::Point at, cv::Size module) {
  const cv::Rect inner = rows.Inner();
  Lines columns{SeamDirection::kVertical, {}, inner.x, inner.br().x, at.x, module.width};
  Lines rowLines{SeamDirection::kHorizontal, {}, inner.y, inner.br().y, at.y, module.height};
  columns.means.resize(static_cast<std::size_t>(rows.Size().width));
  rowLines.means.resize(static_cast<std::size_t>(rows.Size().height));
  rows.ForEachRow([&](int y, const double* row) {
    Mean& whole = rowLines.means[static_cast<std::size_t>(y)];
    for (int x = inner.x; x < inner.br().x; ++x) {
      whole.Add(row[x]);
      columns.means[static_cast<std::size_t>(x)].Add(row[x]);
    }
  });
  std::vector<Seam> seams;
  AddSeams(columns, seams);
  AddSeams(rowLines, seams);
  return seams;
}

double RmsOf(const std::vector<Seam>& seams) {
  Mean square;
  for (const Seam& seam : seams) square.Add(seam.step * seam.step);
  return std::sqrt(square.Value());
}

}  // namespace dravix::lab
