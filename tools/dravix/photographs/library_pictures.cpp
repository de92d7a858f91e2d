#include "photographs/library_pictures.h"

#include <dravix/bimage.h>

#include <cstdint>

#include "files/files.h"
#include "photographs/formats/tiff_summary.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"

namespace dravix::tool {

cv::Mat ReadRaw(const std::string& name, cv::Size size) {
  const std::uintmax_t found = ReadHead(name, 1).size;
  const std::uintmax_t expected =
      static_cast<std::uintmax_t>(size.width) * static_cast<std::uintmax_t>(size.height) * 2;
  if (found != expected) {
    throw InputFailure(name, "has " + std::to_string(found) + " bytes, expected " +
                                 std::to_string(expected) + " (" + std::to_string(size.width) +
                                 " x " + std::to_string(size.height) + " samples of 2 bytes)");
  }
  cv::Mat samples = BImage::ReadOrvelRaw(name, size.height, size.width);
  static_cast<void>(TakeLibraryError());
  if (samples.empty()) throw InputFailure(name, "cannot be read as samples of 16 bits");
  return samples;
}

cv::Mat ReadDng(const std::string& name, DngOffsets offsets) {
  const auto summary = SummaryOfTiff(ReadFile(name));
  if (!summary) throw InputFailure(name, "is no DNG or TIFF with a readable directory");
  if (const std::string reason = OutsideLibrary(*summary); !reason.empty()) {
    throw InputFailure(name, reason);
  }
  if (offsets == DngOffsets::kAuto) {
    offsets = summary->strips > 1 ? DngOffsets::kArray : DngOffsets::kDirect;
  }
  cv::Mat samples;
  {
    const Hushed hushed;
    samples = offsets == DngOffsets::kArray ? BImage::ReadRggbDng(name) : BImage::ReadDngToup(name);
  }
  static_cast<void>(TakeLibraryError());
  if (samples.empty()) {
    throw InputFailure(name, "does not hold its " + std::to_string(summary->width) + " x " +
                                 std::to_string(summary->height) +
                                 " samples of 16 bits in one run");
  }
  return samples;
}

}  // namespace dravix::tool
