#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "photographs/photograph.h"
#include "report/found_corners.h"
#include "report/region_overlay.h"
#include "report/result_report.h"
#include "stored/photograph_inputs.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_result.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

struct RegionOptions {
  std::string photo, output, frame, region;
  std::vector<std::string> corners;
  std::optional<int> blurKernel, cornerWindow;
  std::optional<float> blurSigma, cornerQuality;
  PhotographOptions photograph;
  bool json = false;
};

constexpr const char* kPhotograph = "photograph: .shot, or any picture or raw file";

void AddTuning(CLI::App& command, RegionOptions& o) {
  command
      .add_option("--blur-kernel", o.blurKernel,
                  "side of the blur that merges the LEDs into one area, pixels, odd (default 5)")
      ->group("Tuning");
  command.add_option("--blur-sigma", o.blurSigma, "sigma of that blur, pixels (default 10)")
      ->group("Tuning");
  command
      .add_option("--corner-quality", o.cornerQuality,
                  "weakest corner accepted, as a share of the strongest (default 0.1)")
      ->group("Tuning");
  command
      .add_option("--corner-window", o.cornerWindow,
                  "half the side of the window that refines a corner, pixels (default 60)")
      ->group("Tuning");
}

/// Refuses a tuning value, if there is one, that does not fit.
template <class T, class Fits>
void RequireFit(const char* option, const std::optional<T>& value, const Fits& fits,
                const char* expected) {
  if (!value || fits(*value)) return;
  throw Unexpected(option, NumberText(static_cast<double>(*value)), expected);
}

void Tune(const RegionOptions& o, RegionOI& region) {
  constexpr int kLargest = 501;             // pixels, a multiple of what any photograph needs
  constexpr float kLargestSigma = 1000.0F;  // pixels, likewise
  RequireFit(
      "--blur-kernel", o.blurKernel, [](int v) { return v >= 1 && v <= kLargest && v % 2 == 1; },
      "an odd number from 1 to 501");
  RequireFit(
      "--blur-sigma", o.blurSigma, [](float v) { return v > 0 && v <= kLargestSigma; },
      "a number above 0 and at most 1000");
  RequireFit(
      "--corner-quality", o.cornerQuality, [](float v) { return v > 0 && v < 1; },
      "a number above 0 and below 1");
  RequireFit(
      "--corner-window", o.cornerWindow, [](int v) { return v >= 1 && v <= kLargest; },
      "a number from 1 to 501");
  region.blurKernelSize = o.blurKernel.value_or(region.blurKernelSize);
  region.blurSigma = o.blurSigma.value_or(region.blurSigma);
  region.cornerQualityLevel = o.cornerQuality.value_or(region.cornerQualityLevel);
  region.cornerRefineWindow = o.cornerWindow.value_or(region.cornerRefineWindow);
}

/// A region without four corners still has an outline for `region show`, so that none were found is
/// an answer and not a failure.
void Report(const RegionOptions& o, const RegionOI& region, const FoundCorners& found) {
  const cv::Rect& rect = region.rect;
  if (o.json) {
    Json json;
    json["region"] = o.region.empty() ? o.output : o.region;
    if (!o.region.empty() && !o.output.empty()) json["image"] = o.output;
    json["frame"] = {region.frameWidth, region.frameHeight};
    json["rectangle"] = {
        {"x", rect.x}, {"y", rect.y}, {"width", rect.width}, {"height", rect.height}};
    json["corners"] = Json::array();
    for (const cv::Point& corner : found.corners) json["corners"].push_back({corner.x, corner.y});
    if (found.corners.empty()) json["no_corners"] = found.whyNot;
    PrintJson(json);
    return;
  }
  std::string text;
  if (!o.region.empty()) text += ReportLine("region", o.region);
  if (!o.output.empty()) text += ReportLine(o.region.empty() ? "region" : "image", o.output);
  text += ReportLine("frame", SizeText({region.frameWidth, region.frameHeight}));
  text += ReportLine("rectangle", SizeText(rect.size()) + " at " + std::to_string(rect.x) + "," +
                                      std::to_string(rect.y));
  text += ReportLine(
      "corners", found.corners.empty() ? "not found: " + found.whyNot : CornersText(found.corners));
  Print(text);
}

void RunFind(const RegionOptions& o, std::int32_t (RegionOI::*find)()) {
  RequireExtension("-o", o.output, ".roi");
  RequireDistinctFiles({{"photo", o.photo}}, {{"-o", o.output}});
  RegionOI region;
  Tune(o, region);
  const Shot shot = OpenPhotograph(o.photo, o.photograph).shot;
  {
    const Progress progress("searching " + o.photo);
    std::int32_t code = region.SetShot(&shot);
    if (code == DRAVIX_OK) code = (region.*find)();
    if (code != DRAVIX_OK) throw MeasurementFailure(o.photo, Explained(code));
  }
  SaveRegion(o.output, region);
  Report(o, region, FindCorners(region));
}

void AddFind(CLI::App& group, const char* name, const char* help,
             std::int32_t (RegionOI::*find)()) {
  CLI::App& command = *group.add_subcommand(name, help);
  const auto o = std::make_shared<RegionOptions>();
  command.add_option("photo", o->photo, kPhotograph)->required();
  command.add_option("-o,--output", o->output, "region to write, .roi")->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  AddTuning(command, *o);
  command.footer(std::string("Example:\n  dravix region ") + name + " photo.shot -o area.roi\n" +
                 kExitCodeHelp);
  o->photograph.AddTo(command);
  command.callback([o, find] { RunFind(*o, find); });
}

/// The frame that --frame gives. A region keeps a mask of it.
cv::Size GivenFrame(const RegionOptions& o) {
  const cv::Size frame = ParseSize("--frame", o.frame);
  if (static_cast<double>(frame.width) * frame.height <= kMostPixels) return frame;
  throw Unexpected("--frame", SizeText(frame) + " pixels", "at most 250 megapixels");
}

void RunManual(const RegionOptions& o) {
  RequireExtension("-o", o.output, ".roi");
  RequireDistinctFiles({{"photo", o.photo}}, {{"-o", o.output}});
  if (o.photo.empty() == o.frame.empty()) {
    throw UsageFailure("region manual: give either the photograph or --frame");
  }
  const auto corners = ParseCorners("--corners", o.corners);
  const cv::Size frame =
      o.photo.empty() ? GivenFrame(o) : OpenPhotograph(o.photo, o.photograph).shot.image.size();
  RegionOI region;
  const std::int32_t code = region.ManualSet(frame, corners);
  if (code != DRAVIX_OK) {
    throw UsageFailure("--corners " + CornersText(corners) + " in a frame of " + SizeText(frame) +
                       " pixels: " + Explained(code));
  }
  SaveRegion(o.output, region);
  Report(o, region, FindCorners(region));
}

void AddManual(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("manual", "Set the lit area from four corners.");
  const auto o = std::make_shared<RegionOptions>();
  command.add_option("photo", o->photo,
                     "photograph whose frame it is: .shot, or any picture or raw file");
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
  o->photograph.AddTo(command);
  command.callback([o] { RunManual(*o); });
}

void RunShow(const RegionOptions& o) {
  RequireDistinctFiles({{"region", o.region}, {"photo", o.photo}}, {{"-o", o.output}});
  RequirePictureFormat(ExitCode::kUsage, o.output);
  const Shot shot = OpenPhotograph(o.photo, o.photograph).shot;
  const RegionOI region = LoadRegionOf(o.region, o.photo, shot);
  const FoundCorners found = FindCorners(region);
  WritePicture(o.output, RegionOverlay(shot, region, found.corners));
  Report(o, region, found);
}

void AddShow(CLI::App& group) {
  CLI::App& command =
      *group.add_subcommand("show", "Draw a region over its photograph, for checking.");
  const auto o = std::make_shared<RegionOptions>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_option("photo", o->photo, kPhotograph)->required();
  command.add_option("-o,--output", o->output, "picture to write, .png, .jpg and so on")
      ->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(
      "The picture shows the region's outline (green), its rectangle (yellow) and the four corners "
      "that a measurement uses (orange).\n\n"
      "Example:\n  dravix region show area.roi photo.shot -o check.png");
  o->photograph.AddTo(command);
  command.callback([o] { RunShow(*o); });
}

void AddCorners(CLI::App& group) {
  CLI::App& command = *group.add_subcommand("corners", "The refined four corners of a region.");
  const auto o = std::make_shared<RegionOptions>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_flag("--json", o->json, "print the answer as JSON");
  AddTuning(command, *o);
  command.footer("Example:\n  dravix region corners area.roi --json");
  command.callback([o] {
    RegionOI region = LoadRegion(o->region);
    Tune(*o, region);
    const FoundCorners found = FindCorners(region);
    if (found.corners.empty()) throw MeasurementFailure(o->region, found.whyNot);
    Report(*o, region, found);
  });
}

void RunRectify(const RegionOptions& o) {
  RequireExtension("-o", o.output, ".shot");
  RequireDistinctFiles({{"region", o.region}, {"photo", o.photo}}, {{"-o", o.output}});
  Shot shot = OpenPhotograph(o.photo, o.photograph).shot;
  RegionOI region = LoadRegionOf(o.region, o.photo, shot);
  Tune(o, region);
  const Progress progress("rectifying " + o.photo);
  const FoundCorners found = FindCorners(region);
  if (found.corners.empty()) throw MeasurementFailure(o.region, found.whyNot);
  std::int32_t code = region.PerspectiveSet(found.corners);
  if (code == DRAVIX_OK) code = region.WarpPerspective(&shot);
  if (code != DRAVIX_OK) throw MeasurementFailure(o.region, Explained(code));
  SaveShot(o.output, shot);
}

void AddRectify(CLI::App& group) {
  CLI::App& command = *group.add_subcommand(
      "rectify", "Straighten a photograph so that its lit area is an upright rectangle.");
  const auto o = std::make_shared<RegionOptions>();
  command.add_option("region", o->region, "region, .roi")->required();
  command.add_option("photo", o->photo, kPhotograph)->required();
  command.add_option("-o,--output", o->output, "straightened photograph to write, .shot")
      ->required();
  AddTuning(command, *o);
  command.footer("Example:\n  dravix region rectify area.roi photo.shot -o straight.shot");
  o->photograph.AddTo(command);
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
