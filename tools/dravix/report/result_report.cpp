#include "report/result_report.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/one_line.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kLabelWidth = 14;

/// The smallest of the nine fields' means over the largest. With fewer than three LEDs a side some
/// fields hold no LED; they are left out.
double NinePoint(const cv::Mat& luminances) {
  double low = 0;
  double high = 0;
  bool first = true;
  for (int field = 0; field < 9; ++field) {
    const int row = field / 3;
    const int column = field % 3;
    const cv::Range rows(luminances.rows * row / 3, luminances.rows * (row + 1) / 3);
    const cv::Range columns(luminances.cols * column / 3, luminances.cols * (column + 1) / 3);
    if (rows.empty() || columns.empty()) continue;
    const double mean = cv::mean(luminances(rows, columns))[0];
    low = first ? mean : std::min(low, mean);
    high = first ? mean : std::max(high, mean);
    first = false;
  }
  return high > 0 ? low / high : 0;
}

}  // namespace

Statistics StatisticsOf(const cv::Mat& luminances) {
  Statistics s;
  s.leds = luminances.size();
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(luminances, mean, deviation);
  cv::minMaxLoc(luminances, &s.minimum, &s.maximum);
  s.mean = mean[0];
  s.deviation = deviation[0];
  s.minOverMax = s.maximum > 0 ? s.minimum / s.maximum : 0;
  s.ninePoint = NinePoint(luminances);
  s.spread = s.mean > 0 ? s.deviation / s.mean : 0;
  return s;
}

Json StatisticsJson(const Statistics& s) {
  Json json;
  json["leds"] = {s.leds.width, s.leds.height};
  json["mean"] = s.mean;
  json["minimum"] = s.minimum;
  json["maximum"] = s.maximum;
  json["standard_deviation"] = s.deviation;
  json["spread"] = s.spread;
  json["uniformity"] = {{"nine_point", s.ninePoint}, {"min_over_max", s.minOverMax}};
  return json;
}

std::string StatisticsText(const Statistics& s) {
  return ReportLine("LEDs", std::to_string(s.leds.width) + " x " + std::to_string(s.leds.height)) +
         ReportLine("mean", NumberText(s.mean)) + ReportLine("minimum", NumberText(s.minimum)) +
         ReportLine("maximum", NumberText(s.maximum)) +
         ReportLine("std deviation",
                    NumberText(s.deviation) + "  (" + PercentText(s.spread) + " of the mean)") +
         ReportLine("uniformity", PercentText(s.ninePoint) + " nine-point, " +
                                      PercentText(s.minOverMax) + " min/max");
}

std::string ReportLine(const std::string& label, const std::string& value) {
  std::string line = label;
  line.append(std::max<std::size_t>(kLabelWidth, label.size() + 1) - label.size(), ' ');
  // The value may be a name or a text out of a file.
  return line + "  " + base::Visible(value) + "\n";
}

std::string PercentText(double share) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%.2f %%", 100 * share);
  return text.data();
}

}  // namespace dravix::tool
