/// Cameras' and other programs' picture files: what they are, and their samples.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::tool {

enum class FileKind { kShot, kLum, kRegion, kNpy, kTruth, kRaw, kTiff, kPgm, kPicture };

/// By the first bytes where they tell, by the extension where not.
[[nodiscard]] FileKind KindOf(const std::string& name);

/// What a little-endian TIFF or DNG says about its first picture.
struct TiffSummary {
  bool littleEndian = true;
  std::uint32_t width = 0, height = 0;
  std::uint32_t bits = 0;         ///< per sample; 0 where the file does not say
  std::uint32_t samples = 1;      ///< per pixel
  std::uint32_t compression = 1;  ///< 1 is none
  std::uint32_t strips = 0;
  bool isDng = false;
};
/// Empty when there is no directory that can be read.
[[nodiscard]] std::optional<TiffSummary> SummaryOfTiff(const std::string& bytes);

struct PgmSummary {
  int width = 0, height = 0, maximum = 0;
};
[[nodiscard]] std::optional<PgmSummary> SummaryOfPgm(const std::string& name);

/// How a DNG says where its samples are.
enum class DngLayout { kAuto, kArray, kDirect };

/// One plane of 16-bit samples through the library's readers; each fails with one line.
[[nodiscard]] cv::Mat ReadRaw(const std::string& name, cv::Size size);
[[nodiscard]] cv::Mat ReadDng(const std::string& name, DngLayout layout);
[[nodiscard]] cv::Mat ReadPgm(const std::string& name);

}  // namespace dravix::tool
