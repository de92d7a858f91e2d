// The order of the steps, each of which has a file of its own. Both photographs are warped into the
// working image (rectified). The measured one, in which all LEDs are lit, gives the lit area
// (led_area). Inside it, the checkerboard is binarized and searched for blocks in several ways
// (binarize, cell_search), until the blocks found fill the grid (grid); otherwise the search with
// the fewest missing ones counts, and those are inferred. Finally the edges between blocks are
// placed by the light on either side (block_edges), and the cells by the edges and the mask's
// outline (cell_placing).
#include "checkerboard/checkerboard.h"

#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "checkerboard/block_edges.h"
#include "checkerboard/cell_placing.h"
#include "checkerboard/cell_search.h"
#include "checkerboard/grid.h"
#include "checkerboard/grid_view.h"
#include "checkerboard/lit_area/led_area.h"
#include "checkerboard/pictures/binarize.h"
#include "checkerboard/pictures/quotient.h"
#include "checkerboard/pictures/rectified.h"
#include "image/large_mat.h"
#include "kernels/bits/bit_parts.h"

namespace board = dravix::checkerboard;
namespace kernels = dravix::kernels;

namespace {

/// Side of the structuring element as a share of a block's shorter side. Blocks that touch at their
/// corners must be separated, and a last column of a quarter of a block must survive that: 0.15
/// does both for blocks of 26 to 500 pixels a side, and 0.2 already loses the narrow column.
constexpr double kKernelShare = 0.15;
constexpr int kSmallestKernel = 3;  // pixels; the next smaller odd one, 1, would do nothing
/// How far beyond a border block the mask's outline is looked for, in blocks. The lens and a wide
/// blur move it less than this, and farther out there is nothing of the screen.
constexpr double kReach = 0.2;

/// The blocks that one search found, matched to the grid.
struct Attempt {
  std::vector<cv::Rect> rects;  ///< the first litCount of them are lit
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
          d.edgeLevelPercent, cell,        d.byRows};
}

std::vector<cv::Rect> Joined(const std::vector<cv::Rect>& lit, const std::vector<cv::Rect>& dark) {
  std::vector<cv::Rect> all = lit;
  all.insert(all.end(), dark.begin(), dark.end());
  return all;
}

/// The attempts of one detection: what they share, and the best of them.
class Search {
 public:
  /// `part` of the working image holds the lit area and what the steps see of its surroundings;
  /// nothing else is looked at.
  Search(const CheckerboardDetector& d, const board::Rectified& pictures,
         const kernels::BitPicture& mask, const board::RectifyParams& params, const cv::Rect& part)
      : detector_(d),
        part_(part),
        pictures_(pictures.Part(part)),
        params_(params),
        wholeMask_(mask),
        mask_(kernels::Cut(mask, part)),
        quotient_(pictures_, mask_) {}

  /// Tries every way to binarize, each with the full and with the smallest erosion, until all
  /// blocks are found; otherwise the attempt with the fewest missing ones counts. Empty when none
  /// fits the grid.
  std::optional<Attempt> Best() {
    for (const board::Binarization way : board::kBinarizations) {
      TryAll(board::Binarized(way, pictures_, quotient_, params_));
      if (Complete()) break;
    }
    return best_;
  }

  /// What the very first search found, to be shown in the picture of a detection that failed.
  const board::FoundBlocks& FirstFound() const { return firstFound_; }

 private:
  bool Complete() const { return best_ && best_->placement.missing == 0; }

  void TryAll(const kernels::BitPicture& lit) {
    TrySizes(lit, params_.kernel);
    if (!Complete() && params_.kernel > kSmallestKernel) TrySizes(lit, kSmallestKernel);
  }

  void TrySizes(const kernels::BitPicture& lit, int kernel) {
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

  /// What one search found, matched to the grid; empty when it does not fit.
  std::optional<Attempt> Placed(const board::FoundBlocks& found) const {
    Attempt attempt{Joined(found.lit, found.dark), found.lit.size(), {}, found.rejected};
    auto placement =
        board::PlaceInGrid(attempt.rects, attempt.litCount,
                           {detector_.gridColumns, detector_.gridRows}, params_.cell, wholeMask_);
    if (!placement) return std::nullopt;
    attempt.placement = std::move(*placement);
    for (const std::size_t i : attempt.placement.wrongColor) {
      attempt.rejected.push_back({attempt.rects[i], "no place"});
    }
    for (const std::size_t i : attempt.placement.beaten) {
      attempt.rejected.push_back({attempt.rects[i], "twice"});
    }
    return attempt;
  }

  const CheckerboardDetector& detector_;
  cv::Rect part_;
  board::Rectified pictures_;
  const board::RectifyParams& params_;
  const kernels::BitPicture& wholeMask_;
  kernels::BitPicture mask_;
  board::Quotient quotient_;
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

/// A black picture, which needs no memory as long as it is.
cv::Mat Black(cv::Size size) {
  return dravix::image::LargeZeros({std::max(0, size.width), std::max(0, size.height)}, CV_8UC1);
}

cv::Mat Painted(const kernels::BitPicture& bits, const cv::Rect& box) {
  cv::Mat mask = Black(bits.Size());
  bits.PaintWhite(cv::Range(box.y, box.br().y), mask);
  return mask;
}

/// Finds the blocks inside the lit area and matches them to the grid. Returns what checkerboard
/// returns.
std::int32_t FindBlocks(CheckerboardDetector& d, const board::Rectified& pictures,
                        const board::Area& area, const board::RectifyParams& params) {
  const cv::Size grid(d.gridColumns, d.gridRows);
  Search search(d, pictures, area.mask, params, board::WithSurroundings(area.box, params));
  auto best = search.Best();
  if (!best) {
    d.contourRectangles = Joined(search.FirstFound().lit, search.FirstFound().dark);
    d.rejected = search.FirstFound().rejected;
    return NoGrid();
  }
  d.contourRectangles = std::move(best->rects);
  d.rejected = std::move(best->rejected);
  d.inferredFrom = d.contourRectangles.size();
  std::vector<std::int32_t>& index = best->placement.index;
  board::InferMissing(grid, d.contourRectangles, index);
  board::PlaceEdges(pictures, grid, index, d.contourRectangles);
  std::copy(index.begin(), index.end(), d.cellIndex.begin());
  return DRAVIX_OK;
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
  // Blur and a low threshold may make a bright block half again as long each way; a narrow last
  // block has, after erosion, only a small part of the area of a whole one.
  maxCellArea = cellArea * 1.5 * 1.5;
  minCellArea = cellArea * 0.5 * 0.5 * 0.3;
  halfCellHeight = h * areaScale / gridRows * 0.5;

  mask = Black(imageSize);
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
  const board::Samples samples = board::SamplesFor(checkerboardShot->image, shot->image);
  // The measured picture comes first, so that the steps to the lit area need no room beside both.
  board::WorkingPicture measured = board::WarpForDetection(shot->image, samples, params);
  const std::optional<board::Area> area = board::LedArea(measured, params);
  board::WorkingPicture lit =
      board::WarpForDetection(checkerboardShot->image, samples, params,
                              keepsRectified ? board::Extent::kWhole : board::Extent::kSearched);
  const bool found = area && board::AnythingLit(lit, params);
  const std::int32_t code =
      found ? FindBlocks(*this, {lit.samples, measured.samples}, *area, params) : NoArea();
  measured = {};
  rectified = keepsRectified ? board::EightBits(lit.samples.Whole()) : cv::Mat();
  lit = {};
  if (found) {
    mask = Painted(area->mask, area->box);
    outlineExcess = area->excess;
  }
  return code;
}

std::int32_t CheckerboardDetector::checkborderPrision() {
  AlgoLogInfo("CheckerboardDetector::checkborderPrision");
  const std::int32_t code = checkerboard();
  if (code != DRAVIX_OK) return code;

  const cv::Size size(gridColumns, gridRows);
  const cv::Size2d cell = ExpectedCell(*this);
  const cv::Size reach(std::max(kSmallestKernel, static_cast<int>(kReach * cell.width)),
                       std::max(kSmallestKernel, static_cast<int>(kReach * cell.height)));
  cells = board::PlacedCells({size, contourRectangles, cellIndex}, reach, mask, outlineExcess);
  // The mask is filled only now, because blocks are placed by the outline as it was found.
  for (int row = 0; row < gridRows; ++row) {
    for (int column = 0; column < gridColumns; ++column) {
      if (!board::IsBorder(size, column, row)) continue;
      board::FillEmptyColumns(cells[board::GridIndex(column, row, gridColumns)], mask);
    }
  }
  return DRAVIX_OK;
}
