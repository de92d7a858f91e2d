#include "lab/check/finding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace dravix::lab {
namespace {

constexpr std::array<std::string_view, 8> kWarnings = {"too-dark",  "too-sharp",  "too-blurred",
                                                       "moire",     "resolution", "tilt",
                                                       "bit-depth", "edge-copied"};

}  // namespace

Finding MakeFinding(std::string_view id, std::string message, FindingValues values) {
  const bool isWarning = std::find(kWarnings.begin(), kWarnings.end(), id) != kWarnings.end();
  return {std::string(id), isWarning ? Severity::kWarning : Severity::kError, std::move(message),
          std::move(values)};
}

void Add(Findings& findings, std::string_view id, std::string message, FindingValues values) {
  findings.push_back(MakeFinding(id, std::move(message), std::move(values)));
}

bool Has(const Findings& findings, std::string_view id) {
  return std::any_of(findings.begin(), findings.end(),
                     [id](const Finding& finding) { return finding.id == id; });
}

std::string Text(double number, int digits) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  std::string result = text.data();
  if (result.find('.') != std::string::npos) {
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') result.pop_back();
  }
  return result == "-0" ? "0" : result;
}

std::string Percent(double share) {
  const double percent = 100 * share;
  return Text(percent, std::abs(percent) < 1 ? 2 : 1) + " %";
}

std::string Text(cv::Size2d size, int digits) {
  return Text(size.width, digits) + " x " + Text(size.height, digits);
}

std::string Text(cv::Point2d point) { return Text(point.x, 0) + "," + Text(point.y, 0); }

std::vector<double> Pair(cv::Size size) {
  return {static_cast<double>(size.width), static_cast<double>(size.height)};
}

std::vector<double> Pair(cv::Size2d size) { return {size.width, size.height}; }

std::vector<double> Pair(cv::Point2d point) { return {point.x, point.y}; }

std::vector<std::vector<double>> Pairs(const std::vector<cv::Point2d>& points) {
  std::vector<std::vector<double>> pairs;
  pairs.reserve(points.size());
  for (const cv::Point2d& point : points) pairs.push_back(Pair(point));
  return pairs;
}

}  // namespace dravix::lab
