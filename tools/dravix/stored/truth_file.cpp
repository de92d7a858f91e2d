#include "stored/truth_file.h"

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "base/paths.h"
#include "files/files.h"
#include "json/json_fields.h"
#include "json/json_file.h"
#include "matrices/matrix_files.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kFormat = "dravix-truth";
constexpr int kVersion = 1;

Json QuadJson(const sim::Quad& quad) {
  Json points = Json::array();
  for (const cv::Point2d& point : quad) points.push_back({point.x, point.y});
  return points;
}

Json CornersJson(const std::vector<cv::Point>& corners) {
  Json points = Json::array();
  for (const cv::Point& point : corners) points.push_back({point.x, point.y});
  return points;
}

std::vector<cv::Point> CornersOf(const std::string& name, const Json& json) {
  std::vector<cv::Point> corners;
  for (const Json& point : json.value("corner_pixels", Json::array())) {
    const bool fits = point.is_array() && point.size() == 2 && point[0].is_number_integer() &&
                      point[1].is_number_integer();
    if (fits) corners.emplace_back(point[0].get<int>(), point[1].get<int>());
  }
  if (corners.size() != 4) throw InputFailure(name, "does not hold four \"corner_pixels\" [x, y]");
  return corners;
}

Json CellsJson(const sim::Truth& truth) {
  Json cells = Json::array();
  for (std::size_t i = 0; i < truth.cells.size(); ++i) {
    const int at = static_cast<int>(i);
    cells.push_back({{"column", at % truth.grid.width},
                     {"row", at / truth.grid.width},
                     {"lit", truth.cellLit.at(i) != 0},
                     {"corners", QuadJson(truth.cells[i])}});
  }
  return cells;
}

/// The file in the truth file's own folder that holds its luminances. A truth file may come from
/// anywhere and must not make the tool read what lies elsewhere: a name that leads out of the
/// folder, or a link, is refused.
std::string MatrixBeside(const std::string& name, const std::string& matrix) {
  const std::filesystem::path file = PathOf(matrix);
  if (file.empty() || file != file.filename() || file == "." || file == "..") {
    throw InputFailure(name, "names its luminances' file " + InQuotes(matrix) +
                                 ", expected the name of a file in its own folder");
  }
  const std::filesystem::path beside = PathOf(name).parent_path() / file;
  std::error_code error;
  if (std::filesystem::is_symlink(beside, error)) {
    throw InputFailure(base::NameOf(beside), "is a link, expected a regular file beside " + name);
  }
  return base::NameOf(beside);
}

/// The luminances as they lie in their file, which must have the size that the truth file names.
cv::Mat LuminancesOf(const std::string& name, const Json& json, const std::string& matrix) {
  cv::Mat luminances = DecodeNpy(matrix, ReadFile(matrix, kMostOfNpy));
  const Json found = {luminances.cols, luminances.rows};
  const Json expected = json.value("leds", found);
  if (expected == found) return luminances;
  const bool isSize = expected.is_array() && expected.size() == 2 &&
                      IsWholeWithin(expected[0], 1, INT32_MAX) &&
                      IsWholeWithin(expected[1], 1, INT32_MAX);
  if (!isSize) throw InputFailure(name, "does not hold its \"leds\" as [across, down]");
  throw InputFailure(matrix, "holds " + SizeText(luminances.size()) + " luminances, expected " +
                                 SizeText({expected[0].get<int>(), expected[1].get<int>()}) +
                                 " as " + name + " says");
}

}  // namespace

std::string TruthMatrixOf(const std::string& name) {
  return base::WithExtension(name, ".truth.npy");
}

void SaveTruth(const std::string& name, const sim::Scene& scene, const sim::Truth& truth) {
  const std::string matrix = TruthMatrixOf(name);
  WriteFile(matrix, EncodeNpy(truth.luminances));
  Json json;
  json["format"] = kFormat;
  json["version"] = kVersion;
  json["scene"] = scene.name;
  json["seed"] = scene.seed;
  json["leds"] = {truth.luminances.cols, truth.luminances.rows};
  json["luminances"] = base::NameOf(PathOf(matrix).filename());
  json["samples_per_luminance"] = truth.samplesPerLuminance;
  json["black_level"] = truth.blackLevel;
  json["corners"] = QuadJson(truth.corners);
  json["corner_pixels"] = CornersJson(truth.cornerPixels);
  json["blocks"] = {truth.grid.width, truth.grid.height};
  if (truth.cells.size() <= kMostCells) json["cells"] = CellsJson(truth);
  WriteFile(name, json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n");
}

StoredTruth LoadTruth(const std::string& name) {
  const Json json = ReadJson(name);
  if (!json.is_object()) throw InputFailure(name, "is no valid JSON object");
  if (json.value("format", Json()) != kFormat || json.value("version", Json()) != kVersion) {
    throw InputFailure(name,
                       "is no truth file of version 1 as `dravix simulate --truth` writes it");
  }
  const auto file = json.find("luminances");
  if (file == json.end() || !file->is_string()) {
    throw InputFailure(name, "does not name its luminances' file");
  }
  const std::string matrix = MatrixBeside(name, file->get<std::string>());
  return {LuminancesOf(name, json, matrix), CornersOf(name, json)};
}

std::vector<NamedFile> FilesOfTruth(const std::string& option, const std::string& name) {
  std::vector<NamedFile> files = {{option, name}};
  if (ExtensionOf(name) != ".json") return files;
  try {
    const Json json = ReadJson(name);
    if (json.is_object() && json.contains("luminances") && json["luminances"].is_string()) {
      files.push_back({option, MatrixBeside(name, json["luminances"].get<std::string>())});
    }
  } catch (const Failure&) {
    // The command reads the file in its turn and reports the failure then.
    return files;
  }
  return files;
}

}  // namespace dravix::tool
