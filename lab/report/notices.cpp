#include "lab/report/notices.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "lab/base/size_text.h"
#include "lab/report/page_json.h"

namespace dravix::lab {
namespace {

/// "1,234,567 LEDs", "1 LED".
std::string LedText(std::int64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, ",");
  return digits + (count == 1 ? " LED" : " LEDs");
}

std::string PercentText(double share) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%.2g %%", 100 * share);
  return text.data();
}

class Notices {
 public:
  void Warn(const std::string& text) { all_.push_back({true, file_, text}); }
  void Remark(const std::string& text) { all_.push_back({false, file_, text}); }
  /// The result that what follows is about.
  void About(const std::string& file) { file_ = file; }

  [[nodiscard]] std::vector<Notice> WarningsFirst() {
    std::stable_partition(all_.begin(), all_.end(), [](const Notice& n) { return n.isWarning; });
    return std::move(all_);
  }

 private:
  std::string file_;
  std::vector<Notice> all_;
};

template <class Fits>
std::int64_t CountOf(const cv::Mat& values, const Fits& fits) {
  std::int64_t count = 0;
  cv::Mat1d row;
  for (int y = 0; y < values.rows; ++y) {
    values.row(y).convertTo(row, CV_64F);
    count += std::count_if(row.begin(), row.end(), fits);
  }
  return count;
}

void AddNotMeasured(const ReportInput& input, Notices& notices) {
  const std::int64_t missing = CountOf(input.values, [](double v) { return !std::isfinite(v); });
  if (missing == 0) return;
  notices.Warn(LedText(missing) + " of " +
               LedText(static_cast<std::int64_t>(input.values.total())) +
               (missing == 1 ? " was" : " were") + " not measured (NaN). The figures leave " +
               (missing == 1 ? "it" : "them") + " out; the map shows " +
               (missing == 1 ? "it" : "them") + " hatched.");
}

void AddDefects(const ReportInput& input, Notices& notices) {
  const DefectCounts& counts = input.analysis.counts;
  if (counts.dead + counts.dim + counts.bright == 0) return;
  std::string kinds;
  const auto add = [&](std::int64_t count, const char* kind) {
    if (count == 0) return;
    kinds += (kinds.empty() ? "" : ", ") + LedText(count).substr(0, LedText(count).find(' ')) +
             " " + kind;
  };
  add(counts.dead, "dead");
  add(counts.dim, "dim");
  add(counts.bright, "bright");
  notices.Warn("Defects: " + kinds + ". The list of defects says where.");
}

/// Light that a sensor cannot take any more gives many LEDs one and the same value.
void AddSameMaximum(const ReportInput& input, Notices& notices) {
  constexpr double kNoticedShare = 0.01;
  const double maximum = input.analysis.level.maximum;
  const std::int64_t equal = CountOf(input.values, [&](double v) { return v == maximum; });
  const double share = static_cast<double>(equal) / static_cast<double>(input.values.total());
  // The copied border repeats values, the largest among them, a few times.
  constexpr std::int64_t kFewRepetitions = 100;
  if (equal <= kFewRepetitions || share < kNoticedShare) return;
  notices.Warn(LedText(equal) + " (" + PercentText(share) +
               ") have exactly the largest value: the photograph may be overexposed.");
}

void AddCopiedBorder(const ReportInput& input, Notices& notices) {
  const int width = input.analysis.copiedBorder.value_or(0);
  if (width <= 0) return;
  const cv::Size size = input.values.size();
  const std::int64_t inner =
      std::int64_t{std::max(0, size.width - 2 * width)} * std::max(0, size.height - 2 * width);
  const std::int64_t copies = static_cast<std::int64_t>(input.values.total()) - inner;
  std::string text = "The outer " + std::to_string(width) +
                     " rows and columns on each side are not measured: " + LedText(copies) +
                     " are copies of LEDs inside. ";
  if (input.options.edge >= width) {
    notices.Remark(text + "The figures leave them out.");
  } else {
    notices.Warn(text + "The figures count them; --edge " + std::to_string(width) +
                 " leaves them out.");
  }
}

void AddFewLeds(const ReportInput& input, Notices& notices) {
  constexpr std::int64_t kFew = 100;  // the 1st percentile of fewer lies between two single LEDs
  if (input.analysis.counted >= kFew) return;
  notices.Warn("Only " + LedText(input.analysis.counted) + " " +
               (input.analysis.counted == 1 ? "counts" : "count") +
               ": percentiles and uniformity rest on single LEDs.");
}

void AddDark(const ReportInput& input, Notices& notices) {
  if (input.analysis.level.median > 0) return;
  notices.Warn("The median is not above 0: ratios, such as uniformity, say nothing here.");
}

void AddCoarseMap(int block, Notices& notices) {
  if (block <= 1) return;
  const std::string side = std::to_string(block);
  notices.Remark("The map is coarser than the matrix: each of its cells is the mean of " + side +
                 " x " + side +
                 " LEDs, so that this page stays small. Figures, curves and lists are of the full "
                 "matrix.");
}

void AddDifferentSizes(const std::vector<ReportInput>& inputs, Notices& notices) {
  for (const ReportInput& input : inputs) {
    if (input.values.size() == inputs[0].values.size()) continue;
    notices.Warn("The results differ in size: " + inputs[0].file + " has " +
                 SizeText(inputs[0].values.size()) + " LEDs, " + input.file + " has " +
                 SizeText(input.values.size()) + ".");
    return;
  }
}

void AddShortMeans(int digits, Notices& notices) {
  if (digits >= kAllDigits) return;
  notices.Remark(digits == 0
                     ? "The means of so many modules do not fit into this page: they are left out "
                       "(dravix analyze --json has them). All other figures are complete."
                     : "The means of so many modules are given with " + std::to_string(digits) +
                           " digits, so that they fit into this page. All other figures have all "
                           "of theirs.");
}

}  // namespace

std::vector<Notice> NoticesOf(const std::vector<ReportInput>& inputs,
                              const std::vector<int>& blocks, int meanDigits,
                              const ReportOptions& options) {
  Notices notices;
  AddDifferentSizes(inputs, notices);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    notices.About(inputs[i].file);
    AddNotMeasured(inputs[i], notices);
    AddSameMaximum(inputs[i], notices);
    AddDark(inputs[i], notices);
    AddFewLeds(inputs[i], notices);
    AddDefects(inputs[i], notices);
    AddCopiedBorder(inputs[i], notices);
    AddCoarseMap(blocks[i], notices);
    if (inputs[i].analysis.modules) AddShortMeans(meanDigits, notices);
  }
  notices.About("");
  if (options.photograph && options.photograph->outline.empty()) {
    notices.Remark("The photograph is shown without an outline: " +
                   options.photograph->outlineSource);
  }
  return notices.WarningsFirst();
}

}  // namespace dravix::lab
