#include "files/stored_data.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "files/files.h"
#include "files/matrix_files.h"
#include "files/truth_file.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kHeader = 5;  // byte-order mark and version, the same in all three formats

/// Why the library refused the header.
Failure HeaderFailure(const std::string& name, std::string_view format, std::int32_t code) {
  const std::string file = std::string(format) + " file";
  const FileHead head = ReadHead(name, kHeader);
  static_cast<void>(TakeLibraryError());
  if (head.size == 0) return InputFailure(name, "is empty, expected a " + file);
  if (code == DRAVIX_WRONG_BYTE_ORDER) {
    const auto byte = static_cast<unsigned char>(head.first.front());
    return InputFailure(
        name, "begins with byte " + std::to_string(byte) + ", expected 76 ('L') as in a " + file);
  }
  if (code == DRAVIX_WRONG_VERSION && head.first.size() < kHeader) {
    return InputFailure(name,
                        "ends after " + std::to_string(head.size) + " bytes, expected a " + file);
  }
  if (code == DRAVIX_WRONG_VERSION) {
    std::int32_t version = 0;
    std::memcpy(&version, head.first.data() + 1, sizeof version);
    return InputFailure(name, "has format version " + std::to_string(version) + ", expected 1");
  }
  return InputFailure(name, CodeText(code));
}

/// The readers fill in what is missing with zeros; a person wants to hear of it.
void RequireWhole(const std::string& name, std::uint64_t expected) {
  const std::uintmax_t found = ReadHead(name, 1).size;
  if (found >= expected) return;
  throw InputFailure(name, "is cut short: found " + std::to_string(found) +
                               " bytes, expected at least " + std::to_string(expected));
}

void RequireExtensionOfInput(const std::string& name, std::string_view extension) {
  if (name.size() > extension.size() && name.ends_with(extension)) return;
  throw InputFailure(name, "has the wrong extension, expected a name ending in \"" +
                               std::string(extension) + "\"");
}

/// A rectangle that leaves its frame cannot be drawn or measured.
void RequireWithinFrame(const std::string& name, const RegionOI& region) {
  const cv::Rect& rect = region.rect;
  const cv::Size frame(region.frameWidth, region.frameHeight);
  // Comparing differences of what is not negative cannot overflow, whatever the file says.
  const bool fits = rect.x >= 0 && rect.y >= 0 && frame.width >= 0 && frame.height >= 0 &&
                    rect.width <= frame.width - rect.x && rect.height <= frame.height - rect.y;
  if (fits) return;
  throw InputFailure(name, "is damaged: its rectangle of " + SizeText(rect.size()) + " pixels at " +
                               std::to_string(rect.x) + "," + std::to_string(rect.y) +
                               " does not lie within its frame of " + SizeText(frame));
}

void RequireSaved(const std::string& name, std::int32_t code) {
  if (code == DRAVIX_OK) return;
  static_cast<void>(TakeLibraryError());
  throw OutputFailure(name, CodeText(code));
}

}  // namespace

Shot LoadShot(const std::string& name) {
  RequireExtensionOfInput(name, ".shot");
  static_cast<void>(ReadHead(name, 1));  // says why it cannot be opened
  Shot shot;
  const std::int32_t code = shot.Load(name);
  if (code != DRAVIX_OK) throw HeaderFailure(name, ".shot", code);
  std::size_t size = 0;
  if (shot.GetBufferSize(&size) != DRAVIX_OK) {
    throw InputFailure(name, "holds no picture, or a damaged one (" +
                                 std::to_string(ReadHead(name, 1).size) + " bytes)");
  }
  // Writing always takes 16 bits per sample; a file may hold others.
  const std::size_t samples = shot.image.total() * static_cast<std::size_t>(shot.image.channels());
  RequireWhole(name, size - samples * 2 + samples * shot.image.elemSize1());
  return shot;
}

RegionOI LoadRegion(const std::string& name) {
  RequireExtensionOfInput(name, ".roi");
  static_cast<void>(ReadHead(name, 1));
  RegionOI region;
  const std::int32_t code = region.Load(name);
  if (code != DRAVIX_OK) throw HeaderFailure(name, ".roi", code);
  std::size_t size = 0;
  if (region.GetBufferSize(&size) != DRAVIX_OK) throw InputFailure(name, "holds an empty region");
  RequireWhole(name, size);
  if (region.mask.type() != CV_8UC1 || region.mask.size() != region.rect.size()) {
    throw InputFailure(name, "is damaged: its mask does not fit its rectangle");
  }
  RequireWithinFrame(name, region);
  return region;
}

void LoadResult(const std::string& name) {
  RequireExtensionOfInput(name, ".lum");
  static_cast<void>(ReadHead(name, 1));
  const std::int32_t code = DravixLoad(Handle(), name.c_str());
  if (code != DRAVIX_OK) throw HeaderFailure(name, ".lum", code);
  std::uint64_t size = 0;
  if (DravixGetBufferSize(Handle(), &size) != DRAVIX_OK) {
    throw InputFailure(name, "holds no luminances, or damaged ones (" +
                                 std::to_string(ReadHead(name, 1).size) + " bytes)");
  }
  RequireWhole(name, size);
  if (Luminances().empty()) {
    throw InputFailure(name, "holds no 32-bit float luminances, expected one channel of them");
  }
}

void SaveShot(const std::string& name, const Shot& shot) { RequireSaved(name, shot.Save(name)); }

void SaveRegion(const std::string& name, const RegionOI& region) {
  RequireSaved(name, region.Save(name));
}

void SaveResult(const std::string& name) { RequireSaved(name, DravixSave(Handle(), name.c_str())); }

DravixHandle Handle() {
  static const DravixHandle handle = [] {
    DravixHandle made = nullptr;
    if (DravixCreateHandle(&made) != DRAVIX_OK || made == nullptr) throw std::bad_alloc();
    return made;
  }();
  return handle;
}

cv::Mat Luminances() {
  DravixResult result{};
  if (DravixGet(Handle(), &result, 0) != DRAVIX_OK || result.lum.type != CV_32FC1) return {};
  return cv::Mat(result.lum.rows, result.lum.cols, CV_32FC1, result.lum.data).clone();
}

cv::Mat LoadLuminances(const std::string& name) {
  const std::string extension = ExtensionOf(name);
  if (extension == ".npy") return DecodeNpy(name, ReadFile(name));
  if (extension == ".json") return LoadTruth(name).luminances;
  LoadResult(name);
  return Luminances();
}

void RequireMeasurable(const std::string& name, const Shot& shot) {
  if (shot.image.channels() != 1) {
    throw InputFailure(name, "holds " + std::to_string(shot.image.channels()) + " planes (" +
                                 TypeName(shot.type) +
                                 "), expected one: see `dravix shot split` and `dravix shot xyz`");
  }
  if (!shot.pattern) {
    throw InputFailure(name, "has no pattern, expected one that says how many LEDs are lit");
  }
  // The outer four LEDs are replaced by the fifth, which must exist.
  constexpr int kFewest = 5;
  if (shot.pattern->lighted_led_w < kFewest || shot.pattern->lighted_led_h < kFewest) {
    throw InputFailure(name, "has a pattern of " + std::to_string(shot.pattern->lighted_led_w) +
                                 " x " + std::to_string(shot.pattern->lighted_led_h) +
                                 " LEDs, expected at least 5 x 5");
  }
}

}  // namespace dravix::tool
