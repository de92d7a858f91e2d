#include "files/file_kind.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "files/files.h"

namespace dravix::tool {
namespace {

/// Cameras' formats have marks of their own, or are built like a TIFF; then the extension tells.
bool IsCameraRaw(std::string_view first, std::string_view extension) {
  constexpr std::array<std::string_view, 8> kMarks = {"IIRO",
                                                      "IIRS",
                                                      "MMOR",
                                                      std::string_view("IIU\0", 4),
                                                      "FUJIFILMCCD-RAW",
                                                      "FOVb",
                                                      std::string_view("\0MRM", 4),
                                                      "ARRI"};
  for (const std::string_view mark : kMarks) {
    if (first.starts_with(mark)) return true;
  }
  if (first.substr(std::min<std::size_t>(4, first.size())).starts_with("ftypcrx")) return true;
  if (first.substr(std::min<std::size_t>(6, first.size())).starts_with("HEAPCCDR")) return true;
  constexpr std::array<std::string_view, 20> kLikeTiff = {
      ".3fr", ".arw", ".cr2", ".dcr", ".erf", ".fff", ".gpr", ".iiq", ".k25", ".kdc",
      ".mef", ".mos", ".nef", ".nrw", ".pef", ".rwl", ".sr2", ".srf", ".srw", ".cap"};
  const bool tiff = first.starts_with("II") || first.starts_with("MM");
  return tiff && std::find(kLikeTiff.begin(), kLikeTiff.end(), extension) != kLikeTiff.end();
}

}  // namespace

FileKind KindOf(const std::string& name) {
  const std::string first = ReadHead(name, 16).first;
  const std::string extension = ExtensionOf(name);
  if (extension == ".shot") return FileKind::kShot;
  if (extension == ".lum") return FileKind::kLum;
  if (extension == ".roi") return FileKind::kRegion;
  if (extension == ".json") return FileKind::kTruth;
  if (first.starts_with("\x93NUMPY")) return FileKind::kNpy;
  if (IsCameraRaw(first, extension)) return FileKind::kCameraRaw;
  if (first.starts_with(std::string_view("II*\0", 4)) ||
      first.starts_with(std::string_view("MM\0*", 4))) {
    return FileKind::kTiff;
  }
  if (first.starts_with("P5") || first.starts_with("P2") || extension == ".pgm") {
    return FileKind::kPgm;
  }
  if (extension == ".dng" || extension == ".tif" || extension == ".tiff") return FileKind::kTiff;
  if (extension == ".raw" || extension == ".bin") return FileKind::kRaw;
  return FileKind::kPicture;
}

}  // namespace dravix::tool
