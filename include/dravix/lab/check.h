/// What is wrong with a photograph of an LED screen: findings with the numbers behind them.
///
/// A measurement gives figures for almost any photograph, also for one that is saturated, out of
/// focus or shows half the screen. These functions look at the photograph itself and say what
/// speaks against measuring it. Nothing is changed, and nothing here has an effect on a result.
#ifndef DRAVIX_LAB_CHECK_H_
#define DRAVIX_LAB_CHECK_H_

#include <dravix/region.h>
#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace dravix::lab {

enum class Severity {
  kWarning,  ///< a result is worth less than it could be
  kError,    ///< a result would be wrong
};

/// A number, a list of numbers such as [width, height] or [x, y], a list of such lists, or a word.
using FindingValue =
    std::variant<double, std::vector<double>, std::vector<std::vector<double>>, std::string>;

/// One thing that is wrong.
struct Finding {
  std::string id;  ///< "saturated", "led-count" and so on; docs/check.md lists them
  Severity severity = Severity::kError;
  std::string message;  ///< what was seen, with numbers, and what to do next
  /// The numbers of the message by name, in the order of their importance.
  std::vector<std::pair<std::string, FindingValue>> values;
};

/// What is known beside the photograph. Pointers are not owned and may be null.
struct CheckOptions {
  /// Corners of the lit area as a measurement would get them, in photograph pixels and any order;
  /// four, or none to have the area searched for.
  std::vector<cv::Point> corners;
  const RegionOI* region = nullptr;    ///< the lit area instead of corners
  const Shot* checkerboard = nullptr;  ///< the second photograph, which shows a checkerboard
  cv::Size blocks;                     ///< of the checkerboard, across and down; 0 x 0: not known
  /// LEDs across the last column's blocks and down the last row's where they are narrower; else -1.
  cv::Size last = {-1, -1};
};

/// All findings on a photograph, errors first, each id at most once. Looks at pixels of any depth
/// and number of channels; what cannot be seen, such as the LED grid behind strong defocus, is no
/// finding. The same photograph gives the same findings on any number of threads.
/// Throws std::invalid_argument when there are corners but not four of them.
[[nodiscard]] std::vector<Finding> Check(const Shot& photo, const CheckOptions& options = {});

/// The finding that every measurement has: how many of its `leds` are copies of inner ones, because
/// the outer `border` rows and columns on each side are.
[[nodiscard]] Finding EdgeCopied(cv::Size leds, int border);

/// Whether no finding is an error.
[[nodiscard]] bool IsOk(const std::vector<Finding>& findings);

/// "warning" or "error".
[[nodiscard]] const char* NameOf(Severity severity);

/// The list under `findings` in the answers of `dravix check --json` and `measure --json`.
[[nodiscard]] std::string ToJson(const std::vector<Finding>& findings);
/// The object of one photograph in the answer of `dravix check --json`.
[[nodiscard]] std::string ToJson(const std::string& photo, const std::vector<Finding>& findings);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_CHECK_H_
