#include "checkerboard/checkerboard.h"

#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "checkerboard/binarise.h"
#include "checkerboard/cell_search.h"
#include "checkerboard/grid.h"
#include "checkerboard/precision.h"
#include "checkerboard/rectified.h"
#include "shot/lit_area.h"

namespace board = dravix::checkerboard;

namespace {

/// Of a block's shorter side: enough to part blocks that touch at their corners, little enough to
/// leave a last column of a quarter of a block. Good from 26 to 500 pixels a side; 0.2 is not.
constexpr double kKernelShare = 0.15;
constexpr int kSmallestKernel = 3;
/// How far beyond a border block its outline is looked for.
constexpr double kReach = 0.2;  // blocks

/// Lit blocks that differ by more have their edges looked for once more, each at its own level.
constexpr double kUneven = 1.2;

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
  Search(const CheckerboardDetector& d, const board::Rectified& pictures,
         const board::RectifyParams& params)
      : detector_(d),
        pictures_(pictures),
        params_(params),
        quotient_(board::Quotient(pictures, d.mask)) {}

  /// Level by level, each with the full and with the smallest erosion, until every block is found;
  /// else the attempt with the fewest missing. Empty when none fits the grid.
  std::optional<Attempt> Best() {
    for (const board::Level level : board::kLevels) {
      TryAll(board::Binarised(level, pictures_, quotient_, params_));
      if (Complete()) break;
    }
    if (best_) Refine();
    return best_;
  }

  /// What the very first search found, for the picture of a detection that failed.
  const board::Found& First() const { return first_; }

 private:
  bool Complete() const { return best_ && best_->placement.missing == 0; }

  void TryAll(const cv::Mat& lit) {
    TrySizes(lit, params_.kernel);
    if (!Complete() && params_.kernel > kSmallestKernel) TrySizes(lit, kSmallestKernel);
  }

  void TrySizes(const cv::Mat& lit, int kernel) {
    const board::SearchParams search{kernel, detector_.minCellArea, detector_.maxCellArea};
    for (const board::Found& found : board::SearchCells(lit, detector_.mask, search)) {
      if (!seen_) first_ = found;
      seen_ = true;
      auto attempt = Placed(found);
      if (attempt && (!best_ || attempt->placement.missing < best_->placement.missing)) {
        best_ = std::move(attempt);
      }
      if (Complete()) return;
    }
  }

  /// What one search found, in the grid; empty when it does not fit.
  std::optional<Attempt> Placed(const board::Found& found) const {
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

  /// Edges at each block's own level, where lit blocks differ and no block is lost by it.
  void Refine() {
    std::vector<cv::Rect> lit;
    std::vector<cv::Rect> dark;
    for (const std::int32_t i : best_->placement.index) {
      if (i < 0) continue;
      const auto at = static_cast<std::size_t>(i);
      (at < best_->litCount ? lit : dark).push_back(best_->rects[at]);
    }
    if (board::LevelRatio(quotient_, lit) < kUneven) return;
    const std::optional<Attempt> rough = std::exchange(best_, std::nullopt);
    TryAll(board::AtBlockLevels(quotient_, lit, dark, params_));
    if (!best_ || best_->placement.missing > rough->placement.missing) best_ = rough;
  }

  const CheckerboardDetector& detector_;
  const board::Rectified& pictures_;
  const board::RectifyParams& params_;
  cv::Mat quotient_;
  std::optional<Attempt> best_;
  board::Found first_;
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
  const board::Rectified pictures = board::Rectify(checkerboardShot->image, shot->image, params);
  rectified = board::EightBits(pictures.board);
  if (dravix::shot::OuterContours(board::LitParts(rectified, params)).empty()) return NoArea();
  const board::Area area = board::LedArea(pictures.measured, params);
  if (area.mask.empty()) return NoArea();
  mask = area.mask;
  outlineExcess = area.excess;

  Search search(*this, pictures, params);
  auto best = search.Best();
  if (!best) {
    contourRectangles = Joined(search.First().lit, search.First().dark);
    rejected = search.First().rejected;
    return NoGrid();
  }
  contourRectangles = std::move(best->rects);
  rejected = std::move(best->rejected);
  inferredFrom = contourRectangles.size();
  std::vector<std::int32_t>& index = best->placement.index;
  board::InferMissing({gridColumns, gridRows}, contourRectangles, index);
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
  std::vector<cv::Rect> border;
  for (int row = 0; row < gridRows; ++row) {
    for (int column = 0; column < gridColumns; ++column) {
      const cv::Rect estimate = board::EstimatedCell(grid, column, row);
      const auto place = static_cast<std::size_t>(row) * static_cast<std::size_t>(gridColumns) +
                         static_cast<std::size_t>(column);
      cells[place] = board::PlacedAtBorder(grid, column, row, estimate, reach, mask, outlineExcess);
      if (board::IsBorder(grid, column, row)) border.push_back(cells[place]);
    }
  }
  // Only now: blocks are placed by the outline as it was found.
  for (const cv::Rect& block : border) board::FillEmptyColumns(block, mask);
  return DRAVIX_OK;
}
