#include "photographs/formats/exif.h"

namespace dravix::tool {
namespace {

enum ExifTag : std::uint32_t {
  kMake = 271,
  kModel = 272,
  kOrientation = 274,
  kDateTime = 306,
  kExposureTime = 33434,
  kFNumber = 33437,
  kExifDirectory = 34665,
  kIso = 34855,
  kDateTimeOriginal = 36867,
  kSerialNumber = 42033,
  kLensModel = 42036,
  kUniqueCameraModel = 50708,
  kDngSerialNumber = 50735,
};

std::optional<double> Positive(const TiffDirectory& directory, std::uint32_t tag) {
  const std::optional<double> number = directory.Number(tag);
  return number && *number > 0 ? number : std::nullopt;
}

/// Cameras write dashes for a lens that does not say its name.
std::string LensText(const TiffDirectory& directory) {
  std::string text = directory.Text(kLensModel);
  return text.find_first_not_of('-') == std::string::npos ? std::string() : text;
}

/// Fields that cameras write into the EXIF directory, and some programs into the first one.
void AddExposure(const TiffDirectory& directory, ExposureData& data) {
  if (!data.seconds) data.seconds = Positive(directory, kExposureTime);
  if (!data.fNumber) data.fNumber = Positive(directory, kFNumber);
  if (!data.iso) data.iso = Positive(directory, kIso);
  if (data.taken.empty()) data.taken = TimeOfExif(directory.Text(kDateTimeOriginal));
  if (data.lens.empty()) data.lens = LensText(directory);
  if (data.serial.empty()) data.serial = directory.Text(kSerialNumber);
}

}  // namespace

ExposureData ExposureOf(const TiffDirectory& first) {
  ExposureData data;
  data.maker = first.Text(kMake);
  data.model = first.Text(kModel);
  if (data.model.empty()) data.model = first.Text(kUniqueCameraModel);
  constexpr std::uint64_t kMostOrientation = 8;
  const std::uint64_t orientation = first.Whole(kOrientation, 1);
  if (orientation >= 1 && orientation <= kMostOrientation) {
    data.orientation = static_cast<int>(orientation);
  }
  if (const auto exif = TiffDirectory::At(first.Bytes(), first.Whole(kExifDirectory, 0))) {
    AddExposure(*exif, data);
  }
  AddExposure(first, data);
  if (data.serial.empty()) data.serial = first.Text(kDngSerialNumber);
  if (data.taken.empty()) data.taken = TimeOfExif(first.Text(kDateTime));
  return data;
}

ExposureData ExposureOfBlock(std::string_view block) {
  constexpr std::string_view kMark("Exif\0\0", 6);
  if (block.starts_with(kMark)) block.remove_prefix(kMark.size());
  const auto bytes = TiffBytes::Of(block);
  if (!bytes) return {};
  const auto first = TiffDirectory::At(*bytes, bytes->FirstDirectory());
  return first ? ExposureOf(*first) : ExposureData{};
}

std::string TimeOfExif(std::string_view text) {
  constexpr std::string_view kForm = "0000:00:00 00:00:00";
  if (text.size() < kForm.size()) return {};
  std::string time(text.substr(0, kForm.size()));
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool digit = time[i] >= '0' && time[i] <= '9';
    if (kForm[i] == '0' ? !digit : time[i] != kForm[i]) return {};
  }
  if (time.starts_with("0000")) return {};
  time[4] = time[7] = '-';
  time[10] = 'T';
  return time;
}

}  // namespace dravix::tool
