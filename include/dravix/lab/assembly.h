/// From results of parts and phases of a screen to one matrix of the whole screen.
///
/// A photograph shows one partition of the screen with one LED of every interval lit. A result
/// therefore holds the LEDs of a lattice, and a screen takes many results. Putting them together
/// says which LEDs were measured, how often, and where gaps are. Results of different photographs
/// may differ by a factor; gains that make them agree are found where two results show the same
/// LEDs, or where they meet.
#ifndef DRAVIX_LAB_ASSEMBLY_H_
#define DRAVIX_LAB_ASSEMBLY_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::lab {

/// Where the LEDs of a result lie: element (row i, column j) is the screen's LED
/// (partition.x + phase.x + j interval.width, partition.y + phase.y + i interval.height).
struct Placement {
  cv::Size screen;          ///< LEDs of the whole screen
  cv::Rect partition;       ///< the part of it that was photographed, LEDs
  cv::Size interval{1, 1};  ///< one LED of every so many across and down was lit
  cv::Point phase;          ///< which one: from (0, 0) to the interval less 1
};

/// Columns and rows of a result with this placement: ceil((partition.width - phase.x) /
/// interval.width), likewise down. The placement must be one that Check accepts.
[[nodiscard]] cv::Size LitLeds(const Placement& placement);

/// Throws std::invalid_argument that says what was found and expected: a screen without LEDs or of
/// more than 150 million, a partition that is empty or leaves the screen, an interval below 1, a
/// phase outside the interval, and a partition without any lit LED.
void Check(const Placement& placement);

/// How results are made to agree.
enum class Match {
  kNone,     ///< values stay as they are
  kOverlap,  ///< by LEDs that two results share
  kSeams,    ///< by the outermost LEDs where two results of one phase meet, and by means of phases
};

/// Throws std::invalid_argument for placements of different screens, one that Check refuses, and
/// what would take too much memory or time: more than 600 million values, or, with a match, more
/// than a million pairs of results to compare or 4 billion LEDs in these. Also where partitions
/// share more than a million borders.
void Check(const std::vector<Placement>& placements, Match match);

struct PlacedResult {
  std::string name;  ///< what the answer calls it
  Placement placement;
  cv::Mat values;  ///< LitLeds(placement) large, CV_32FC1 or CV_64FC1
};

/// What a result's values were multiplied by.
struct ResultGain {
  std::string result;
  double gain = 1;
};

/// What is known of an assembled plane beside its matrices.
struct PlaneFigures {
  std::string plane;
  cv::Size size;              ///< of the screen
  std::int64_t measured = 0;  ///< LEDs with at least one finite value
  std::int64_t missing = 0;   ///< LEDs without any
  std::int64_t doubled = 0;   ///< LEDs with more than one
  /// Disjoint rectangles that cover the missing LEDs exactly, the largest first; of more than
  /// 1,000, the 1,000 largest.
  std::vector<cv::Rect> missingRectangles;
  std::vector<ResultGain> gains;  ///< in the order of the results
  /// Root of the mean square of the steps over the borders that partitions share, in the matrix
  /// without and with gains: (after - before) / their mean, by the means of the 4 columns or rows
  /// (or as many as both partitions have) on each side. NaN where there is no such border.
  double seamRmsBefore = 0;
  double seamRmsAfter = 0;
};

struct AssembledPlane {
  cv::Mat1f values;  ///< of the whole screen; NaN where nothing was measured
  cv::Mat1b counts;  ///< how often each LED was measured; 255 is that often or more
  PlaneFigures figures;
};

/// Puts results together. An LED that was measured more than once has the mean of its finite
/// values, in double precision, added in the order of the results; one that was measured once keeps
/// its value's bits where the gain is 1.
///
/// Gains are the least squares solution of log(gain a) + log(value a) = log(gain b) + log(value b).
/// With Match::kOverlap there is one such equation for each LED that two results share; with
/// Match::kSeams one for each two results of equal interval and phase whose partitions share a
/// border, where the values are means of the outermost 4 columns or rows (or as many as both
/// results have) along what the partitions share of it, and one for each two results of the same
/// partition, where they are the means of all values. Only finite values above 0 take part. The
/// geometric mean of the gains of results that are linked, also through others, is 1; a result that
/// is linked to none has the gain 1.
///
/// Throws std::invalid_argument where Check does, and for values of another size or type.
[[nodiscard]] AssembledPlane Assemble(const std::string& plane,
                                      const std::vector<PlacedResult>& results,
                                      Match match = Match::kNone);

/// The object that `dravix assemble --json` prints, two spaces for each level.
[[nodiscard]] std::string ToJson(const std::vector<PlaneFigures>& planes);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_ASSEMBLY_H_
