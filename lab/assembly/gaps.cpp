// A row of the matrix is a list of runs of zeros. A run that lies exactly below an equal one makes
// its rectangle a row taller; any other run begins a rectangle, and a rectangle without such a run
// below it has ended. Only as many ended ones are kept as are asked for, because every second LED
// of a screen may be missing.
#include "lab/assembly/gaps.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace dravix::lab {
namespace {

std::int64_t Area(const cv::Rect& r) { return std::int64_t{r.width} * r.height; }

/// Whether `a` is listed before `b`: the larger one, else the upper, else the left one.
bool IsBefore(const cv::Rect& a, const cv::Rect& b) {
  return std::tuple(-Area(a), a.y, a.x) < std::tuple(-Area(b), b.y, b.x);
}

/// Keeps the first ones of all rectangles that it is given.
class Largest {
 public:
  explicit Largest(std::size_t most) : most_(most) {}
  void Add(const cv::Rect& rectangle) {
    if (kept_.size() == most_ && !IsBefore(rectangle, kept_.front())) return;
    kept_.push_back(rectangle);
    std::push_heap(kept_.begin(), kept_.end(), IsBefore);
    if (kept_.size() <= most_) return;
    std::pop_heap(kept_.begin(), kept_.end(), IsBefore);
    kept_.pop_back();
  }
  [[nodiscard]] std::vector<cv::Rect> Sorted() && {
    std::sort_heap(kept_.begin(), kept_.end(), IsBefore);
    return std::move(kept_);
  }

 private:
  std::size_t most_;
  std::vector<cv::Rect> kept_;  ///< a heap whose front is the last one
};

/// The runs of zeros of a row, as rectangles of one row.
std::vector<cv::Rect> RunsOf(const cv::Mat1b& counts, int y) {
  std::vector<cv::Rect> runs;
  const unsigned char* row = counts[y];
  for (int x = 0; x < counts.cols; ++x) {
    if (row[x] != 0) continue;
    const int begin = x;
    while (x < counts.cols && row[x] == 0) ++x;
    runs.emplace_back(begin, y, x - begin, 1);
  }
  return runs;
}

/// Makes the runs of the next row the open rectangles, and hands those that have ended on.
void Continue(std::vector<cv::Rect>& open, std::vector<cv::Rect> runs, Largest& ended) {
  auto above = open.begin();
  for (cv::Rect& run : runs) {
    while (above != open.end() && above->x < run.x) ended.Add(*above++);
    if (above == open.end() || above->x != run.x) continue;
    if (above->width == run.width) {
      run = cv::Rect(above->x, above->y, above->width, above->height + 1);
    } else {
      ended.Add(*above);
    }
    ++above;
  }
  while (above != open.end()) ended.Add(*above++);
  open = std::move(runs);
}

}  // namespace

std::vector<cv::Rect> LargestGaps(const cv::Mat1b& counts, std::size_t most) {
  Largest largest(most);
  std::vector<cv::Rect> open;
  for (int y = 0; y < counts.rows; ++y) Continue(open, RunsOf(counts, y), largest);
  Continue(open, {}, largest);
  return std::move(largest).Sorted();
}

}  // namespace dravix::lab
