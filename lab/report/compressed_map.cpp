#include "lab/report/compressed_map.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>

#include "lab/report/encoded.h"

namespace dravix::lab {
namespace {

/// Steps that the spread is divided into, the finest first. 4096 is finer than a camera's noise;
/// with fewer than 400, neighboring colors of the scale would be told apart no more.
constexpr std::array kSteps = {4096.0, 1024.0, 400.0};
/// Cells of a band: the compressor adapts to a plane within some ten thousand bytes.
constexpr int kCellsOfBand = 1 << 16;

std::int32_t ExactCode(float value) {
  if (!std::isfinite(value)) return std::numeric_limits<std::int32_t>::min();
  const auto bits = std::bit_cast<std::int32_t>(value);
  return bits < 0 ? bits ^ std::numeric_limits<std::int32_t>::max() : bits;
}

/// The codes of the matrix, CV_32SC1.
cv::Mat ExactCodes(const cv::Mat& values) {
  cv::Mat codes(values.size(), CV_32SC1);
  for (int y = 0; y < values.rows; ++y) {
    std::transform(values.ptr<float>(y), values.ptr<float>(y) + values.cols,
                   codes.ptr<std::int32_t>(y), ExactCode);
  }
  return codes;
}

struct Range {
  double low = 0;
  double high = 0;
};

/// The smallest and the largest finite value; both 0 when there is none.
Range RangeOf(const cv::Mat& values) {
  Range range{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (int y = 0; y < values.rows; ++y) {
    const auto* row = values.ptr<float>(y);
    for (int x = 0; x < values.cols; ++x) {
      if (!std::isfinite(row[x])) continue;
      range.low = std::min<double>(range.low, row[x]);
      range.high = std::max<double>(range.high, row[x]);
    }
  }
  return range.low <= range.high ? range : Range{};
}

cv::Mat SteppedCodes(const cv::Mat& values, double low, double step) {
  cv::Mat codes(values.size(), CV_32SC1);
  for (int y = 0; y < values.rows; ++y) {
    std::transform(values.ptr<float>(y), values.ptr<float>(y) + values.cols,
                   codes.ptr<std::int32_t>(y), [&](float value) {
                     return std::isfinite(value)
                                ? 1 + static_cast<std::int32_t>(std::lround((value - low) / step))
                                : 0;
                   });
  }
  return codes;
}

std::int64_t Predicted(const cv::Mat& codes, int x, int y) {
  const auto* row = codes.ptr<std::int32_t>(y);
  if (y == 0) return x == 0 ? 0 : row[x - 1];
  const auto* above = codes.ptr<std::int32_t>(y - 1);
  const std::int64_t n = above[x];
  const std::int64_t w = x > 0 ? row[x - 1] : n;
  const std::int64_t nw = x > 0 ? above[x - 1] : n;
  const std::int64_t ne = x + 1 < codes.cols ? above[x + 1] : n;
  return (w + nw + n + ne) >> 2;
}

std::uint32_t Zigzag(std::int64_t difference) {
  const auto d = static_cast<std::uint32_t>(difference);  // modulo 2^32
  return d << 1U ^ (d >> 31U ? 0xFFFFFFFFU : 0U);
}

/// The compressed bytes of the map, or nothing when there are more than `most`. The work ends as
/// soon as that is known.
std::optional<std::vector<std::uint8_t>> Packed(const cv::Mat& codes, const CompressedMap& map,
                                                std::size_t most) {
  Deflater deflater(most);
  const auto planes = static_cast<std::size_t>(map.planes);
  std::vector<std::uint8_t> band;
  for (int top = 0; top < codes.rows; top += map.bandRows) {
    const int end = std::min(codes.rows, top + map.bandRows);
    const auto cells = static_cast<std::size_t>(end - top) * static_cast<std::size_t>(codes.cols);
    band.resize(cells * planes);
    std::size_t cell = 0;
    for (int y = top; y < end; ++y) {
      for (int x = 0; x < codes.cols; ++x, ++cell) {
        const std::uint32_t z = Zigzag(codes.at<std::int32_t>(y, x) - Predicted(codes, x, y));
        for (std::size_t plane = 0; plane < planes; ++plane) {
          band[(planes - 1 - plane) * cells + cell] =
              static_cast<std::uint8_t>(z >> (8 * plane) & 0xFFU);
        }
      }
    }
    if (!deflater.Add(band)) return std::nullopt;
  }
  return deflater.Finish();
}

CompressedMap MapOf(cv::Size cells, int block) {
  CompressedMap map;
  map.cells = cells;
  map.block = block;
  map.bandRows = std::max(1, kCellsOfBand / cells.width);
  return map;
}

std::optional<CompressedMap> Exact(const cv::Mat& values, std::size_t most) {
  CompressedMap map = MapOf(values.size(), 1);
  map.exact = true;
  map.planes = 4;
  auto bytes = Packed(ExactCodes(values), map, most);
  if (!bytes) return std::nullopt;
  map.bytes = std::move(*bytes);
  return map;
}

std::optional<CompressedMap> Stepped(const cv::Mat& cells, int block, double step,
                                     std::size_t most) {
  const Range range = RangeOf(cells);
  // Codes have to fit into 32 bits with their sign, whatever single values there are.
  constexpr double kMostCodes = 1 << 28;
  CompressedMap map = MapOf(cells.size(), block);
  map.low = range.low;
  map.step = std::max(step, (range.high - range.low) / kMostCodes);
  if (!(map.step > 0)) map.step = 1;
  // The largest zigzag number is twice the largest code, and one more.
  const double largest = 2 * ((range.high - range.low) / map.step + 2) + 1;
  map.planes = 1;
  while (map.planes < 4 && largest >= std::exp2(8 * map.planes)) ++map.planes;
  auto bytes = Packed(SteppedCodes(cells, map.low, map.step), map, most);
  if (!bytes) return std::nullopt;
  map.bytes = std::move(*bytes);
  return map;
}

}  // namespace

cv::Mat BlockMeans(const cv::Mat& values, int block) {
  cv::Mat means((values.rows + block - 1) / block, (values.cols + block - 1) / block, CV_32FC1);
  std::vector<double> sums;
  std::vector<int> counts;
  for (int row = 0; row < means.rows; ++row) {
    sums.assign(static_cast<std::size_t>(means.cols), 0);
    counts.assign(static_cast<std::size_t>(means.cols), 0);
    for (int y = row * block; y < std::min(values.rows, (row + 1) * block); ++y) {
      const auto* line = values.ptr<float>(y);
      for (int x = 0; x < values.cols; ++x) {
        if (!std::isfinite(line[x])) continue;
        sums[static_cast<std::size_t>(x / block)] += line[x];
        ++counts[static_cast<std::size_t>(x / block)];
      }
    }
    for (std::size_t x = 0; x < sums.size(); ++x) {
      means.at<float>(row, static_cast<int>(x)) = counts[x] > 0
                                                      ? static_cast<float>(sums[x] / counts[x])
                                                      : std::numeric_limits<float>::quiet_NaN();
    }
  }
  return means;
}

CompressedMap Compress(const cv::Mat& values, double spread, std::size_t most) {
  if (auto map = Exact(values, most)) return std::move(*map);
  for (int block = 1;; ++block) {
    const cv::Mat cells = block == 1 ? values : BlockMeans(values, block);
    for (const double steps : kSteps) {
      if (auto map = Stepped(cells, block, spread / steps, most)) return std::move(*map);
    }
    if (cells.total() == 1) {
      return *Stepped(cells, block, spread, std::numeric_limits<std::size_t>::max());
    }
  }
}

}  // namespace dravix::lab
