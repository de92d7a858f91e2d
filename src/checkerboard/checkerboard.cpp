#include "checkerboard/checkerboard.h"

#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "checkerboard/binarize.h"
#include "checkerboard/block_edges.h"
#include "checkerboard/cell_placing.h"
#include "checkerboard/cell_search.h"
#include "checkerboard/grid.h"
#include "checkerboard/led_area.h"
#include "checkerboard/rectified.h"

namespace board = dravix::checkerboard;

namespace {

/// Of a block's shorter side: enough to part blocks that touch at their corners, little enough to
/// leave a last column of a quarter of a block. Good from 26 to 500 pixels a side; 0.2 is not.
constexpr double kKernelShare = 0.15;
constexpr int kSmallestKernel = 3;
/// How far beyond a border block its outline is looked for.
constexpr double kReach = 0.2;  // blocks

/// Rectangles in the grid.
struct Attempt {
  std::vector<cv::Rect> rects;  ///< the first litCount of them lit
  std::size_t litCount = 0;
  board::Placement placement;
  std::vector<CheckerboardDetector::Rejected> rejected;
};

bool Usable(const CheckerboardDetector& d) {
  const auto photograph = [](const Shot* shot) { return shot != nullptr && !shot->image.empty(); };
  return photograph(d.checkerboardShot) && photograph(d.shot) && !d.imageSize.empty() &&
         d.transform.size() == cv::Size(3, 3) && d.transform.channels() == 1;
}

cv::Size2d ExpectedCell(const CheckerboardDetector& d) {
  return {d.imageSize.width * d.areaScale / d.gridColumns,
          d.imageSize.height * d.areaScale / d.gridRows};
}

int KernelFor(cv::Size2d cell, int largest) {
  const double wanted = kKernelShare * std::min(cell.width, cell.height);
  const int odd = 2 * static_cast<int>(wanted / 2) + 1;
  return std::clamp(odd, kSmallestKernel, std::max(kSmallestKernel, largest | 1));
}

board::RectifyParams ParamsOf(const CheckerboardDetector& d) {
  const cv::Size2d cell = ExpectedCell(d);
  return {d.transform,        d.imageSize, d.areaScale, d.blurSigma, KernelFor(cell, d.kernelSize),
          d.edgeLevelPercent, cell};
}

std::vector<cv::Rect> Joined(const std::vector<cv::Rect>& lit, const std::vector<cv::Rect>& dark) {
  std::vector<cv::Rect> all = lit;
  all.insert(all.end(), dark.begin(), dark.end());
  return all;
}

/// The attempts of one detection: what they share, and the best of them.
class Search {
 public:
  /// `part` of the working image holds the LED area and what the steps see of its surroundings;
  /// `scratch`: pictures of its size that are no longer needed.
  Search(const CheckerboardDetector& d, const board::Rectified& pictures,
         const board::RectifyParams& params, const cv::Rect& part,
         const std::array<cv::Mat, 2>& scratch)
      : detector_(d),
        part_(part),
        pictures_(pictures.Part(part)),
        params_(params),
        mask_(d.mask(part)),
        quotient_(board::Quotient(pictures_, mask_, scratch[0](part))),
        scratch_(scratch[1](part)) {}

  /// Level by level, each with the full and with the smallest erosion, until every block is found;
  /// else the attempt with the fewest missing. Empty when none fits the grid.
  std::optional<Attempt> Best() {
    for (const board::Binarization way : board::kBinarizations) {
      TryAll(board::Binarized(way, pictures_, quotient_, params_, scratch_));
      if (Complete()) break;
    }
    return best_;
  }

  /// What the very first search found, for the picture of a detection that failed.
  const board::FoundBlocks& FirstFound() const { return firstFound_; }

 private:
  bool Complete() const { return best_ && best_->placement.missing == 0; }

  void TryAll(const cv::Mat& lit) {
    TrySizes(lit, params_.kernel);
    if (!Complete() && params_.kernel > kSmallestKernel) TrySizes(lit, kSmallestKernel);
  }

  void TrySizes(const cv::Mat& lit, int kernel) {
    const board::SearchParams search{kernel, detector_.minCellArea, detector_.maxCellArea};
    board::CellSearch cells(lit, mask_, search);
    for (int i = 0; i < board::CellSearch::kSearches; ++i) {
      const board::FoundBlocks found = InWorkingImage(cells.Next());
      if (!seen_) firstFound_ = found;
      seen_ = true;
      auto attempt = Placed(found);
      if (attempt && (!best_ || attempt->placement.missing < best_->placement.missing)) {
        best_ = std::move(attempt);
      }
      if (Complete()) return;
    }
  }

  board::FoundBlocks InWorkingImage(board::FoundBlocks found) const {
    for (cv::Rect& r : found.lit) r += part_.tl();
    for (cv::Rect& r : found.dark) r += part_.tl();
    for (CheckerboardDetector::Rejected& r : found.rejected) r.rect += part_.tl();
    return found;
  }

  /// What one search found, in the grid; empty when it does not fit.
  std::optional<Attempt> Placed(const board::FoundBlocks& found) const {
    Attempt attempt{Joined(found.lit, found.dark), found.lit.size(), {}, found.rejected};
    auto placement = board::PlaceInGrid(attempt.rects, attempt.litCount,
                                        {detector_.gridColumns, detector_.gridRows}, params_.cell,
                                        detector_.mask);
    if (!placement) return std::nullopt;
    attempt.placement = std::move(*placement);
    for (const std::size_t i : attempt.placement.noPlace) {
      attempt.rejected.push_back({attempt.rects[i], "no place"});
    }
    for (const std::size_t i : attempt.placement.twice) {
      attempt.rejected.push_back({attempt.rects[i], "twice"});
    }
    return attempt;
  }

  const CheckerboardDetector& detector_;
  cv::Rect part_;
  board::Rectified pictures_;
  const board::RectifyParams& params_;
  cv::Mat mask_;
  cv::Mat quotient_;
  cv::Mat scratch_;
  std::optional<Attempt> best_;
  board::FoundBlocks firstFound_;
  bool seen_ = false;
};

void Forget(CheckerboardDetector& d) {
  d.contourRectangles.clear();
  d.rejected.clear();
  d.inferredFrom = 0;
  std::fill(d.cellIndex.begin(), d.cellIndex.end(), -1);
}

std::int32_t NoArea() {
  AlgoLogError("CheckerboardDetector::checkerboard--Error :: Cannot find led area.");
  return DRAVIX_NO_LED_AREA;
}

std::int32_t NoGrid() {
  AlgoLogError("CheckerboardDetector::checkerboard--Error :: Cannot find matched amount area.");
  return DRAVIX_NO_GRID;
}

}  // namespace

std::int32_t CheckerboardDetector::SetImage(const Shot* checkerboardShotIn, const Shot* shotIn) {
  AlgoLogInfo("CheckerboardDetector::SetImage");
  if (checkerboardShotIn == nullptr || shotIn == nullptr) {
    AlgoLogError("CheckerboardDetector::SetImage--Error :: input nullptr.");
    return DRAVIX_NULL_ARGUMENT;
  }
  checkerboardShot = checkerboardShotIn;
  shot = shotIn;
  return DRAVIX_OK;
}

std::int32_t CheckerboardDetector::SetParam(cv::Size gridSize, cv::Size imageSizeIn,
                                            const cv::Mat& transformIn) {
  AlgoLogInfo("CheckerboardDetector::SetParam");
  imageSize = imageSizeIn;
  gridColumns = gridSize.width;
  gridRows = gridSize.height;
  transform = transformIn.clone();

  const double w = imageSize.width;
  const double h = imageSize.height;
  cellArea = w * h * areaScale * areaScale / gridColumns / gridRows;
  maxCellArea = cellArea * 1.5 * 1.5;
  minCellArea = cellArea * 0.5 * 0.5 * 0.3;
  halfCellHeight = h * areaScale / gridRows * 0.5;

  mask = cv::Mat::zeros(std::max(0, imageSize.height), std::max(0, imageSize.width), CV_8UC1);
  const auto count = static_cast<std::size_t>(std::max(0, gridColumns)) *
                     static_cast<std::size_t>(std::max(0, gridRows));
  cellIndex.assign(count + 1, -1);
  cells.assign(count, cv::Rect());
  return DRAVIX_OK;
}

std::int32_t CheckerboardDetector::checkerboard() {
  AlgoLogInfo("CheckerboardDetector::checkerboard");
  Forget(*this);
  if (!Usable(*this)) return NoArea();
  if (gridColumns < 1 || gridRows < 1) return NoGrid();

  const board::RectifyParams params = ParamsOf(*this);
  const board::Rectified pictures =
      board::WarpForDetection(checkerboardShot->image, shot->image, params);
  rectified = board::EightBits(pictures.board);
  std::array<cv::Mat, 2> scratch = pictures.Scratch();
  if (!board::AnythingLit(rectified, params, scratch[0])) return NoArea();
  const board::Area area = board::LedArea(pictures.measured, params, mask, scratch[0]);
  if (area.box.empty()) return NoArea();
  outlineExcess = area.excess;

  Search search(*this, pictures, params,
                board::GrownInside(area.box, board::CleaningReach(params.kernel), imageSize),
                scratch);
  auto best = search.Best();
  if (!best) {
    contourRectangles = Joined(search.FirstFound().lit, search.FirstFound().dark);
    rejected = search.FirstFound().rejected;
    return NoGrid();
  }
  contourRectangles = std::move(best->rects);
  rejected = std::move(best->rejected);
  inferredFrom = contourRectangles.size();
  std::vector<std::int32_t>& index = best->placement.index;
  board::InferMissing({gridColumns, gridRows}, contourRectangles, index);
  board::PlaceEdges(pictures, {gridColumns, gridRows}, index, contourRectangles);
  std::copy(index.begin(), index.end(), cellIndex.begin());
  return DRAVIX_OK;
}

std::int32_t CheckerboardDetector::checkborderPrision() {
  AlgoLogInfo("CheckerboardDetector::checkborderPrision");
  const std::int32_t code = checkerboard();
  if (code != DRAVIX_OK) return code;

  const board::Grid grid{{gridColumns, gridRows}, contourRectangles, cellIndex};
  const cv::Size2d cell = ExpectedCell(*this);
  const cv::Size reach(std::max(kSmallestKernel, static_cast<int>(kReach * cell.width)),
                       std::max(kSmallestKernel, static_cast<int>(kReach * cell.height)));
  cells = board::PlacedCells(grid, reach, mask, outlineExcess);
  // Only now: blocks are placed by the outline as it was found.
  for (int row = 0; row < gridRows; ++row) {
    for (int column = 0; column < gridColumns; ++column) {
      const auto place = static_cast<std::size_t>(row) * static_cast<std::size_t>(gridColumns) +
                         static_cast<std::size_t>(column);
      if (board::IsBorder(grid, column, row)) board::FillEmptyColumns(cells[place], mask);
    }
  }
  return DRAVIX_OK;
}
