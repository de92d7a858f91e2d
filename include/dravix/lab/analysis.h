/// What an engineer wants to know of a measured screen: level, uniformity, modules, seams, defects.
///
/// Places are screen positions (column, row) from 0 at the top left: the place in the matrix plus
/// AnalysisOptions::at. A figure that would divide by zero or average nothing is NaN here and null
/// in JSON.
#ifndef DRAVIX_LAB_ANALYSIS_H_
#define DRAVIX_LAB_ANALYSIS_H_

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::lab {

/// How a matrix is analyzed. The defaults are those of `dravix analyze`.
struct AnalysisOptions {
  cv::Size module;       ///< LEDs across and down one module; empty for none
  cv::Size cabinet;      ///< LEDs across and down one cabinet; empty for none
  cv::Point at;          ///< screen position of the matrix's LED (0, 0)
  int edge = 0;          ///< outer rows and columns of the matrix that do not count; 0 and more
  double dead = 0.5;     ///< an LED is dead below this share of its surroundings,
  double dim = 0.8;      ///< else dim below this one,
  double bright = 1.25;  ///< and bright above this one; all three 0 and more
  /// Outer rows and columns on each side that are copies of inner ones, where known; it is passed
  /// on to the result and changes no figure. CopiedBorderOf finds it.
  std::optional<int> copiedBorder;
};

/// Figures of all LEDs that count.
struct Level {
  double mean = 0;
  double median = 0;  ///< mean of the middle two where their number is even
  double minimum = 0;
  double maximum = 0;
  double standardDeviation = 0;  ///< of the population
  double cv = 0;                 ///< coefficient of variation: standardDeviation / mean
  double p01 = 0;  ///< 1st percentile, interpolated between order statistics at 0.01 (n - 1)
  double p99 = 0;  ///< 99th percentile, likewise
};

/// A measuring point and the mean of the LEDs around it that count.
struct UniformityPoint {
  cv::Point position;
  double value = 0;  ///< NaN where no LED counts
};

/// Uniformity over a fixed set of points. Points without a value are left out of the figures.
struct Uniformity {
  std::vector<UniformityPoint> points;  ///< 5, 9, 13 or 25, row by row
  double minOverMax = 0;
  double maxOverMin = 0;
  double nonuniformity = 0;    ///< 1 - minOverMax
  double worstOverCenter = 0;  ///< smallest value over the center's
};

/// The modules that the matrix touches. Module (column, row) holds the LEDs at screen positions
/// with floor(x / width) = column and floor(y / height) = row; those at the border may be partial.
struct Modules {
  cv::Size count;
  cv::Point first;         ///< column and row of the top left one
  cv::Mat1d means;         ///< count.height x count.width; NaN where no LED counts
  double cv = 0;           ///< coefficient of variation of the means
  double largestStep = 0;  ///< between two that share a side, over Level::mean
  /// Column and row of these two modules; empty where no two neighbors have a mean.
  std::optional<std::array<cv::Point, 2>> between;
};

enum class SeamDirection { kVertical, kHorizontal };

/// The step of luminance where one module ends and the next begins.
struct Seam {
  SeamDirection direction = SeamDirection::kVertical;
  int at = 0;       ///< screen position of the first column or row behind the seam
  double step = 0;  ///< (right - left) / their mean, or (below - above) / their mean
};

enum class DefectKind { kDead, kDim, kBright };

/// An LED that stands out of the 5 x 5 around it.
struct Defect {
  cv::Point position;
  DefectKind kind = DefectKind::kDead;
  double value = 0;
  double ratio = 0;                  ///< value over the median of its surroundings without itself
  std::optional<cv::Point> module;   ///< column and row; empty without AnalysisOptions::module
  std::optional<cv::Point> cabinet;  ///< column and row; empty without AnalysisOptions::cabinet
};

struct DefectCounts {
  std::int64_t dead = 0;
  std::int64_t dim = 0;
  std::int64_t bright = 0;
};

struct Analysis {
  cv::Size size;  ///< of the matrix
  cv::Point at;   ///< screen position of its LED (0, 0)
  Level level;
  std::array<Uniformity, 4> uniformity;  ///< over 5, 9, 13 and 25 points
  std::optional<Modules> modules;        ///< with AnalysisOptions::module
  std::vector<Seam> seams;               ///< likewise; vertical ones first, ascending
  double seamRms = 0;                    ///< root of the mean square of the steps
  std::vector<Defect> defects;           ///< by row, then column
  DefectCounts counts;
  std::int64_t counted = 0;  ///< LEDs that count: finite, and not in the outer rows and columns
  std::optional<int> copiedBorder;  ///< as AnalysisOptions gave it
};

/// Analyzes a matrix of luminances, CV_32FC1 or CV_64FC1, in double precision.
///
/// An LED counts when its value is finite and it does not lie in the outer `edge` rows and columns;
/// every figure is over LEDs that count. Where none counts, `counted` is 0 and all figures are NaN.
/// Throws std::invalid_argument for an empty matrix or another type, and for options out of range.
[[nodiscard]] Analysis Analyze(const cv::Mat& values, const AnalysisOptions& options = {});

/// Throws std::invalid_argument, as Analyze does, for options out of range: "edge: found -1,
/// expected 0 or more". The name before the colon is that of the tool's option without its dashes.
void Check(const AnalysisOptions& options);

/// The object that `dravix analyze --json` prints, two spaces for each level.
[[nodiscard]] std::string ToJson(const Analysis& analysis);

/// The defects as a table with a header: one line each, ended by a line feed. A module or cabinet
/// that is not known leaves its fields empty. Values read back to the same 32-bit float (the same
/// double where CV_64FC1 held one), ratios to the same double.
[[nodiscard]] std::string DefectsCsv(const Analysis& analysis);

/// "dead", "dim" or "bright".
[[nodiscard]] const char* NameOf(DefectKind kind);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_ANALYSIS_H_
