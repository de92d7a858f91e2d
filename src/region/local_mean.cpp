/// The mean of 41 x 41 pixels is the dearest step of the search in a defocused photograph, and most
/// pixels do not need it. Those above the global level are lit without it. Those that no pixel of
/// their neighborhood falls below cannot exceed its mean: weights in single precision make at most
/// a thousandth of a gray level of difference to a mean of equal values, and the mean is rounded.
/// The rest lies along the outline of the screen, between LEDs that the defocus has not melted, and
/// where the surround is uneven.
///
/// The picture is therefore divided into tiles, and the matrix library is asked for those that hold
/// an undecided pixel. What it answers is what it would answer for the whole picture: a part brings
/// along all pixels that its tiles' neighborhoods reach, and begins where the vector instructions'
/// rounds over the whole picture would begin one, too.
#include "region/local_mean.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace dravix::region {
namespace {

constexpr int kReach = kNeighborhood / 2;
/// Side of a tile: not below the reach, so that a neighborhood lies in a tile and those around it,
/// and a whole number of the rounds that the matrix library makes along a row.
constexpr int kTile = 64;
static_assert(kReach <= kTile);

struct Extremes {
  std::uint8_t least = 255;
  std::uint8_t most = 0;
};

/// The extreme values of a tile: of each of its columns first, which lie side by side in memory.
Extremes ExtremesOf(const cv::Mat& tile) {
  std::array<std::uint8_t, kTile> least{};
  std::array<std::uint8_t, kTile> most{};
  least.fill(255);
  std::array<std::uint8_t, kTile> row{};
  for (int y = 0; y < tile.rows; ++y) {
    if (tile.cols == kTile) {  // a length that the compiler knows: no call for 64 bytes
      std::memcpy(row.data(), tile.ptr(y), row.size());
    } else {
      std::memcpy(row.data(), tile.ptr(y), static_cast<std::size_t>(tile.cols));
    }
    for (std::size_t x = 0; x < row.size(); ++x) {
      least[x] = std::min(least[x], row[x]);
      most[x] = std::max(most[x], row[x]);
    }
  }
  return {*std::min_element(least.begin(), least.begin() + tile.cols),
          *std::max_element(most.begin(), most.begin() + tile.cols)};
}

cv::Rect TileAt(int column, int row, cv::Size picture) {
  return cv::Rect(column * kTile, row * kTile, kTile, kTile) & cv::Rect({}, picture);
}

/// The extreme values of all tiles, with a frame of neutral tiles around them.
class TileExtremes {
 public:
  explicit TileExtremes(const cv::Mat& gray)
      : columns_((gray.cols + kTile - 1) / kTile),
        rows_((gray.rows + kTile - 1) / kTile),
        tiles_(static_cast<std::size_t>(columns_ + 2) * static_cast<std::size_t>(rows_ + 2)) {
    for (int row = 0; row < rows_; ++row) {
      for (int column = 0; column < columns_; ++column) {
        tiles_[Index(column, row)] = ExtremesOf(gray(TileAt(column, row, gray.size())));
      }
    }
  }

  [[nodiscard]] int Columns() const { return columns_; }
  [[nodiscard]] int Rows() const { return rows_; }
  /// Whether the tile may hold a pixel that is neither above `level` nor the least one around.
  [[nodiscard]] bool IsUndecided(int column, int row, int level) const {
    const Extremes& tile = At(column, row);
    return tile.least <= level && tile.most > LeastAround(column, row);
  }
  /// The least value in the tile and the eight around it.
  [[nodiscard]] std::uint8_t LeastAround(int column, int row) const {
    std::uint8_t least = At(column, row).least;
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) least = std::min(least, At(column + dx, row + dy).least);
    }
    return least;
  }

 private:
  [[nodiscard]] std::size_t Index(int column, int row) const {
    return static_cast<std::size_t>(row + 1) * static_cast<std::size_t>(columns_ + 2) +
           static_cast<std::size_t>(column + 1);
  }
  [[nodiscard]] const Extremes& At(int column, int row) const { return tiles_[Index(column, row)]; }

  int columns_;
  int rows_;
  std::vector<Extremes> tiles_;
};

/// Whether some pixel is neither above `level` nor the least one around.
bool HasUndecided(const cv::Mat& tile, int least, int level) {
  for (int y = 0; y < tile.rows; ++y) {
    const auto* row = tile.ptr<std::uint8_t>(y);
    unsigned found = 0;
    for (int x = 0; x < tile.cols; ++x) {
      found |= static_cast<unsigned>(row[x] > least) & static_cast<unsigned>(row[x] <= level);
    }
    if (found != 0) return true;
  }
  return false;
}

/// The undecided tiles of a row of tiles, in pixels and with neighbors joined.
std::vector<cv::Rect> UndecidedSpans(const cv::Mat& gray, const TileExtremes& extremes, int row,
                                     int level) {
  std::vector<cv::Rect> spans;
  for (int column = 0; column < extremes.Columns(); ++column) {
    if (!extremes.IsUndecided(column, row, level)) continue;
    const cv::Rect tile = TileAt(column, row, gray.size());
    if (!HasUndecided(gray(tile), extremes.LeastAround(column, row), level)) continue;
    if (!spans.empty() && spans.back().br().x == tile.x) {
      spans.back().width += tile.width;
    } else {
      spans.push_back(tile);
    }
  }
  return spans;
}

/// 255 where the pixels of the span are brighter than around, 0 elsewhere.
cv::Mat BrighterThanAround(const cv::Mat& gray, const cv::Rect& span) {
  constexpr double kWhite = 255;
  // Columns left over after the last whole vector may be rounded differently: a tile more on the
  // right keeps the span clear of them, unless the picture ends there as well.
  const cv::Rect part =
      cv::Rect(span.x - kTile, span.y - kReach, span.width + 2 * kTile, span.height + 2 * kReach) &
      cv::Rect({}, gray.size());
  cv::Mat brighter;
  cv::adaptiveThreshold(gray(part), brighter, kWhite, cv::ADAPTIVE_THRESH_GAUSSIAN_C,
                        cv::THRESH_BINARY, kNeighborhood, 0);
  return brighter(span - part.tl());
}

void AddBits(const cv::Mat& white, const cv::Point& at, kernels::BitPicture& bits) {
  constexpr int kWordBits = kernels::BitPicture::kWordBits;
  static_assert(kTile % kWordBits == 0);
  for (int y = 0; y < white.rows; ++y) {
    const auto* pixels = white.ptr<std::uint8_t>(y);
    std::uint64_t* words = bits.Row(at.y + y) + at.x / kWordBits;
    for (int x = 0; x < white.cols; ++x) {
      words[x / kWordBits] |= static_cast<std::uint64_t>(pixels[x] & 1U) << (x % kWordBits);
    }
  }
}

}  // namespace

void AddBrighterThanAround(const cv::Mat& gray, int level, kernels::BitPicture& lit) {
  CV_Assert(gray.type() == CV_8UC1 && gray.size() == lit.Size());
  const TileExtremes extremes(gray);
  for (int row = 0; row < extremes.Rows(); ++row) {
    for (const cv::Rect& span : UndecidedSpans(gray, extremes, row, level)) {
      AddBits(BrighterThanAround(gray, span), span.tl(), lit);
    }
  }
}

}  // namespace dravix::region
