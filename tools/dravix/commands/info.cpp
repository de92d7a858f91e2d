#include <dravix/lab/copied_border.h>

#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "commands/commands.h"
#include "files/file_kind.h"
#include "files/files.h"
#include "metadata/metadata.h"
#include "photographs/formats/gray_map.h"
#include "photographs/formats/tiff_summary.h"
#include "photographs/library_pictures.h"
#include "photographs/photograph.h"
#include "photographs/read_picture.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "stored/truth_file.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kCopiedBorderName = "copied_border";

struct InfoOptions {
  std::string file, size;
  bool json = false;
};

Json RangeJson(const cv::Mat& samples) {
  double low = 0;
  double high = 0;
  const cv::Mat flat = samples.reshape(1);
  cv::minMaxLoc(flat, &low, &high);
  return {{"minimum", low}, {"maximum", high}, {"mean", cv::mean(flat)[0]}};
}

Json PixelsJson(const cv::Mat& image) {
  Json json;
  json["size"] = {image.cols, image.rows};
  json["pixels"] = PixelText(image.type());
  json["range"] = RangeJson(image);
  return json;
}

Json ShotInfo(const std::string& name) {
  const Shot shot = LoadShot(name);
  Json json = {{"format", "shot"}, {"type", TypeName(shot.type)}};
  json.update(PixelsJson(shot.image));
  json["metadata"] = MetadataJson(shot);
  return json;
}

Json LumInfo(const std::string& name) {
  LoadResult(name);
  Json json = {{"format", "lum"}};
  const cv::Mat luminances = Luminances();
  json.update(StatisticsJson(StatisticsOf(luminances)));
  const int copied = lab::CopiedBorderOf(luminances);
  json[kCopiedBorderName] = copied;
  json["copied_leds"] = lab::CopiedLeds(copied, luminances.size());
  return json;
}

Json NumbersInfo(const std::string& name, const char* format) {
  Json json = {{"format", format}};
  json.update(StatisticsJson(StatisticsOf(LoadLuminances(name))));
  return json;
}

Json RegionInfo(const std::string& name) {
  const RegionOI region = LoadRegion(name);
  const cv::Rect& rect = region.rect;
  Json json = {{"format", "roi"}};
  json["frame"] = {region.frameWidth, region.frameHeight};
  json["rectangle"] = {
      {"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
  json["mask"] = {
      {"lit_pixels", cv::countNonZero(region.mask)},
      {"share", cv::countNonZero(region.mask) / static_cast<double>(region.mask.total())}};
  return json;
}

/// What a picture file says about itself, and the range of its samples as they are stored.
Json PictureInfo(const std::string& name, const char* format) {
  const CameraPicture picture = ReadCameraPicture(name, {});
  PhotographSource source;
  source.format = picture.format;
  source.decoder = picture.decoder;
  source.bits = picture.bits;
  source.mosaic = picture.mosaic;
  source.black = picture.black;
  source.white = picture.white;
  source.exposure = picture.exposure;
  Json json = {{"format", format}};
  json.update(PixelsJson(picture.samples));
  json["source"] = SourceJson(source);
  return json;
}

/// The directory of a TIFF or DNG, also of one whose samples cannot be read.
Json TiffInfo(const std::string& name) {
  const auto tiff = SummaryOfTiff(ReadFile(name));
  if (!tiff) return PictureInfo(name, "tiff");
  const char* format = tiff->isDng || ExtensionOf(name) == ".dng" ? "dng" : "tiff";
  Json json = {{"format", format}};
  json["size"] = {tiff->width, tiff->height};
  json["byte_order"] = tiff->littleEndian ? "little-endian" : "big-endian";
  json["bits_per_sample"] = tiff->bits;
  json["samples_per_pixel"] = tiff->samples;
  json["compression"] = tiff->compression;
  json["strips"] = tiff->strips;
  try {
    json.update(PictureInfo(name, format));
  } catch (const Failure& failure) {
    json["not_read_as_camera_file"] = failure.what();
  }
  return json;
}

Json PgmInfo(const std::string& name) {
  Json json = PictureInfo(name, "pgm");
  constexpr std::size_t kHeader = 65536;  // comments and all
  if (const auto map = MapHeaderIn(ReadHead(name, kHeader).first)) {
    json["declared_maximum"] = map->maximum;
  }
  return json;
}

/// A raw dump holds nothing but samples. With a size given, they can be read; without one, the size
/// of the file tells which known camera it may come from.
Json RawInfo(const InfoOptions& o) {
  const std::uintmax_t bytes = ReadHead(o.file, 1).size;
  Json json = {{"format", "raw"}, {"bytes", bytes}, {"samples", bytes / 2}};
  if (!o.size.empty()) {
    json.update(PixelsJson(ReadRaw(o.file, ParseSize("--size", o.size))));
    return json;
  }
  struct Known {
    std::uintmax_t bytes;
    int camType;
  };
  for (const Known& known : {Known{24123000, 120016}, Known{62726656, 320012}}) {
    if (known.bytes == bytes) json["fits_cam_type"] = known.camType;
  }
  return json;
}

Json InfoOf(const InfoOptions& o) {
  if (!o.size.empty()) return RawInfo(o);
  switch (KindOf(o.file)) {
    case FileKind::kShot:
      return ShotInfo(o.file);
    case FileKind::kLum:
      return LumInfo(o.file);
    case FileKind::kRegion:
      return RegionInfo(o.file);
    case FileKind::kNpy:
      return NumbersInfo(o.file, "npy");
    case FileKind::kTruth:
      return NumbersInfo(o.file, "truth");
    case FileKind::kRaw:
      return RawInfo(o);
    case FileKind::kTiff:
      return TiffInfo(o.file);
    case FileKind::kPgm:
      return PgmInfo(o.file);
    case FileKind::kCameraRaw:
      return PictureInfo(o.file, "camera-raw");
    case FileKind::kPicture:
      break;
  }
  return PictureInfo(o.file, "picture");
}

/// A value on one line: numbers and texts as they are, pairs as "a x b", groups as "name value,
/// ...".
std::string ValueText(const std::string& name, const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_float()) return NumberText(value.get<double>());
  if (value.is_array() && value.size() == 2) return value[0].dump() + " x " + value[1].dump();
  if (!value.is_object()) return value.dump();
  std::string text;
  for (const auto& [key, inner] : value.items()) {
    if (!text.empty()) text += ", ";
    text += key + " " + ValueText(name, inner);
  }
  return text.empty() ? "none" : text;
}

std::string LabelOf(std::string name) {
  for (char& c : name) {
    if (c == '_') c = ' ';
  }
  return name;
}

/// What a picture says beyond its pixels; the black level also where it says nothing.
std::string SourceText(const Json& source) {
  std::string text;
  for (const auto& [name, value] : source.items()) {
    const bool repeated =
        name == "format" || name == "plane" || name == "stretched" || name == "demosaiced";
    const bool named = !value.is_null() && !repeated;
    if (named) text += ReportLine(LabelOf(name), ValueText(name, value));
    if (!named && name == "black_level") text += ReportLine("black level", "not named by the file");
  }
  return text;
}

std::string TextOf(const Json& json) {
  std::string text;
  for (const auto& [name, value] : json.items()) {
    if (name == "metadata" && value.is_object() && !value.empty()) {
      for (const auto& [group, fields] : value.items()) {
        text += ReportLine(group, ValueText(group, fields));
      }
      continue;
    }
    if (name == "source") {
      text += SourceText(value);
      continue;
    }
    const bool isBorder = name == kCopiedBorderName;
    text += ReportLine(LabelOf(name),
                       isBorder ? lab::CopiedBorderText(value.get<int>()) : ValueText(name, value));
  }
  return text;
}

void RunInfo(const InfoOptions& o) {
  Json json = {{"file", o.file}};
  json.update(InfoOf(o));
  if (o.json) {
    PrintJson(json);
  } else {
    Print(TextOf(json));
  }
}

}  // namespace

void AddInfoCommand(CLI::App& program) {
  CLI::App& command =
      *program.add_subcommand("info", "Describe a file: sizes, types, metadata, ranges.");
  const auto o = std::make_shared<InfoOptions>();
  command
      .add_option("file", o->file,
                  ".shot, .lum, .roi, .npy, truth .json, a camera's raw file, raw dump, DNG, TIFF, "
                  "PGM or a picture")
      ->required();
  command.add_option("--size,--raw-size", o->size, "pixels across and down of a raw dump")
      ->type_name("WxH");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string("Examples:\n"
                             "  dravix info photo.shot\n"
                             "  dravix info screen.lum --json\n"
                             "  dravix info sensor.raw --size 4250x2838\n") +
                 kExitCodeHelp);
  command.callback([o] { RunInfo(*o); });
}

}  // namespace dravix::tool
