#include <dravix/lab/unmix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands/area_arguments.h"
#include "commands/commands.h"
#include "files/files.h"
#include "files/matrix_files.h"
#include "files/names.h"
#include "files/photograph_inputs.h"
#include "files/stored_data.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  dravix unmix photo.shot --corners 195,189 2772,96 2832,1819 244,1895 -o screen.lum\n"
    "  dravix unmix photo.shot --region area.roi -o screen.lum --sigma screen.sigma.npy --json\n";

struct Options {
  std::string photo, output, sigma;
  AreaArguments area;
  bool json = false;
};

/// Refuses what the command line alone shows to be wrong, before any work is done.
void CheckUsage(const Options& o) {
  RequireOneArea("unmix", o.area);
  RequireExtension("-o", o.output, ".lum");
  if (!o.sigma.empty()) RequireExtension("--sigma", o.sigma, ".npy");
  std::vector<NamedFile> inputs = FilesOf(o.area);
  inputs.push_back({"photo", o.photo});
  RequireDistinctFiles(inputs, {{"-o", o.output}, {"--sigma", o.sigma}});
}

/// The four corners, top-left first and clockwise.
std::array<cv::Point2d, 4> CornersFor(const Options& o, const Shot& shot) {
  const std::vector<cv::Point> corners = OrderedCorners(o.area, o.photo, shot);
  std::array<cv::Point2d, 4> ordered;
  std::copy(corners.begin(), corners.end(), ordered.begin());
  return ordered;
}

/// The largest sample by the camera's bits; 0 where the shot does not say them.
double SensorTop(const Shot& shot) {
  const int bits = shot.device ? shot.device->cam_type % 100 : 0;
  return bits >= 1 && bits <= 16 ? (1 << bits) - 1 : 0;
}

lab::Unmixed Unmixed(const Options& o, const Shot& shot) {
  const Progress progress("un-mixing " + o.photo);
  lab::UnmixOptions options;
  options.corners = CornersFor(o, shot);
  options.leds = {shot.pattern->lighted_led_w, shot.pattern->lighted_led_h};
  options.sensorTop = SensorTop(shot);
  try {
    return lab::Unmix(shot.image, options);
  } catch (const std::invalid_argument& error) {
    throw InputFailure(o.photo, error.what());
  }
}

std::string Percent(double share) { return NumberText(100 * share) + " %"; }

void Report(const Options& o, const lab::Unmixed& u) {
  if (o.json) {
    Print(lab::ToJson(u) + "\n");
    return;
  }
  if (u.refused) return;
  Print(ReportLine("LEDs", SizeText(u.leds)) +
        ReportLine("spot", "sigma " + NumberText(u.spotSigma) + ", disk " + NumberText(u.spotDisk) +
                               " pitches") +
        ReportLine("noise gain", NumberText(u.noiseGain)) +
        ReportLine("expected error", Percent(u.sigma)) +
        ReportLine("of the plain method", Percent(u.plainError)) + ReportLine("result", o.output) +
        (o.sigma.empty() ? "" : ReportLine("sigma", o.sigma)));
}

void Run(const Options& o) {
  CheckUsage(o);
  const Shot shot = LoadShot(o.photo);
  RequireMeasurable(o.photo, shot);
  const lab::Unmixed unmixed = Unmixed(o, shot);
  if (!unmixed.refused) {
    WriteFile(o.output, EncodeLum(unmixed.luminances));
    if (!o.sigma.empty()) WriteFile(o.sigma, EncodeNpy(unmixed.deviations));
  }
  Report(o, unmixed);
  if (unmixed.refused) {
    throw MeasurementFailure(
        o.photo, std::string(lab::NameOf(unmixed.refused->id)) + ": " + unmixed.refused->message);
  }
}

}  // namespace

void AddUnmixCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "unmix", "Measure each LED's own light, without that of its neighbors.");
  const auto o = std::make_shared<Options>();
  command.add_option("photo", o->photo, "photograph, .shot with one plane and a pattern")
      ->required();
  AddAreaArguments(command, o->area);
  command.add_option("-o,--output", o->output, "where to save the result, .lum")->required();
  command.add_option("--sigma", o->sigma,
                     "where to save the standard deviation of each LED, .npy of 32-bit floats");
  command.add_flag("--json", o->json, "print the answer as JSON, also when it is refused");
  command.footer(std::string(kExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { Run(*o); });
}

}  // namespace dravix::tool
