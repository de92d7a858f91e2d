// From measured screens to one page. The figures are the analyses' own JSON; beside them the page
// gets, as a second block of JSON, what it draws: maps, curves, colors, photograph. What the maps
// may take is what all the rest leaves of the page's size.
#include <dravix/dravix.h>
#include <dravix/lab/color_scale.h>
#include <dravix/lab/report.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string_view>

#include "lab/base/json.h"
#include "lab/base/size_text.h"
#include "lab/report/compressed_map.h"
#include "lab/report/curves.h"
#include "lab/report/encoded.h"
#include "lab/report/notices.h"
#include "lab/report/page_json.h"
#include "lab/report/page_template.h"
#include "lab/report/photograph.h"

namespace dravix::lab {
namespace {

constexpr std::string_view kTitleMark = "@TITLE@";
constexpr std::string_view kAnalysisMark = "@ANALYSIS@";
constexpr std::string_view kDataMark = "@DATA@";
/// Bytes of a photograph's JPEG: 1600 pixels across of a dark picture need less.
constexpr std::size_t kMostOfPhotograph = 180000;
/// Bytes that the maps get together even where the figures leave less: without a map the page would
/// be of little use.
constexpr std::size_t kLeastOfMaps = 60000;

/// The shortest digits that read back to the same number.
std::string NumberText(double value) {
  std::array<char, 64> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end};
}

std::string VersionText() {
  return std::to_string(DRAVIX_VERSION_MAJOR) + "." + std::to_string(DRAVIX_VERSION_MINOR) + "." +
         std::to_string(DRAVIX_VERSION_PATCH);
}

void Require(bool holds, const std::string& message) {
  if (!holds) throw std::invalid_argument(message);
}

void CheckInput(const ReportInput& input) {
  const cv::Mat& values = input.values;
  Require(!values.empty() && (values.type() == CV_32FC1 || values.type() == CV_64FC1),
          input.file + ": expected a matrix of floats with at least one value");
  Require(input.analysis.size == values.size(),
          input.file + ": the analysis is of " + SizeText(input.analysis.size) +
              " LEDs, the matrix has " + SizeText(values.size()));
  Require(input.analysis.counted > 0, input.file + ": no LED counts");
}

void Check(const std::vector<ReportInput>& inputs, const ReportOptions& options) {
  Require(!inputs.empty(), "a report needs at least one result");
  for (const ReportInput& input : inputs) CheckInput(input);
  if (const auto& scale = options.scale) {
    Require(std::isfinite(scale->low) && std::isfinite(scale->high) && scale->low < scale->high,
            "scale: found " + NumberText(scale->low) + " to " + NumberText(scale->high) +
                ", expected two numbers, the lower one first");
  }
  if (const auto& photo = options.photograph) {
    const int channels = photo->image.channels();
    const int depth = photo->image.depth();
    Require(!photo->image.empty() && (channels == 1 || channels == 3) &&
                (depth == CV_8U || depth == CV_16U || depth == CV_32F),
            photo->file + ": expected a picture of 1 or 3 channels of 8 or 16 bits or floats");
  }
}

Json FactsJson(const std::vector<ReportFact>& facts) {
  Json json = Json::array();
  for (const ReportFact& fact : facts) json.push_back({fact.name, fact.value});
  return json;
}

std::vector<ReportFact> ParametersOf(const AnalysisOptions& options) {
  const auto sizeOrNone = [](cv::Size size) {
    return size.empty() ? std::string("none") : SizeText(size) + " LEDs";
  };
  return {
      {"Module", sizeOrNone(options.module)},
      {"Cabinet", sizeOrNone(options.cabinet)},
      {"Screen position of the first LED",
       std::to_string(options.at.x) + ", " + std::to_string(options.at.y)},
      {"Outer rows and columns left out", std::to_string(options.edge)},
      {"Dead below", NumberText(options.dead) + " of the surroundings"},
      {"Dim below", NumberText(options.dim) + " of the surroundings"},
      {"Bright above", NumberText(options.bright) + " of the surroundings"},
  };
}

/// The 256 colors of the scale as base64 of red, green, blue.
std::string ColorsText() {
  cv::Mat1f levels(1, 256);
  for (int i = 0; i < levels.cols; ++i) levels(0, i) = static_cast<float>(i);
  FalseColor how;
  how.low = 0;
  how.high = levels.cols - 1;
  cv::Mat colors;
  cv::cvtColor(FalseColors(levels, how), colors, cv::COLOR_BGR2RGB);
  return Base64({colors.ptr<std::uint8_t>(), 3 * colors.total()});
}

Json ScaleJson(const ReportScale& scale) { return Json::array({scale.low, scale.high}); }

Json HistogramJson(const Histogram& histogram) {
  return {{"low", histogram.low},
          {"high", histogram.high},
          {"counts", histogram.counts},
          {"below", histogram.below},
          {"above", histogram.above}};
}

/// Exact luminances of the defects in their order: where the map is coarse, it does not have them.
std::string DefectValues(const Analysis& analysis) {
  std::vector<float> values;
  for (const Defect& defect : analysis.defects) values.push_back(static_cast<float>(defect.value));
  return Base64Floats(values);
}

/// What the page draws of a result, but for the map.
Json ResultJson(const ReportInput& input, const Histogram& histogram) {
  const Profiles profiles = ProfilesOf(input);
  Json json;
  json["copied_border"] = input.analysis.copiedBorder.value_or(0);
  json["edge"] = input.options.edge;
  json["module"] = ToPair(input.options.module);
  json["cabinet"] = ToPair(input.options.cabinet);
  json["parameters"] = FactsJson(ParametersOf(input.options));
  json["facts"] = FactsJson(input.facts);
  json["rows"] = Base64Floats(profiles.rows);
  json["columns"] = Base64Floats(profiles.columns);
  json["histogram"] = HistogramJson(histogram);
  json["defect_values"] = DefectValues(input.analysis);
  return json;
}

Json MapJson(const CompressedMap& map) {
  Json json;
  json["cells"] = ToPair(map.cells);
  json["block"] = map.block;
  json["exact"] = map.exact;
  json["low"] = map.low;
  json["step"] = map.step;
  json["planes"] = map.planes;
  json["band_rows"] = map.bandRows;
  json["bytes"] = Base64(map.bytes);
  return json;
}

Json PhotographJson(const ReportPhotograph& photo, std::size_t most) {
  Json json;
  json["file"] = photo.file;
  json["size"] = ToPair(photo.image.size());
  json["outline"] = Json::array();
  for (const cv::Point& corner : photo.outline) json["outline"].push_back(ToPair(corner));
  json["outline_source"] = photo.outlineSource;
  json["facts"] = FactsJson(photo.facts);
  json["jpeg"] = Base64(JpegOf(photo.image, most));
  return json;
}

Json NoticesJson(const std::vector<Notice>& notices) {
  Json json = Json::array();
  for (const Notice& notice : notices) {
    json.push_back({{"severity", notice.isWarning ? "warning" : "note"},
                    {"file", notice.file},
                    {"text", notice.text}});
  }
  return json;
}

/// All that the page draws, but for maps and notices.
Json DrawnJson(const std::vector<ReportInput>& inputs, const ReportOptions& options,
               const std::string& title) {
  Json json;
  json["title"] = title;
  json["version"] = VersionText();
  json["colors"] = ColorsText();
  json["percentile_scale"] = ScaleJson(PercentileScale(inputs));
  json["given_scale"] = options.scale ? ScaleJson(*options.scale) : Json(nullptr);
  json["photograph"] =
      options.photograph ? PhotographJson(*options.photograph, kMostOfPhotograph) : Json(nullptr);
  json["results"] = Json::array();
  const std::vector<Histogram> histograms = HistogramsOf(inputs);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    json["results"].push_back(ResultJson(inputs[i], histograms[i]));
  }
  return json;
}

/// The maps of all inputs in at most `most` bytes of the page. Each gets its share by its LEDs;
/// what one leaves over goes to those that follow.
std::vector<CompressedMap> MapsOf(const std::vector<ReportInput>& inputs, std::size_t most) {
  std::size_t ledsLeft = 0;
  for (const ReportInput& input : inputs) ledsLeft += input.values.total();
  auto bytesLeft = static_cast<double>(most) * 3 / 4;  // base64 makes four of three
  std::vector<CompressedMap> maps;
  for (const ReportInput& input : inputs) {
    const auto leds = static_cast<double>(input.values.total());
    const double share = bytesLeft * leds / static_cast<double>(ledsLeft);
    const Level& level = input.analysis.level;
    cv::Mat values;
    input.values.convertTo(values, CV_32F);
    maps.push_back(Compress(values, level.p99 - level.p01, static_cast<std::size_t>(share)));
    bytesLeft = std::max(0.0, bytesLeft - static_cast<double>(maps.back().bytes.size()));
    ledsLeft -= input.values.total();
  }
  return maps;
}

/// The template with its marks replaced. Each part is searched for in the template alone, since
/// what is filled in may hold any text.
std::string Filled(std::string_view page, const std::string& title, const std::string& analyses,
                   const std::string& data) {
  const std::array<std::pair<std::string_view, const std::string*>, 3> parts = {
      {{kTitleMark, &title}, {kAnalysisMark, &analyses}, {kDataMark, &data}}};
  std::string filled;
  filled.reserve(page.size() + title.size() + analyses.size() + data.size());
  for (const auto& [mark, content] : parts) {
    const std::size_t at = page.find(mark);
    filled += page.substr(0, at);
    filled += *content;
    page.remove_prefix(at + mark.size());
  }
  filled += page;
  return filled;
}

}  // namespace

std::string ReportPage(const std::vector<ReportInput>& inputs, const ReportOptions& options) {
  Check(inputs, options);
  const std::string title = options.title.empty() ? "Measurement report" : options.title;
  Json data = DrawnJson(inputs, options, title);

  // Notices, sizes and steps of the maps are not known yet. Each result has fewer than ten notices
  // of some hundred bytes and its name, whose signs may need six bytes each.
  std::size_t reserve = 4000;
  for (const ReportInput& input : inputs) reserve += 4000 + 60 * input.file.size();
  const auto restAfter = [&](std::size_t used) {
    return options.mostBytes - std::min(options.mostBytes, used);
  };
  const std::size_t fixed =
      PageTemplate().size() + HtmlText(title).size() + PageJson(data).size() + reserve;
  const AnalysesText analyses = AnalysesIn(inputs, restAfter(fixed + kLeastOfMaps));
  const std::size_t rest = restAfter(fixed + analyses.json.size());
  const std::vector<CompressedMap> maps = MapsOf(inputs, std::max(rest, kLeastOfMaps));

  std::vector<int> blocks;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    blocks.push_back(maps[i].block);
    data["results"][i]["map"] = MapJson(maps[i]);
  }
  data["notices"] = NoticesJson(NoticesOf(inputs, blocks, analyses.meanDigits, options));
  return Filled(PageTemplate(), HtmlText(title), analyses.json, PageJson(data));
}

}  // namespace dravix::lab
