#include "stored/stored_content.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <opencv2/core.hpp>

#include "files/files.h"
#include "stored/stored_record.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// A plane type, then 16-bit pixels.
bool IsShot(std::ifstream& file) {
  const auto type = NumbersAt<1>(file, kRecordsBegin);
  const auto image = RecordAt(file, kRecordsBegin + 4);
  constexpr int kAllPlanes = 0x77;
  return type && image && (*type)[0] > 0 && (*type)[0] <= kAllPlanes && image->depth == CV_16U;
}

/// An 8-bit matrix and one of floats, both with an element for each LED.
bool IsResult(std::ifstream& file) {
  const auto picture = RecordAt(file, kRecordsBegin);
  if (!picture || picture->depth != CV_8U || picture->channels != 1) return false;
  const auto luminances = RecordAt(file, picture->end);
  return luminances && luminances->depth == CV_32F && luminances->size == picture->size;
}

/// Frame and rectangle, then an 8-bit mask of the rectangle's size.
bool IsRegion(std::ifstream& file) {
  const auto sizes = NumbersAt<6>(file, kRecordsBegin);
  const auto mask = RecordAt(file, kRecordsBegin + sizeof *sizes);
  return sizes && mask && mask->depth == CV_8U && mask->channels == 1 &&
         mask->size == cv::Size((*sizes)[4], (*sizes)[5]);
}

struct Format {
  StoredKind kind;
  bool (*matches)(std::ifstream&);
  const char* text;
  const char* extension;
};
constexpr std::array kFormats = {
    Format{StoredKind::kShot, IsShot, "a photograph", ".shot"},
    Format{StoredKind::kResult, IsResult, "a measurement's result", ".lum"},
    Format{StoredKind::kRegion, IsRegion, "a region", ".roi"}};

}  // namespace

void RequireContent(const std::string& name, StoredKind expected) {
  std::ifstream file(PathOf(name), std::ios::binary);
  if (!file) return;  // reading the file says why
  const Format& wanted = kFormats.at(static_cast<std::size_t>(expected));
  if (wanted.matches(file)) return;
  for (const Format& format : kFormats) {
    if (format.kind == expected || !format.matches(file)) continue;
    throw InputFailure(name, std::string("holds ") + format.text + " (" + format.extension +
                                 "), expected " + wanted.text + " (" + wanted.extension +
                                 "); was it renamed?");
  }
}

}  // namespace dravix::tool
