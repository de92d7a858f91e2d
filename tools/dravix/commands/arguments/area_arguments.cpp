#include "commands/arguments/area_arguments.h"

#include <utility>

#include "report/found_corners.h"
#include "stored/photograph_inputs.h"
#include "stored/truth_file.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {

void AddAreaArguments(CLI::App& command, AreaArguments& area) {
  command
      .add_option("--corners", area.corners, "the lit area's four corners, x,y each, in any order")
      ->expected(4)
      ->type_name("X,Y");
  command.add_option("--region", area.region, "the lit area as `dravix region` found it, .roi");
  command.add_option("--truth", area.truth,
                     "take the corners from a simulation's truth file, .json");
}

int CountOf(const AreaArguments& area) {
  return (area.corners.empty() ? 0 : 1) + (area.region.empty() ? 0 : 1) +
         (area.truth.empty() ? 0 : 1);
}

void RequireAtMostOneArea(const std::string& command, const AreaArguments& area) {
  if (CountOf(area) <= 1) return;
  throw UsageFailure(command + ": give one of --corners, --region and --truth");
}

void RequireOneArea(const std::string& command, const AreaArguments& area) {
  if (CountOf(area) == 1) return;
  throw UsageFailure(
      command + ": give one of --corners, --region and --truth; it says where the lit area is");
}

std::vector<NamedFile> FilesOf(const AreaArguments& area) {
  std::vector<NamedFile> files = {{"--region", area.region}};
  if (!area.truth.empty()) {
    const std::vector<NamedFile> truth = FilesOfTruth("--truth", area.truth);
    files.insert(files.end(), truth.begin(), truth.end());
  }
  return files;
}

std::string CornersSource(const AreaArguments& area) {
  return area.truth.empty() ? std::string("--corners") : area.truth + ": its corners";
}

std::vector<cv::Point> GivenCorners(const AreaArguments& area) {
  return area.truth.empty() ? ParseCorners("--corners", area.corners)
                            : LoadTruth(area.truth).corners;
}

std::vector<cv::Point> OrderedCorners(const AreaArguments& area, const std::string& photo,
                                      const Shot& shot) {
  if (!area.region.empty()) {
    FoundCorners found = FindCorners(LoadRegionOf(area.region, photo, shot));
    if (found.corners.empty()) throw MeasurementFailure(area.region, found.whyNot);
    return std::move(found.corners);
  }
  return OrderedGivenCorners(area);
}

std::vector<cv::Point> OrderedGivenCorners(const AreaArguments& area) {
  const std::vector<cv::Point> corners = GivenCorners(area);
  std::vector<cv::Point> ordered = OrderCorners(corners);
  if (ordered.size() != 4) {
    throw UsageFailure(CornersSource(area) + " " + CornersText(corners) +
                       ": expected two above and two at or below their mean height");
  }
  return ordered;
}

}  // namespace dravix::tool
