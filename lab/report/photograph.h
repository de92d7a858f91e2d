/// The photograph as a small picture for the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// The image as a JPEG of at most `most` bytes, reduced and compressed as far as that takes.
/// Samples are taken as linear in light; the largest one is white.
[[nodiscard]] std::vector<std::uint8_t> JpegOf(const cv::Mat& image, std::size_t most);

}  // namespace dravix::lab
