/// How findings are made: ids with their severity, and numbers in messages.
#pragma once

#include <dravix/lab/check.h>

#include <opencv2/core.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::lab {

using Findings = std::vector<Finding>;
using FindingValues = std::vector<std::pair<std::string, FindingValue>>;

/// A finding with the severity that belongs to its id.
[[nodiscard]] Finding MakeFinding(std::string_view id, std::string message, FindingValues values);
/// Adds it.
void Add(Findings& findings, std::string_view id, std::string message, FindingValues values);
[[nodiscard]] bool Has(const Findings& findings, std::string_view id);

/// A number with at most so many digits behind the point, without zeros at the end.
[[nodiscard]] std::string Text(double number, int digits = 2);
/// "12.3 %" for 0.123.
[[nodiscard]] std::string Percent(double share);
/// "40.5 x 30.2".
[[nodiscard]] std::string Text(cv::Size2d size, int digits = 2);
/// "12,34".
[[nodiscard]] std::string Text(cv::Point2d point);

[[nodiscard]] std::vector<double> Pair(cv::Size size);
[[nodiscard]] std::vector<double> Pair(cv::Size2d size);
[[nodiscard]] std::vector<double> Pair(cv::Point2d point);
[[nodiscard]] std::vector<std::vector<double>> Pairs(const std::vector<cv::Point2d>& points);

}  // namespace dravix::lab
