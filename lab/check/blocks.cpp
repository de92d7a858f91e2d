/// Findings on the checkerboard: do its block counts fit the LEDs, does it show them, and is it the
/// one of the two photographs that shows a checkerboard?
///
/// Both photographs are rectified by the outline of the lit area and cut at a level between dark
/// and lit. A checkerboard is the product of a row and a column of alternating signs, so that its
/// agreement with every grid of blocks can be tried: first along the rows, then down the columns.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "lab/base/size_text.h"
#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

constexpr int kSide = 256;         // pixels of the rectified picture
constexpr int kMostBlocks = 64;    // of the grids that are tried, along each axis
constexpr double kAgrees = 0.6;    // a checkerboard's agreement with its own grid
constexpr double kNothing = 0.35;  // agreement of pictures without a checkerboard, at most

/// The lit area as an upright square of signs: 1 where it is lit, -1 where it is dark.
cv::Mat1f Signs(const cv::Mat& plane, const Outline& outline) {
  const cv::Size2d sides = MeanSides(outline.corners);
  const double shorter = std::max(1.0, std::min(sides.width, sides.height));
  const int factor = std::max(1, static_cast<int>(shorter / (2 * kSide)));
  const cv::Size size(std::max(1, plane.cols / factor), std::max(1, plane.rows / factor));
  cv::Mat small;
  cv::resize(plane, small, size, 0, 0, cv::INTER_AREA);
  const double sigma = std::max(0.5, shorter / factor / kSide);
  cv::GaussianBlur(small, small, {}, sigma);
  Corners corners = outline.corners;
  const double scaleX = static_cast<double>(size.width) / plane.cols;
  const double scaleY = static_cast<double>(size.height) / plane.rows;
  for (cv::Point2d& c : corners) c = {(c.x + 0.5) * scaleX - 0.5, (c.y + 0.5) * scaleY - 0.5};
  const cv::Matx33d unitFromPixel(1.0 / kSide, 0, 0.5 / kSide, 0, 1.0 / kSide, 0.5 / kSide, 0, 0,
                                  1);
  cv::Mat rectified;
  cv::warpPerspective(small, rectified, PhotoFromUnit(corners) * unitFromPixel, {kSide, kSide},
                      cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
  std::vector<std::uint16_t> values(rectified.begin<std::uint16_t>(),
                                    rectified.end<std::uint16_t>());
  std::sort(values.begin(), values.end());
  const double low = values[values.size() / 20];
  const double high = values[values.size() - 1 - values.size() / 20];
  constexpr double kLevel = 0.4;  // below the middle: vignetting and levels lower lit blocks only
  const double level = low + kLevel * (high - low);
  cv::Mat1f signs(kSide, kSide);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      signs(y, x) = rectified.at<std::uint16_t>(y, x) > level ? 1.0F : -1.0F;
    }
  }
  return signs;
}

/// Alternating signs of `blocks` blocks over the side; the last is `lastShare` of it, 0: like all.
std::vector<double> Alternating(int blocks, double lastShare) {
  std::vector<double> signs(kSide);
  const double one = lastShare > 0 ? (1 - lastShare) / (blocks - 1) : 1.0 / blocks;
  for (int i = 0; i < kSide; ++i) {
    const int block = std::min(blocks - 1, static_cast<int>((i + 0.5) / kSide / one));
    signs[static_cast<std::size_t>(i)] = block % 2 == 0 ? 1 : -1;
  }
  return signs;
}

/// For every row of the picture the mean of its product with the signs.
std::vector<double> AlongRows(const cv::Mat1f& picture, const std::vector<double>& signs) {
  std::vector<double> means(kSide);
  for (int y = 0; y < kSide; ++y) {
    double sum = 0;
    for (int x = 0; x < kSide; ++x) {
      sum += static_cast<double>(picture(y, x)) * signs[static_cast<std::size_t>(x)];
    }
    means[static_cast<std::size_t>(y)] = sum / kSide;
  }
  return means;
}

double Product(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return std::abs(sum) / static_cast<double>(a.size());
}

struct Grid {
  cv::Size blocks;
  double agreement = 0;
};

/// The grid of equal blocks that the picture agrees with best.
Grid BestGrid(const cv::Mat1f& picture) {
  Grid best;
  for (int across = 2; across <= kMostBlocks; ++across) {
    const std::vector<double> rows = AlongRows(picture, Alternating(across, 0));
    for (int down = 2; down <= kMostBlocks; ++down) {
      const double agreement = Product(rows, Alternating(down, 0));
      if (agreement > best.agreement) best = {{across, down}, agreement};
    }
  }
  return best;
}

double AgreementWith(const cv::Mat1f& picture, cv::Size blocks, cv::Size2d last) {
  return Product(AlongRows(picture, Alternating(blocks.width, last.width)),
                 Alternating(blocks.height, last.height));
}

/// Blocks are square; only the last column's may be narrower and the last row's lower.
bool FitLeds(cv::Size blocks, cv::Size last, cv::Size leds) {
  if (blocks.width < 2 || blocks.height < 2) return false;
  const int others = last.width >= 0 ? leds.width - last.width : leds.width;
  const int columns = last.width >= 0 ? blocks.width - 1 : blocks.width;
  if (others <= 0 || others % columns != 0) return false;
  const int side = others / columns;
  const int lowest = last.height >= 0 ? last.height : side;
  return leds.height - lowest == side * (blocks.height - 1);
}

bool CheckCounts(const Subject& subject, Findings& findings) {
  const cv::Size blocks = subject.options.blocks;
  if (blocks.empty() || subject.leds.empty()) return true;
  if (FitLeds(blocks, subject.options.last, subject.leds)) return true;
  Add(findings, "blocks",
      SizeText(blocks) + " blocks do not fit the pattern's " + SizeText(subject.leds) +
          " LEDs: blocks are square and at least 2 x 2, and only the last column and row may be "
          "narrower, which --last-width and --last-height say; count the blocks again",
      {{"blocks", Pair(blocks)}, {"leds", Pair(subject.leds)}});
  return false;
}

/// The last column's and row's share of the whole; 0 where they are like the others.
cv::Size2d LastShares(const Subject& subject) {
  const cv::Size last = subject.options.last;
  if (subject.leds.empty()) return {0, 0};
  return {last.width > 0 ? static_cast<double>(last.width) / subject.leds.width : 0.0,
          last.height > 0 ? static_cast<double>(last.height) / subject.leds.height : 0.0};
}

}  // namespace

void CheckBlocks(const Subject& subject, Findings& findings) {
  if (subject.options.checkerboard == nullptr) return;
  if (!CheckCounts(subject, findings)) return;
  if (subject.board.plane.empty() || !subject.isLit || !subject.outline) return;
  const cv::Mat1f board = Signs(subject.board.plane, *subject.outline);
  const Grid inPhoto = BestGrid(Signs(subject.samples.plane, *subject.outline));
  const Grid inBoard = BestGrid(board);
  const auto values = [&](const Grid& grid) {
    return FindingValues{{"seen", Pair(grid.blocks)},
                         {"agreement", grid.agreement},
                         {"blocks", Pair(subject.options.blocks)}};
  };
  if (inPhoto.agreement >= kAgrees) {
    Add(findings, "blocks",
        "the photograph shows a checkerboard of " + SizeText(inPhoto.blocks) + " blocks" +
            (inBoard.agreement < kNothing
                 ? ", and the checkerboard photograph an even area: exchange the two"
                 : ", where the evenly lit screen is expected: give the photograph of that"),
        values(inPhoto));
    return;
  }
  const cv::Size blocks = subject.options.blocks;
  const double expected = blocks.width >= 2 && blocks.height >= 2
                              ? AgreementWith(board, blocks, LastShares(subject))
                              : inBoard.agreement;
  if (expected >= kAgrees || (expected >= kNothing && expected >= inBoard.agreement - 0.05)) return;
  if (inBoard.agreement < kNothing) {
    Add(findings, "blocks",
        "the checkerboard photograph shows no checkerboard in the lit area: take it from the same "
        "place, with lit and dark blocks by turns",
        values(inBoard));
    return;
  }
  Add(findings, "blocks",
      "the checkerboard shows " + SizeText(inBoard.blocks) + " blocks, where " + SizeText(blocks) +
          " are expected: give the counts of blocks that were shown, or show the checkerboard "
          "again",
      values(inBoard));
}

}  // namespace dravix::lab
