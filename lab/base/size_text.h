/// Sizes in messages.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dravix::lab {

/// "480 x 270".
[[nodiscard]] std::string SizeText(cv::Size size);

}  // namespace dravix::lab
