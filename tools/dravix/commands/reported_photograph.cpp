#include "commands/reported_photograph.h"

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "metadata/metadata.h"
#include "photographs/photograph.h"
#include "report/found_corners.h"
#include "stored/photograph_inputs.h"
#include "stored/truth_file.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

struct Outline {
  std::vector<cv::Point> corners;
  std::string source;
};

Outline GivenOutline(const std::vector<cv::Point>& corners, const std::string& source) {
  std::vector<cv::Point> ordered = OrderCorners(corners);
  if (ordered.size() != 4) {
    throw UsageFailure(source + " " + CornersText(corners) +
                       ": expected two above and two at or below their mean height");
  }
  return {std::move(ordered), source};
}

Outline FoundOutline(const RegionOI& region, const std::string& source) {
  FoundCorners found = FindCorners(region);
  if (found.corners.empty()) return {{}, source + ": " + found.whyNot};
  return {std::move(found.corners), source};
}

Outline SearchedOutline(const Shot& shot) {
  RegionOI region;
  std::int32_t code = region.SetShot(&shot);
  if (code == DRAVIX_OK) code = region.ComputeBlur();
  if (code != DRAVIX_OK) return {{}, "searched for: " + Explained(code)};
  return FoundOutline(region, "searched for in the photograph; not given with the result");
}

Outline OutlineFor(const PhotographArguments& a, const Shot& shot) {
  if (!a.corners.empty()) return GivenOutline(ParseCorners("--corners", a.corners), "--corners");
  if (!a.truth.empty()) return GivenOutline(LoadTruth(a.truth).corners, a.truth);
  if (!a.region.empty()) return FoundOutline(LoadRegionOf(a.region, a.photo, shot), a.region);
  return SearchedOutline(shot);
}

/// "x 0, y 0, w 256"
std::string GroupText(const Json& group) {
  if (group.is_string()) return group.get<std::string>();
  if (!group.is_object()) return group.dump();
  std::string text;
  for (const auto& [name, value] : group.items()) {
    text += (text.empty() ? "" : ", ") + name + " " + GroupText(value);
  }
  return text;
}

std::vector<lab::ReportFact> FactsOf(const Shot& shot) {
  std::vector<lab::ReportFact> facts = {{"type", TypeName(shot.type)},
                                        {"samples", PixelText(shot.image.type())}};
  const Json metadata = MetadataJson(shot);
  for (const auto& [name, group] : metadata.items()) {
    facts.push_back({name, GroupText(group)});
  }
  return facts;
}

}  // namespace

void AddPhotographArguments(CLI::App& command, PhotographArguments& arguments) {
  command.add_option("--photo", arguments.photo,
                     "photograph to show with the outline of the screen: .shot or a picture");
  command
      .add_option("--corners", arguments.corners, "the outline's corners, x,y each, in any order")
      ->expected(4)
      ->type_name("X,Y");
  command.add_option("--region", arguments.region, "the outline as a region, .roi");
  command.add_option("--truth", arguments.truth,
                     "the outline from a simulator's truth file, .json");
}

void CheckUsage(const PhotographArguments& a) {
  const int outlines =
      (a.corners.empty() ? 0 : 1) + (a.region.empty() ? 0 : 1) + (a.truth.empty() ? 0 : 1);
  if (outlines > 1) throw UsageFailure("give one of --corners, --region and --truth");
  if (outlines == 1 && a.photo.empty()) {
    throw UsageFailure(
        "--corners, --region and --truth say where the screen is in the photograph "
        "of --photo, which is missing");
  }
}

std::vector<NamedFile> FilesOf(const PhotographArguments& a) {
  std::vector<NamedFile> files = {{"--photo", a.photo}, {"--region", a.region}};
  if (!a.truth.empty()) {
    for (const NamedFile& file : FilesOfTruth("--truth", a.truth)) files.push_back(file);
  }
  return files;
}

std::optional<lab::ReportPhotograph> PhotographFor(const PhotographArguments& a) {
  if (a.photo.empty()) return std::nullopt;
  const Shot shot = OpenPhotograph(a.photo, {}).shot;
  Outline outline = OutlineFor(a, shot);
  lab::ReportPhotograph photograph;
  photograph.file = a.photo;
  photograph.image = shot.image;
  if (shot.image.channels() == 3) {  // a shot has red first
    cv::cvtColor(shot.image, photograph.image, cv::COLOR_RGB2BGR);
  }
  photograph.outline = std::move(outline.corners);
  photograph.outlineSource = std::move(outline.source);
  photograph.facts = FactsOf(shot);
  return photograph;
}

}  // namespace dravix::tool
