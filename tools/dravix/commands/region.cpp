#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/stored_data.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

struct Options {
  std::string photo, output, frame, region;
  std::vector<std::string> corners;
  std::optional<int> blurKernel, cornerWindow;
  std::optional<float> blurSigma, cornerQuality;
  int angle = 0;
  bool json = false;
};

void AddTuning(CLI::App& command, Options& o) {
  command
      .add_option("--blur-kernel", o.blurKernel,
                  "side of the blur that melts LEDs into one area, odd")
      ->group("Tuning");
  command.add_option("--blur-sigma", o.blurSigma, "sigma of that blur, pixels")->group("Tuning");
  command
      .add_option("--corner-quality", o.cornerQuality,
                  "weakest corner taken, as a share of the strongest")
      ->group("Tuning");
  command
      .add_option("--corner-window", o.cornerWindow, "half side of the window that refines corners")
      ->group("Tuning");
}

void Tune(const Options& o, RegionOI& region) {
  constexpr int kLargest = 501;
  if (o.blurKernel && (*o.blurKernel < 1 || *o.blurKernel > kLargest || *o.blurKernel % 2 == 0)) {
    throw Unexpected("--blur-kernel", std::to_string(*o.blurKernel), "an odd number from 1 to 501");
  }
  if (o.blurSigma && !(*o.blurSigma > 0)) throw UsageFailure("--blur-sigma: expected more than 0");
  if (o.cornerQuality && !(*o.cornerQuality > 0 && *o.cornerQuality < 1)) {
    throw UsageFailure("--corner-quality: expected more than 0 and less than 1");
  }
  if (o.cornerWindow && (*o.cornerWindow < 1 || *o.cornerWindow > kLargest)) {
    throw UsageFailure("--corner-window: expected 1 to 501");
  }
  region.blurKernelSize = o.blurKernel.value_or(region.blurKernelSize);
  region.blurSigma = o.blurSigma.value_or(region.blurSigma);
  region.cornerQualityLevel = o.cornerQuality.value_or(region.cornerQualityLevel);
  region.cornerRefineWindow = o.cornerWindow.value_or(region.cornerRefineWindow);
}

/// Corners are wanted where they can be had; a region is good without them too.
std::vector<cv::Point> CornersIfAny(const RegionOI& region) {
  std::vector<cv::Point> corners;
  if (region.GetPrecision4Corner(corners) != DRAVIX_OK) corners.clear();
  static_cast<void>(TakeLibraryError());
  return corners;
}

void Report(const Options& o, const RegionOI& region) {
  const std::vector<cv::Point> corners = CornersIfAny(region);
  const cv::Rect& rect = region.rect;
  if (o.json) {
    Json json;
    json["region"] = o.output.empty() ? o.region : o.output;
    json["frame"] = {region.frameWidth, region.frameHeight};
    json["rectangle"] = {
        {"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
    json["corners"] = Json::array();
    for (const cv::Point& corner : corners) json["corners"].push_back({corner.x, corner.y});
    PrintJson(json);
    return;
  }
  Print((o.output.empty() ? "" : ReportLine("region", o.output)) +
        ReportLine("frame",
                   std::to_string(region.frameWidth) + " x " + std::to_string(region.frameHeight)) +
        ReportLine("rectangle", std::to_string(rect.width) + " x " + std::to_string(rect.height) +
                                    " at " + std::to_string(rect.x) + "," +
                                    std::to_string(rect.y)) +
        ReportLine("corners", corners.empty() ? "not found" : CornersText(corners)));
}

void RunFind(const Options& o, std::int32_t (RegionOI::*find)()) {
  RequireExtension("-o", o.output, ".roi");
  RegionOI region;
  Tune(o, region);
  const Shot shot = LoadShot(o.photo);
  {
    const Progress progress("searching " + o.photo);
    std::int32_t code = region.SetShot(&shot);
    if (code == DRAVIX_OK) code = (region.*find)();
    if (code != DRAVIX_OK) throw MeasurementFailure(o.photo, Explained(code));
  }
  SaveRegion(o.output, region);
  Report(o, region);
}

void AddFind(CLI::App& group, const char* name, const char* help,
             std::int32_t (RegionOI::*find)()) {
  CLI::App& command = *group.add_subcommand(name, help);
  const auto o = std::make_shared<Options>();
  command.add_option("photo", o->photo, "photograph, .shot")->required();
  command.add_option("-o,--output", o->output, "region to write, .roi")->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  AddTuning(command, *o);
  command.footer(std::string("Example:\n  dravix region ") + name + " photo.shot -o area.roi\n" +
                 kExitCodeHelp);
  command.callback([o, find] { RunFind(*o, find); });
}

void RunManual(const Options& o) {
  RequireExtension("-o", o.output, ".roi");
  if (o.photo.empty() == o.frame.empty()) {
    throw UsageFailure("region manual: give the photograph or --frame");
  }
  const auto corners = ParseCorners("--corners", o.corners);
  const cv::Size frame =
      o.photo.empty() ? ParseSize("--frame", o.frame) : LoadShot(o.photo).image.size();
  RegionOI region;
  const std::int32_t code = region.ManualSet(frame, corners);
  if (code != DRAVIX_OK) {
    throw UsageFailure("--corners " + CornersText(corners) + " in a frame of " +
                       std::to_string(frame.width) + " x " + std::to_string(frame.height) + ": " +
                       Explained(code));
  }
  SaveRegion(o.output, region);
  Report(o, region);
}

void AddManual(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("manual", "Set the lit area from four corners.");
  const auto o = std::make_shared<Options>();
  command.add_option("photo", o->photo, "photograph whose frame it is, .shot");
  command.add_option("--frame", o->frame, "size of that frame, instead of a photograph")
      ->type_name("WxH");
  command.add_option("--corners", o->corners, "the four corners, x,y each, in any order")
      ->expected(4)
      ->required()
      ->type_name("X,Y");
  command.add_option("-o,--output", o->output, "region to write, .roi")->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(
      "Example:\n  dravix region manual photo.shot --corners 195,189 2772,96 2832,1819 244,1895 "
      "-o area.roi");
  command.callback([o] { RunManual(*o); });
}

RegionOI RegionOfPhoto(const Options& o, const Shot& shot) {
  RegionOI region = LoadRegion(o.region);
  if (region.frameWidth != shot.image.cols || region.frameHeight != shot.image.rows) {
    throw InputFailure(o.region, "refers to a frame of " + std::to_string(region.frameWidth) +
                                     " x " + std::to_string(region.frameHeight) +
                                     " pixels, expected " + std::to_string(shot.image.cols) +
                                     " x " + std::to_string(shot.image.rows) + " as in " + o.photo);
  }
  return region;
}

void AddShow(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("show", "Draw a region over its photograph, for checking.");
  const auto o = std::make_shared<Options>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_option("photo", o->photo, "photograph, .shot")->required();
  command.add_option("-o,--output", o->output, "picture to write, .png, .jpg and so on")
      ->required();
  command.footer("Example:\n  dravix region show area.roi photo.shot -o check.png");
  command.callback([o] {
    const Shot shot = LoadShot(o->photo);
    const RegionOI region = RegionOfPhoto(*o, shot);
    WriteByName(o->output, [&](const std::string& name) {
      const bool written = region.ExportImage(name, shot) == DRAVIX_OK;
      static_cast<void>(TakeLibraryError());
      return written;
    });
  });
}

void AddCorners(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("corners", "The refined four corners of a region.");
  const auto o = std::make_shared<Options>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  AddTuning(command, *o);
  command.footer("Example:\n  dravix region corners area.roi --json");
  command.callback([o] {
    RegionOI region = LoadRegion(o->region);
    Tune(*o, region);
    std::vector<cv::Point> corners;
    const std::int32_t code = region.GetPrecision4Corner(corners);
    if (code != DRAVIX_OK) throw MeasurementFailure(o->region, Explained(code));
    Report(*o, region);
  });
}

void RunRectify(const Options& o) {
  RequireExtension("-o", o.output, ".shot");
  Shot shot = LoadShot(o.photo);
  RegionOI region = RegionOfPhoto(o, shot);
  Tune(o, region);
  const Progress progress("rectifying " + o.photo);
  std::vector<cv::Point> corners;
  std::int32_t code = region.GetPrecision4Corner(corners);
  if (code == DRAVIX_OK) code = region.PerspectiveSet(corners);
  if (code == DRAVIX_OK) code = region.WarpPerspective(&shot);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.region, Explained(code));
  SaveShot(o.output, shot);
}

void AddRectify(CLI::App& group) {
  CLI::App& command = *group.add_subcommand(
      "rectify", "Straighten a photograph so that its lit area is an upright rectangle.");
  const auto o = std::make_shared<Options>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_option("photo", o->photo, "photograph, .shot")->required();
  command.add_option("-o,--output", o->output, "straightened photograph to write, .shot")
      ->required();
  AddTuning(command, *o);
  command.footer("Example:\n  dravix region rectify area.roi photo.shot -o straight.shot");
  command.callback([o] { RunRectify(*o); });
}

}  // namespace

void AddRegionCommand(CLI::App& program) {
  CLI::App& group = *program.add_subcommand(
      "region", "Find, set, show or straighten the lit area of a photograph.");
  group.require_subcommand(1);
  group.footer(std::string("`dravix region COMMAND --help` shows each with an example.\n") +
               kExitCodeHelp);
  AddFind(group, "auto", "Find the lit area of a sharp photograph.", &RegionOI::AutoSet);
  AddFind(group, "blur", "Find the lit area of a defocused photograph.", &RegionOI::ComputeBlur);
  AddManual(group);
  AddShow(group);
  AddCorners(group);
  AddRectify(group);
}

}  // namespace dravix::tool
