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
  const AreaArguments& given = a.outline;
  if (CountOf(given) == 0) return SearchedOutline(shot);
  if (!given.region.empty()) {
    return FoundOutline(LoadRegionOf(given.region, a.photo, shot), given.region);
  }
  return {OrderedGivenCorners(given), given.truth.empty() ? "--corners" : given.truth};
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
  AddAreaArguments(command, arguments.outline);
}

void CheckUsage(const PhotographArguments& a) {
  const int outlines = CountOf(a.outline);
  if (outlines > 1) throw UsageFailure("give one of --corners, --region and --truth");
  if (outlines == 1 && a.photo.empty()) {
    throw UsageFailure(
        "--corners, --region and --truth say where the screen is in the photograph "
        "of --photo, which is missing");
  }
}

std::vector<NamedFile> FilesOf(const PhotographArguments& a) {
  std::vector<NamedFile> files = FilesOf(a.outline);
  files.insert(files.begin(), {"--photo", a.photo});
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
