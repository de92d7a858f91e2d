/// Gray maps (PGM) of other programs, with comments and any layout of the header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace dravix::tool {

/// What a gray map or color map says about itself.
struct MapHeader {
  std::uint32_t width = 0, height = 0, maximum = 1;
  std::size_t dataAt = 0;  ///< the first byte of the samples
};

/// Empty unless the bytes begin with a mark of such a map ("P2", "P3", "P5", "P6") and three
/// numbers.
[[nodiscard]] std::optional<MapHeader> MapHeaderIn(std::string_view bytes);

struct GrayMap {
  cv::Mat samples;  ///< one plane as it is stored: 8 bits up to a maximum of 255, else 16
  int maximum = 0;  ///< the largest sample that the file announces
};

/// Reads binary ("P5") and text ("P2") gray maps. Fails with one line that says what was found and
/// what was expected.
[[nodiscard]] GrayMap ReadGrayMap(const std::string& name, std::string_view bytes);

/// Fails when the header of a gray map or color map ("P2", "P3", "P5", "P6") claims more than 250
/// megapixels, or more samples than the file has bytes for.
void RequirePossibleMap(const std::string& name, std::string_view bytes);

}  // namespace dravix::tool
