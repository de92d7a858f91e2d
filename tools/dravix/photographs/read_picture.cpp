#include "photographs/read_picture.h"

#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <cstdint>
#include <string_view>

#include "files/file_kind.h"
#include "files/files.h"
#include "photographs/formats/bitmap_size.h"
#include "photographs/formats/camera_raw.h"
#include "photographs/formats/exif.h"
#include "photographs/formats/gray_map.h"
#include "photographs/formats/jpeg_picture.h"
#include "photographs/formats/png_picture.h"
#include "photographs/formats/tiff_picture.h"
#include "photographs/formats/tiff_summary.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kKnown = "expected JPEG, PNG, TIFF, DNG, PGM or a camera's raw file";

/// What OpenCV decodes, with red first and without transparency.
cv::Mat Decoded(const std::string& name, const std::string& bytes) {
  const cv::Mat decoded = DecodePicture(name, bytes);
  if (decoded.depth() != CV_8U && decoded.depth() != CV_16U) {
    throw InputFailure(name,
                       "has samples of " + PixelText(decoded.type()) + ", expected 8 or 16 bits");
  }
  cv::Mat picture;
  if (decoded.channels() >= 3) {
    picture.create(decoded.size(), CV_MAKETYPE(decoded.depth(), 3));
    cv::mixChannels({decoded}, {picture}, {2, 0, 1, 1, 0, 2});
  } else {
    cv::extractChannel(decoded, picture, 0);
  }
  return picture;
}

/// Samples of more than 8 bits in one plane are taken for a sensor's own.
bool IsSensorPlane(const cv::Mat& samples) { return samples.type() == CV_16UC1; }

CameraPicture ReadRawDump(const std::string& name, const PictureLayout& layout) {
  CameraPicture picture;
  picture.format = "raw";
  picture.sensor = true;
  picture.bits = 16;
  if (layout.rawSize) {
    picture.samples = ReadRaw(name, *layout.rawSize);
    return picture;
  }
  static_cast<void>(ReadHead(name, 1));
  Shot sensor;
  const std::int32_t code = sensor.CreateFromRaw(name, layout.camType.value_or(0), CIE_Y);
  if (code == DRAVIX_UNKNOWN_CAMERA) {
    throw UsageFailure("--cam-type " + std::to_string(layout.camType.value_or(0)) + ": " +
                       Explained(code) + "; give --size instead (measure: --raw-size)");
  }
  if (code != DRAVIX_OK) {
    throw InputFailure(name, "found " + std::to_string(ReadHead(name, 1).size) +
                                 " bytes, expected a full frame of camera type " +
                                 std::to_string(layout.camType.value_or(0)) + ": " +
                                 Explained(code));
  }
  picture.samples = sensor.image;
  picture.bits = layout.camType.value_or(0) % 100;
  return picture;
}

void DescribeSensor(const TiffPicture& tiff, CameraPicture& picture) {
  picture.mosaic = MosaicOf(tiff);
  picture.black = BlackLevelOf(tiff);
  picture.white = WhiteLevelOf(tiff);
}

CameraPicture PlainTiff(const std::string& name, const TiffPicture& tiff) {
  CameraPicture picture;
  picture.format = tiff.isDng ? "dng" : "tiff";
  picture.bits = static_cast<int>(tiff.bits);
  picture.samples = UnpackTiff(name, tiff)(ActiveAreaOf(tiff)).clone();
  if (tiff.isDng) picture.samples.convertTo(picture.samples, CV_16U);
  picture.sensor = tiff.isDng || IsSensorPlane(picture.samples);
  DescribeSensor(tiff, picture);
  picture.exposure = ExposureOf(tiff.first);
  return picture;
}

/// Two layouts of DNG that camera hosts write, and that the library reads by itself. Files that
/// call themselves DNG are read by the format's rules unless a layout is asked for.
bool IsHostsDng(const std::string& name, const std::string& bytes, const PictureLayout& layout) {
  if (layout.dngOffsets != DngOffsets::kAuto) return true;
  if (ExtensionOf(name) != ".dng") return false;
  const auto summary = SummaryOfTiff(bytes);
  return summary && !summary->isDng;
}

CameraPicture ReadTiff(const std::string& name, std::string& bytes, const PictureLayout& layout) {
  if (IsHostsDng(name, bytes, layout)) {
    CameraPicture picture;
    picture.format = "dng";
    picture.sensor = true;
    picture.bits = 16;
    picture.samples = ReadDng(name, layout.dngOffsets);
    return picture;
  }
  const TiffPicture tiff = TiffPictureOf(name, bytes);
  RequireWholeTiff(name, tiff);
  if (IsPlainTiff(tiff)) return PlainTiff(name, tiff);
  if (tiff.isDng) return ReadCameraRaw(name, bytes);
  RequireDecodableTiff(name, tiff);
  CameraPicture picture;
  picture.format = "tiff";
  picture.bits = static_cast<int>(tiff.bits);
  picture.samples = Decoded(name, bytes);
  picture.sensor = IsSensorPlane(picture.samples);
  if (picture.sensor) DescribeSensor(tiff, picture);
  picture.exposure = ExposureOf(tiff.first);
  return picture;
}

CameraPicture ReadMap(const std::string& name, const std::string& bytes) {
  CameraPicture picture;
  picture.format = "pgm";
  const GrayMap map = ReadGrayMap(name, bytes);
  picture.samples = map.samples;
  picture.sensor = IsSensorPlane(map.samples);
  picture.bits = picture.sensor ? 16 : 8;
  if (picture.sensor && map.maximum < 65535) picture.white = map.maximum;
  return picture;
}

CameraPicture ReadPng(const std::string& name, const std::string& bytes) {
  CameraPicture picture;
  picture.format = "png";
  const PngSummary png = RequireWholePng(name, bytes);
  picture.bits = png.bits;
  picture.samples = Decoded(name, bytes);
  picture.sensor = IsSensorPlane(picture.samples);
  picture.exposure = ExposureOfBlock(png.exif);
  return picture;
}

CameraPicture ReadJpegPicture(const std::string& name, const std::string& bytes) {
  CameraPicture picture;
  picture.format = "jpeg";
  picture.bits = 8;
  const JpegPicture jpeg = ReadJpeg(name, bytes);
  picture.samples = jpeg.samples;
  picture.exposure = ExposureOfBlock(jpeg.exif);
  return picture;
}

/// Formats that are merely handed to OpenCV.
CameraPicture ReadOther(const std::string& name, const std::string& bytes) {
  const std::string_view head(bytes);
  const bool map = head.starts_with("P3") || head.starts_with("P6");
  if (map) {
    RequirePossibleMap(name, bytes);
  } else if (head.starts_with("BM")) {
    RequirePossibleBitmap(name, bytes);
  } else {
    throw InputFailure(name,
                       std::string("is no picture that can be decoded, or is damaged: ") + kKnown);
  }
  CameraPicture picture;
  picture.format = "picture";
  picture.samples = Decoded(name, bytes);
  picture.bits = picture.samples.depth() == CV_16U ? 16 : 8;
  return picture;
}

}  // namespace

CameraPicture ReadCameraPicture(const std::string& name, const PictureLayout& layout) {
  const bool dump = layout.rawSize || layout.camType;
  const FileKind kind = dump ? FileKind::kRaw : KindOf(name);
  if (kind == FileKind::kRaw) {
    if (layout.rawSize.has_value() == layout.camType.has_value()) {
      throw UsageFailure(name + ": a raw dump needs one of --cam-type and --raw-size");
    }
    return ReadRawDump(name, layout);
  }
  std::string bytes = ReadFile(name);
  const std::string_view head(bytes);
  if (kind == FileKind::kCameraRaw) return ReadCameraRaw(name, bytes);
  if (kind == FileKind::kTiff) return ReadTiff(name, bytes, layout);
  if (head.starts_with("P5") || head.starts_with("P2")) return ReadMap(name, bytes);
  if (head.starts_with("\xff\xd8\xff")) return ReadJpegPicture(name, bytes);
  if (head.starts_with("\x89PNG\r\n\x1a\n")) return ReadPng(name, bytes);
  return ReadOther(name, bytes);
}

}  // namespace dravix::tool
