#include "stored/stored_data.h"

#include <dravix/lab/copied_border.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "files/files.h"
#include "matrices/matrix_files.h"
#include "stored/stored_content.h"
#include "stored/truth_file.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

// The byte-order mark and the version are the same in all three formats.
constexpr std::size_t kHeader = 5;

/// Says what is wrong with a header that the library refused.
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

/// Fails when bytes are missing at the end. The library's readers take them for zeros, which would
/// show as dark LEDs.
void RequireWhole(const std::string& name, std::uint64_t expected) {
  RequireBytes(name, ReadHead(name, 1).size, expected);
}

/// What can be said about a file before the library reads it.
void RequireReadable(const std::string& name, std::string_view extension, StoredKind kind) {
  if (!HasExtension(name, extension)) {
    throw InputFailure(name, "has the wrong extension, " + ExpectedExtension(name, extension));
  }
  static_cast<void>(ReadHead(name, 1));  // says why it cannot be opened
  RequireContent(name, kind);
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

/// Writes what `toBuffer` puts into memory. The library's own saving writes the same bytes, but
/// does not say why it could not.
template <class Size, class ToBuffer>
void SaveBuffer(const std::string& name, Size size, ToBuffer toBuffer) {
  std::string bytes(static_cast<std::size_t>(size), '\0');
  const std::int32_t code = toBuffer(bytes.data(), &size);
  if (code != DRAVIX_OK) throw OutputFailure(name, "cannot be written: " + Explained(code));
  WriteFile(name, bytes);
}

}  // namespace

Shot LoadShot(const std::string& name) {
  RequireReadable(name, ".shot", StoredKind::kShot);
  Shot shot;
  const std::int32_t code = shot.Load(name);
  if (code != DRAVIX_OK) throw HeaderFailure(name, ".shot", code);
  std::size_t size = 0;
  if (shot.GetBufferSize(&size) != DRAVIX_OK) {
    throw InputFailure(name, "holds no picture, or a damaged one (" +
                                 std::to_string(ReadHead(name, 1).size) + " bytes)");
  }
  // The size is that of a file written now, with 16 bits per sample. This file may hold others.
  const std::size_t samples = shot.image.total() * static_cast<std::size_t>(shot.image.channels());
  RequireWhole(name, size - samples * 2 + samples * shot.image.elemSize1());
  return shot;
}

RegionOI LoadRegion(const std::string& name) {
  RequireReadable(name, ".roi", StoredKind::kRegion);
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
  RequireReadable(name, ".lum", StoredKind::kResult);
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

void SaveShot(const std::string& name, const Shot& shot) {
  std::size_t size = 0;
  const std::int32_t code = shot.GetBufferSize(&size);
  if (code != DRAVIX_OK) throw OutputFailure(name, "cannot be written: " + Explained(code));
  SaveBuffer(name, size, [&shot](char* buffer, std::size_t* capacity) {
    return shot.ToBuffer(buffer, capacity);
  });
}

void SaveRegion(const std::string& name, const RegionOI& region) {
  std::size_t size = 0;
  const std::int32_t code = region.GetBufferSize(&size);
  if (code != DRAVIX_OK) throw OutputFailure(name, "cannot be written: " + Explained(code));
  SaveBuffer(name, size, [&region](char* buffer, std::size_t* capacity) {
    return region.ToBuffer(buffer, capacity);
  });
}

void SaveResult(const std::string& name) {
  std::uint64_t size = 0;
  const std::int32_t code = DravixGetBufferSize(Handle(), &size);
  if (code != DRAVIX_OK) throw OutputFailure(name, "cannot be written: " + Explained(code));
  SaveBuffer(name, size, [](char* buffer, std::uint64_t* capacity) {
    return DravixToBuffer(Handle(), buffer, capacity);
  });
}

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
  if (extension == ".npy") return DecodeNpy(name, ReadFile(name, kMostOfNpy));
  if (extension == ".json") return LoadTruth(name).luminances;
  LoadResult(name);
  return Luminances();
}

cv::Mat LoadMatrix(const std::string& name) {
  if (ExtensionOf(name) != ".npy") return LoadLuminances(name);
  return DecodeNpyAsStored(name, ReadFile(name, kMostOfNpy));
}

StoredValues LoadValues(const std::string& name) {
  StoredValues values{LoadMatrix(name), {}};
  const std::string extension = ExtensionOf(name);
  // Only results have copies; a truth may be even at its border.
  if (extension != ".json" && extension != ".npy")
    values.copiedBorder = lab::CopiedBorderOf(values.matrix);
  return values;
}

void RequireMeasurable(const std::string& name, const Shot& shot) {
  if (shot.image.channels() == 1 && shot.type == CAM_RGB) {
    throw InputFailure(name,
                       "is a color mosaic (one plane of the type CAM_RGB), expected one plane of "
                       "one color: give --channel, or see `dravix shot demosaic`");
  }
  if (shot.image.channels() != 1) {
    throw InputFailure(name, "holds " + std::to_string(shot.image.channels()) + " planes (" +
                                 TypeName(shot.type) +
                                 "), expected one: give --channel, or see `dravix shot split` and "
                                 "`dravix shot xyz`");
  }
  if (!shot.pattern) {
    throw InputFailure(name,
                       "has no pattern, expected one that says how many LEDs are lit (--leds)");
  }
  // The measurement replaces the outer four LEDs of every side by the fifth, which must exist.
  constexpr int kFewest = 5;
  if (shot.pattern->lighted_led_w < kFewest || shot.pattern->lighted_led_h < kFewest) {
    throw InputFailure(name, "has a pattern of " + std::to_string(shot.pattern->lighted_led_w) +
                                 " x " + std::to_string(shot.pattern->lighted_led_h) +
                                 " LEDs, expected at least 5 x 5");
  }
}

}  // namespace dravix::tool
