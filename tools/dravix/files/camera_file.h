/// Picture files of cameras and of other programs: which kind they are, and their samples.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dravix::tool {

enum class FileKind {
  kShot,
  kLum,
  kRegion,
  kNpy,
  kTruth,
  kRaw,        ///< a dump of samples
  kCameraRaw,  ///< a camera's own format
  kTiff,
  kPgm,
  kPicture
};

/// The kind of a file. The library's formats and truth files go by their extension, pictures by
/// their first bytes where these are known.
[[nodiscard]] FileKind KindOf(const std::string& name);

/// What a TIFF or DNG says about its first picture.
struct TiffSummary {
  bool littleEndian = true;
  std::uint32_t width = 0, height = 0;
  std::uint32_t bits = 0;         ///< per sample; 0 where the file does not say
  std::uint32_t samples = 1;      ///< per pixel
  std::uint32_t compression = 1;  ///< 1 is none
  std::uint32_t strips = 0;
  bool isDng = false;
};
/// Empty when the file has no directory that can be read.
[[nodiscard]] std::optional<TiffSummary> SummaryOfTiff(const std::string& bytes);

struct PgmSummary {
  int width = 0, height = 0, maximum = 0;
};
[[nodiscard]] std::optional<PgmSummary> SummaryOfPgm(const std::string& name);

/// What a DNG's strip tag points at: an array of offsets, or the samples themselves. kAuto takes
/// the array where the file has several strips.
enum class DngOffsets { kAuto, kArray, kDirect };

/// One plane of 16-bit samples, read by the library. Each fails with one line that says what is
/// wrong with the file.
[[nodiscard]] cv::Mat ReadRaw(const std::string& name, cv::Size size);
[[nodiscard]] cv::Mat ReadDng(const std::string& name, DngOffsets offsets);
[[nodiscard]] cv::Mat ReadPgm(const std::string& name);

}  // namespace dravix::tool
