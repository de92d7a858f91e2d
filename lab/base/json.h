/// Numbers of results as JSON has them.
#pragma once

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <string>

namespace dravix::lab {

/// Fields keep the order in which they are set.
using Json = nlohmann::ordered_json;

/// The number, or null where it is not finite: JSON has neither NaN nor infinities.
[[nodiscard]] Json NumberOrNull(double value);
[[nodiscard]] Json ToPair(cv::Size size);
[[nodiscard]] Json ToPair(cv::Point point);

/// Two spaces for each level. Bytes that are no UTF-8 appear as replacement characters, because
/// names of files may hold any bytes.
[[nodiscard]] std::string Dumped(const Json& json);

}  // namespace dravix::lab
