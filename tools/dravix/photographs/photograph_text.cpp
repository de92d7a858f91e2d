// What is said about a photograph's file, and the options that choose from it.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "photographs/photograph.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

template <class T>
Json OrNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}
Json OrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

/// The values without repeating one that is the same everywhere.
std::vector<double> Levels(const BlackLevel& black) {
  const bool alike = std::all_of(black.values.begin(), black.values.end(),
                                 [&](double v) { return v == black.values.front(); });
  return alike ? std::vector<double>{black.values.front()} : black.values;
}

std::string BlackText(const PhotographSource& source) {
  if (!source.black) return "not named by the file";
  constexpr std::size_t kMostShown = 8;
  const std::vector<double> levels = Levels(*source.black);
  std::string text;
  for (std::size_t i = 0; i < std::min(levels.size(), kMostShown); ++i) {
    text += (i == 0 ? "" : ", ") + NumberText(levels[i]);
  }
  if (levels.size() > kMostShown) text += " ...";
  return text + (source.blackSubtracted ? ", subtracted" : ", not subtracted");
}

std::string MosaicText(const PhotographSource& source) {
  if (source.mosaic.empty()) return "none";
  return source.mosaic + (source.demosaiced ? ", demosaiced" : "");
}

std::string FormatText(const PhotographSource& source) {
  std::string text = source.format;
  if (source.bits > 0) text += ", " + std::to_string(source.bits) + "-bit samples";
  if (source.stretched) text += " stretched to 16 bits";
  if (!source.decoder.empty()) text += ", unpacked by " + source.decoder;
  return text;
}

/// Models often repeat the maker's name.
std::string CameraText(const ExposureData& data) {
  if (data.maker.empty() || data.model.starts_with(data.maker)) return data.model;
  return data.maker + (data.model.empty() ? "" : " ") + data.model;
}

/// "1/60 s, ISO 100, f/2.8"
std::string SettingsText(const ExposureData& data) {
  std::string text;
  const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
  if (data.seconds) {
    add(*data.seconds < 1 ? "1/" + NumberText(1 / *data.seconds) + " s"
                          : NumberText(*data.seconds) + " s");
  }
  if (data.iso) add("ISO " + NumberText(*data.iso));
  if (data.fNumber) add("f/" + NumberText(*data.fNumber));
  return text;
}

}  // namespace

Json SourceJson(const PhotographSource& source) {
  Json json = {{"format", source.format}, {"decoder", OrNull(source.decoder)}};
  json["bits"] = source.bits > 0 ? Json(source.bits) : Json();
  json["stretched"] = source.stretched;
  json["plane"] = source.plane;
  json["mosaic"] = OrNull(source.mosaic);
  json["demosaiced"] = source.demosaiced;
  if (source.black) {
    json["black_level"] = {{"values", Levels(*source.black)},
                           {"subtracted", source.blackSubtracted}};
  } else {
    json["black_level"] = nullptr;
  }
  json["white_level"] = OrNull(source.white);
  const ExposureData& data = source.exposure;
  json["camera"] = OrNull(CameraText(data));
  json["serial"] = OrNull(data.serial);
  json["lens"] = OrNull(data.lens);
  json["taken"] = OrNull(data.taken);
  json["exposure_seconds"] = OrNull(data.seconds);
  json["iso"] = OrNull(data.iso);
  json["f_number"] = OrNull(data.fNumber);
  json["orientation"] = data.orientation;
  return json;
}

std::vector<SourceLine> SourceLines(const PhotographSource& source) {
  if (source.format == "shot" && !source.demosaiced && !source.blackSubtracted) return {};
  std::vector<SourceLine> lines = {{"file", FormatText(source)},
                                   {"plane", source.plane},
                                   {"mosaic", MosaicText(source)},
                                   {"black level", BlackText(source)}};
  const auto add = [&](const char* label, const std::string& value) {
    if (!value.empty()) lines.push_back({label, value});
  };
  const ExposureData& data = source.exposure;
  if (source.white) add("white level", NumberText(*source.white));
  add("camera", CameraText(data));
  add("lens", data.lens);
  add("exposure", SettingsText(data));
  add("taken", data.taken);
  return lines;
}

std::string OrientationWarning(const std::string& name, const PhotographSource& source) {
  if (source.exposure.orientation == 1) return {};
  return name + ": the file asks viewers to turn the picture (EXIF orientation " +
         std::to_string(source.exposure.orientation) +
         "); dravix takes it as it is stored, and corners count from the stored top left";
}

void PhotographOptions::AddTo(CLI::App& command, const std::string& sizeOption) {
  constexpr const char* kGroup = "Photographs that are no .shot";
  command
      .add_option("--channel", channel,
                  "plane of a color picture or of a sensor's mosaic: r, g, b or gray (their mean)")
      ->group(kGroup);
  command
      .add_option("--mosaic", mosaic,
                  "demosaic: rggb, grbg, bggr or gbrg (the sensor's first two rows), OpenCV's "
                  "bayer-bg and so on, or its code; wins over the file's own")
      ->group(kGroup);
  command
      .add_option("--black-level", blackLevel,
                  "keep (default), subtract what the file names, or subtract this number")
      ->group(kGroup);
  command.add_option("--linearize", linearize, "srgb: undo the transfer curve of an 8-bit picture")
      ->group(kGroup);
  command
      .add_option(
          "--type", type,
          "what the plane holds: CIE_X, CIE_Y (default), CIE_Z, CAM_R, CAM_G, CAM_B; or CAM_RGB")
      ->group(kGroup);
  command.add_option(sizeOption, rawSize, "pixels across and down of a raw dump")
      ->type_name("WxH")
      ->group(kGroup);
  command.add_option("--cam-type", camType, "camera type of a raw dump: 120016 or 320012")
      ->group(kGroup);
  command
      .add_option("--dng-layout", dngLayout,
                  "where a DNG's strip tag points: array (to a list of offsets), direct (to the "
                  "samples, rows bottom-up); auto goes by what the file calls itself")
      ->group(kGroup);
  command.add_flag("--flip", flip, "turn the picture upside down")->group(kGroup);
}

}  // namespace dravix::tool
