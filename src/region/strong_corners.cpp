/// Corner strength after J. Shi and C. Tomasi ("Good features to track", CVPR 1994): the smaller
/// eigenvalue of the sums of xx, xy and yy, the products of the gradient's two components, over a
/// window of 111 x 111 pixels around each pixel.
///
/// A mask is flat but for its outline, so all of these sums are zero farther than 55 pixels from
/// it. The gradient is therefore taken in tiles that contain outline, its products are kept as a
/// list, and the sums slide only through the band around the outline: the running sum of each
/// column takes in one row of the list and drops another, and a window slides over the columns.
///
/// The matrix library sums up in another order. Both results are equal to the last bit as long as
/// every sum is exact in double precision, which they are for a mask of 0 and 255: the products
/// take a few values only. Whether they are is computed along the way; a picture for which they are
/// not (one with many gray levels) goes to the matrix library. So does a picture that is all
/// outline, such as noise: the list is then longer than the picture, and the band is all of it.
#include "region/strong_corners.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "base/large_buffer.h"

namespace dravix::region {
namespace {

constexpr int kMostCorners = 4;
constexpr double kMinDistance = 100.0;  // between two corners, pixels
constexpr int kReach = kCornerWindow / 2;
/// The border of the frame mirrors the picture without repeating its outermost pixel.
constexpr int kBorder = cv::BORDER_REFLECT_101;
/// A picture with more outline than this share of its pixels gains nothing from the list. The
/// outline of an area of 210 pixels a side in a frame that just holds it is 1 / 30.
constexpr std::size_t kPixelsPerPoint = 16;
/// Side of the tiles in which outline is looked for.
constexpr int kTile = kCornerStep;

/// The products of the gradient at one pixel, or their sums over several.
template <class T>
struct Products {
  T xx = 0, xy = 0, yy = 0;
};

struct GradientPoint {
  int x;
  Products<float> products;
};

/// Where the gradient of a picture is not zero, row by row and from left to right.
struct OutlineGradient {
  std::vector<GradientPoint> points;
  std::vector<std::size_t> rowBegin;  ///< index of each row's first point; one more at the end
};

bool IsFlat(const cv::Mat& picture) {
  const unsigned char value = picture.at<unsigned char>(0, 0);
  for (int y = 0; y < picture.rows; ++y) {
    const unsigned char* row = picture.ptr<unsigned char>(y);
    const auto others = static_cast<std::size_t>(picture.cols - 1);
    if (row[0] != value || std::memcmp(row, row + 1, others) != 0) return false;
  }
  return true;
}

cv::Rect Grown(const cv::Rect& rect, int by, cv::Size frame) {
  return cv::Rect(rect.tl() - cv::Point(by, by), rect.br() + cv::Point(by, by)) &
         cv::Rect({}, frame);
}

/// The tiles of one row of tiles that have an outline in them or at their border, with neighbors
/// joined.
std::vector<cv::Rect> TilesWithOutline(const cv::Mat& frame, const cv::Rect& rowOfTiles) {
  std::vector<cv::Rect> spans;
  for (int x = rowOfTiles.x; x < rowOfTiles.br().x; x += kTile) {
    const int width = std::min(kTile, frame.cols - x);
    const cv::Rect tile(x, rowOfTiles.y, width, rowOfTiles.height);
    if (IsFlat(frame(Grown(tile, 1, frame.size())))) continue;
    if (!spans.empty() && spans.back().br().x == x) {
      spans.back().width += width;
    } else {
      spans.push_back(tile);
    }
  }
  return spans;
}

/// Derivative of a part of the frame, which sees its surroundings; scaled as the matrix library
/// scales it, so that strengths are comparable between window sizes.
cv::Mat Derivative(const cv::Mat& part, int alongX, int alongY) {
  constexpr int kSobel = 3;
  constexpr double kWhite = 255.0;
  const double scale = 1.0 / ((1 << (kSobel - 1)) * kCornerWindow * kWhite);
  cv::Mat derivative;
  cv::Sobel(part, derivative, CV_32F, alongX, alongY, kSobel, scale, 0, kBorder);
  return derivative;
}

/// Nothing for a picture that is all outline.
std::optional<OutlineGradient> GradientOf(const cv::Mat& frame, const cv::Rect& area) {
  const std::size_t mostPoints = frame.total() / kPixelsPerPoint;
  OutlineGradient gradient;
  gradient.rowBegin.reserve(static_cast<std::size_t>(frame.rows) + 1);
  const cv::Rect near = Grown(area, 1, frame.size());
  const int left = near.x / kTile * kTile;
  for (int y = 0; y < frame.rows; y += kTile) {
    const int height = std::min(kTile, frame.rows - y);
    std::vector<cv::Rect> spans;
    if (y < near.br().y && y + height > near.y) {
      spans = TilesWithOutline(frame, {left, y, near.br().x - left, height});
    }
    std::vector<std::pair<cv::Mat, cv::Mat>> derivatives;
    derivatives.reserve(spans.size());
    for (const cv::Rect& span : spans) {
      derivatives.emplace_back(Derivative(frame(span), 1, 0), Derivative(frame(span), 0, 1));
    }
    for (int row = 0; row < height; ++row) {
      gradient.rowBegin.push_back(gradient.points.size());
      for (std::size_t i = 0; i < spans.size(); ++i) {
        const float* dx = derivatives[i].first.ptr<float>(row);
        const float* dy = derivatives[i].second.ptr<float>(row);
        for (int x = 0; x < spans[i].width; ++x) {
          if (dx[x] == 0 && dy[x] == 0) continue;
          gradient.points.push_back(
              {spans[i].x + x, {dx[x] * dx[x], dx[x] * dy[x], dy[x] * dy[x]}});
        }
      }
    }
    if (gradient.points.size() > mostPoints) return std::nullopt;
  }
  gradient.rowBegin.push_back(gradient.points.size());
  return gradient;
}

/// The exponent of a number's lowest bit that is set: the number is a multiple of 2 to that power.
int LowestBit(float value) {
  if (value == 0) return std::numeric_limits<int>::max();
  int exponent = 0;
  constexpr int kMantissaBits = std::numeric_limits<float>::digits;
  const float mantissa = std::frexp(value, &exponent);
  const auto digits = static_cast<std::uint32_t>(std::ldexp(std::abs(mantissa), kMantissaBits));
  int zeros = 0;
  while (((digits >> static_cast<unsigned>(zeros)) & 1U) == 0) ++zeros;
  return exponent - kMantissaBits + zeros;
}

/// Corner strengths of a run of pixels of one row. All others are zero.
struct Run {
  int y, x;
  std::size_t first, count;  ///< in Strengths::values
};

struct Strengths {
  std::vector<Run> runs;              ///< from the top down, and from left to right
  std::vector<std::size_t> rowBegin;  ///< index of each row's first run; one more at the end
  /// Several megabytes that go back to the system: in the heap they would stay with the process.
  std::vector<float, base::ZeroAllocator<float>> values;
  double largestSum = 0;  ///< the largest of all sums of products

  /// The strength of a pixel, or 0 outside the runs.
  [[nodiscard]] float At(int x, int y) const {
    const auto row = static_cast<std::size_t>(y);
    for (std::size_t i = rowBegin[row]; i < rowBegin[row + 1]; ++i) {
      const Run& run = runs[i];
      if (x >= run.x && static_cast<std::size_t>(x - run.x) < run.count) {
        return values[run.first + static_cast<std::size_t>(x - run.x)];
      }
    }
    return 0;
  }
};

/// The smaller eigenvalue of the sums, in the matrix library's operations.
float SmallerEigenvalue(const Products<double>& sums) {
  const float a = static_cast<float>(sums.xx) * 0.5F;
  const float b = static_cast<float>(sums.xy);
  const float c = static_cast<float>(sums.yy) * 0.5F;
  return (a + c) - std::sqrt((a - c) * (a - c) + b * b);
}

/// The sums over the columns of the window, moved down the frame row by row.
class SlidingSums {
 public:
  SlidingSums(const OutlineGradient& gradient, cv::Size frame)
      : gradient_(gradient),
        frame_(frame),
        columns_(static_cast<std::size_t>(frame.width)),
        points_(static_cast<std::size_t>(frame.width)),
        pointsInTile_(static_cast<std::size_t>((frame.width + kTile - 1) / kTile)),
        columnAt_(static_cast<std::size_t>(frame.width + 2 * kReach)) {
    for (int i = 0; i < frame.width + 2 * kReach; ++i) {
      columnAt_[static_cast<std::size_t>(i)] =
          static_cast<std::size_t>(cv::borderInterpolate(i - kReach, frame.width, kBorder));
    }
  }

  void TakeIn(int y) { Move(y, +1); }
  void Drop(int y) { Move(y, -1); }

  /// Appends the strengths of row `y`, where they may differ from zero.
  void AppendRow(int y, Strengths& strengths) const {
    for (const cv::Range& range : RangesInReach()) {
      const Run run{y, range.start, strengths.values.size(),
                    static_cast<std::size_t>(range.size())};
      strengths.runs.push_back(run);
      AppendRange(range, strengths);
    }
  }

 private:
  void Move(int y, int sign) {
    const auto row = static_cast<std::size_t>(cv::borderInterpolate(y, frame_.height, kBorder));
    const double factor = sign;
    for (std::size_t i = gradient_.rowBegin[row]; i < gradient_.rowBegin[row + 1]; ++i) {
      const auto& [x, products] = gradient_.points[i];
      const auto column = static_cast<std::size_t>(x);
      columns_[column].xx += factor * static_cast<double>(products.xx);
      columns_[column].xy += factor * static_cast<double>(products.xy);
      columns_[column].yy += factor * static_cast<double>(products.yy);
      points_[column] += sign;
      pointsInTile_[column / kTile] += sign;
    }
  }

  /// The columns whose window contains a point, as disjoint ranges.
  [[nodiscard]] std::vector<cv::Range> RangesInReach() const {
    std::vector<cv::Range> ranges;
    for (std::size_t tile = 0; tile < pointsInTile_.size(); ++tile) {
      if (pointsInTile_[tile] == 0) continue;
      const int begin = static_cast<int>(tile) * kTile;
      const int end = std::min(begin + kTile, frame_.width);
      for (int x = begin; x < end; ++x) {
        if (points_[static_cast<std::size_t>(x)] == 0) continue;
        const cv::Range reach(std::max(0, x - kReach), std::min(frame_.width, x + kReach + 1));
        if (!ranges.empty() && reach.start <= ranges.back().end) {
          ranges.back().end = reach.end;
        } else {
          ranges.push_back(reach);
        }
      }
    }
    return ranges;
  }

  void AppendRange(const cv::Range& range, Strengths& strengths) const {
    Products<double> sums;
    const auto add = [&](int place, double sign) {
      const Products<double>& column = columns_[columnAt_[static_cast<std::size_t>(place)]];
      sums.xx += sign * column.xx;
      sums.xy += sign * column.xy;
      sums.yy += sign * column.yy;
    };
    // A window around column x spans the places x to x + 2 * kReach of columnAt_.
    for (int i = 0; i < kCornerWindow; ++i) add(range.start + i, +1);
    for (int x = range.start;; ++x) {
      strengths.largestSum = std::max({strengths.largestSum, sums.xx, sums.yy});
      strengths.values.push_back(SmallerEigenvalue(sums));
      if (x + 1 == range.end) break;
      add(x, -1);
      add(x + kCornerWindow, +1);
    }
  }

  const OutlineGradient& gradient_;
  cv::Size frame_;
  std::vector<Products<double>> columns_;
  std::vector<int> points_;            ///< of each column, inside the window's rows
  std::vector<int> pointsInTile_;      ///< the same for every kTile columns together
  std::vector<std::size_t> columnAt_;  ///< from -kReach on, mirrored at the frame's border
};

Strengths StrengthsOf(const OutlineGradient& gradient, cv::Size frame) {
  Strengths strengths;
  SlidingSums sums(gradient, frame);
  for (int y = -kReach; y < kReach; ++y) sums.TakeIn(y);
  for (int y = 0; y < frame.height; ++y) {
    sums.TakeIn(y + kReach);
    strengths.rowBegin.push_back(strengths.runs.size());
    sums.AppendRow(y, strengths);
    sums.Drop(y - kReach);
  }
  strengths.rowBegin.push_back(strengths.runs.size());
  return strengths;
}

/// Whether every sum of products was exact in double precision, in whatever order it was made:
/// each is a multiple of the lowest bit of all products, and the largest needs no more digits.
bool SumsAreExact(const OutlineGradient& gradient, double largestSum) {
  int lowest = std::numeric_limits<int>::max();
  for (const GradientPoint& point : gradient.points) {
    const Products<float>& p = point.products;
    lowest = std::min({lowest, LowestBit(p.xx), LowestBit(p.xy), LowestBit(p.yy)});
  }
  if (lowest == std::numeric_limits<int>::max()) return true;
  // A sum in the making holds one more row or column than the window.
  constexpr double kRoom = 4;
  return kRoom * largestSum < std::ldexp(1.0, lowest + std::numeric_limits<double>::digits);
}

struct Corner {
  float strength;
  int x, y;
};

/// The pixels above the threshold that none of their eight neighbors exceeds, the strongest first
/// and, of equally strong ones, the last of the frame first.
std::vector<Corner> Peaks(const Strengths& strengths, float threshold, cv::Size frame) {
  std::vector<Corner> peaks;
  for (const Run& run : strengths.runs) {
    if (run.y < 1 || run.y >= frame.height - 1) continue;
    for (std::size_t i = 0; i < run.count; ++i) {
      const float strength = strengths.values[run.first + i];
      const int x = run.x + static_cast<int>(i);
      if (!(strength > threshold) || x < 1 || x >= frame.width - 1) continue;
      bool highest = true;
      for (int dy = -1; dy <= 1 && highest; ++dy) {
        for (int dx = -1; dx <= 1 && highest; ++dx) {
          highest = !(strengths.At(x + dx, run.y + dy) > strength);
        }
      }
      if (highest) peaks.push_back({strength, x, run.y});
    }
  }
  std::sort(peaks.begin(), peaks.end(), [](const Corner& a, const Corner& b) {
    return std::tie(a.strength, a.y, a.x) > std::tie(b.strength, b.y, b.x);
  });
  return peaks;
}

std::vector<cv::Point2f> FarApart(const std::vector<Corner>& peaks) {
  std::vector<cv::Point2f> corners;
  for (const Corner& peak : peaks) {
    const cv::Point2f at(static_cast<float>(peak.x), static_cast<float>(peak.y));
    const auto tooNear = [&](const cv::Point2f& other) {
      const cv::Point2f apart = at - other;
      return static_cast<double>(apart.x * apart.x + apart.y * apart.y) <
             kMinDistance * kMinDistance;
    };
    if (std::any_of(corners.begin(), corners.end(), tooNear)) continue;
    corners.push_back(at);
    if (corners.size() == kMostCorners) break;
  }
  return corners;
}

std::vector<cv::Point2f> CornersOfAnyPicture(const cv::Mat& frame, double qualityLevel) {
  std::vector<cv::Point2f> corners;
  cv::goodFeaturesToTrack(frame, corners, kMostCorners, qualityLevel, kMinDistance, cv::noArray(),
                          kCornerWindow, false, 0.04);
  return corners;
}

/// Nothing when the picture is all outline, or when the sums were not exact.
std::optional<std::vector<cv::Point2f>> CornersAlongOutline(const cv::Mat& frame,
                                                            const cv::Rect& area,
                                                            double qualityLevel) {
  const std::optional<OutlineGradient> gradient = GradientOf(frame, area);
  if (!gradient) return std::nullopt;
  if (gradient->points.empty()) return std::vector<cv::Point2f>();
  const Strengths strengths = StrengthsOf(*gradient, frame.size());
  if (!SumsAreExact(*gradient, strengths.largestSum)) return std::nullopt;
  const auto largest = std::max_element(strengths.values.begin(), strengths.values.end());
  if (largest == strengths.values.end() || !(*largest > 0)) return std::nullopt;
  const auto threshold = static_cast<float>(static_cast<double>(*largest) * qualityLevel);
  return FarApart(Peaks(strengths, threshold, frame.size()));
}

}  // namespace

std::vector<cv::Point2f> StrongCorners(const cv::Mat& frame, const cv::Rect& area,
                                       double qualityLevel) {
  // Frames so small that a window is mirrored more than once gain nothing.
  const bool large = frame.cols > 2 * kCornerWindow && frame.rows > 2 * kCornerWindow;
  if (large && qualityLevel > 0) {
    if (auto corners = CornersAlongOutline(frame, area, qualityLevel)) return *std::move(corners);
  }
  return CornersOfAnyPicture(frame, qualityLevel);
}

}  // namespace dravix::region
