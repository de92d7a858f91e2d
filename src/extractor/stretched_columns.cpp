#include "extractor/stretched_columns.h"

#include <algorithm>

namespace dravix::extractor {
namespace {

/// Between which two pixels of a run an LED row lies, and their shares.
struct Place {
  int upper;
  int lower;
  float upperShare;
  float lowerShare;
};

/// As the matrix library places row `row` of `rows` on `length` pixels.
Place PlaceOf(int row, int length, int rows) {
  const double rowsPerPixel = static_cast<double>(rows) / length;
  const double pixelsPerRow = 1.0 / rowsPerPixel;
  const int pixel = cvFloor(row * pixelsPerRow);
  auto share = static_cast<float>((row + 1) - (pixel + 1) * rowsPerPixel);
  share = share <= 0 ? 0.0F : share - static_cast<float>(cvFloor(share));
  return {std::min(pixel, length - 1), std::min(pixel + 1, length - 1), 1.0F - share, share};
}

}  // namespace

StretchedColumns::StretchedColumns(const cv::Mat& image, const std::vector<ColumnRun>& runs,
                                   int rows)
    : rows_(rows) {
  CV_Assert(image.channels() == 1 && image.cols == static_cast<int>(runs.size()));
  image.convertTo(samples_, CV_32F);
  for (int x = 0; x < image.cols; ++x) {
    const ColumnRun& run = runs[static_cast<std::size_t>(x)];
    CV_Assert(run.length >= 1 && run.length < rows);
    CV_Assert(run.start >= 0 && run.start <= image.rows - run.length);
    const bool sameAsLeft = !groups_.empty() && groups_.back().run == run;
    if (!sameAsLeft) groups_.push_back({x, x, run});
    groups_.back().end = x + 1;
  }
}

cv::Mat StretchedColumns::Strip(cv::Range rows) const {
  cv::Mat strip(rows.size(), samples_.cols, CV_32FC1);
  for (int y = 0; y < strip.rows; ++y) {
    auto* out = strip.ptr<float>(y);
    for (const Group& group : groups_) {
      const Place place = PlaceOf(rows.start + y, group.run.length, rows_);
      const auto* upper = samples_.ptr<float>(group.run.start + place.upper);
      const auto* lower = samples_.ptr<float>(group.run.start + place.lower);
      for (int x = group.begin; x < group.end; ++x) {
        out[x] = upper[x] * place.upperShare + lower[x] * place.lowerShare;
      }
    }
  }
  return strip;
}

void ForEachStrip(const cv::Mat& image, const std::vector<ColumnRun>& runs, int rows,
                  const std::function<void(int first, const cv::Mat& strip)>& use) {
  if (rows <= image.rows) {
    use(0, ResampleColumns(image, runs, rows));
    return;
  }
  constexpr int kMostValues = 1 << 20;
  const int height = std::max(1, kMostValues / std::max(1, image.cols));
  const StretchedColumns columns(image, runs, rows);
  for (int first = 0; first < rows; first += std::min(height, rows - first)) {
    use(first, columns.Strip({first, first + std::min(height, rows - first)}));
  }
}

}  // namespace dravix::extractor
