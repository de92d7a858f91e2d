#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "stored/truth_file.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kCompareExamples =
    "Examples:\n"
    "  dravix compare screen.lum screen.json                    against the simulation's truth\n"
    "  dravix compare monday.lum friday.lum --image drift.png   what has changed?\n"
    "  dravix compare screen.lum reference.npy --max-rms 0.02   exit code 1 above 2 %\n\n"
    "The first file is multiplied by the one gain that brings it closest to the second (least "
    "squares); RMS is the root of the mean squared difference over the second file's mean. The "
    "outer LEDs are left out, because a measurement replaces them by copies of inner ones.";

struct CompareOptions {
  std::string measured, reference, image;
  int edge = 4;
  std::optional<double> maxRms;
  bool json = false;
};

/// One of the two matrices to compare.
struct Side {
  cv::Mat luminances;
  int copied = 0;  ///< rows and columns on each side that are copies of inner ones
};

Side LoadSide(const std::string& name) {
  Side side{LoadLuminances(name)};
  // Only results have copies; a truth may be even at its border.
  if (ExtensionOf(name) == ".lum") side.copied = lab::CopiedBorderOf(side.luminances);
  return side;
}

struct Difference {
  double gain = 0;
  double rms = 0;  ///< relative to the reference's mean
  double correlation = 0;
  double largest = 0;   ///< largest absolute difference, relative to the reference's mean
  cv::Point largestAt;  ///< column, row
  cv::Mat relative;     ///< (gain * measured - reference) / mean, CV_32FC1, all LEDs
};

Difference Compared(const cv::Mat& measured, const cv::Mat& reference, int edge) {
  const cv::Rect inner(edge, edge, measured.cols - 2 * edge, measured.rows - 2 * edge);
  cv::Mat a;
  cv::Mat b;
  measured.convertTo(a, CV_64F);
  reference.convertTo(b, CV_64F);
  const cv::Mat ia = a(inner);
  const cv::Mat ib = b(inner);
  Difference d;
  const double square = ia.dot(ia);
  d.gain = square > 0 ? ia.dot(ib) / square : 0;
  const double mean = cv::mean(ib)[0];
  const double unit = mean > 0 ? mean : 1;
  const cv::Mat relative = (a * d.gain - b) / unit;
  const cv::Mat innerRelative = relative(inner);
  const auto count = static_cast<double>(innerRelative.total());
  d.rms = std::sqrt(innerRelative.dot(innerRelative) / count);
  cv::Point at;
  cv::minMaxLoc(cv::abs(innerRelative), nullptr, &d.largest, nullptr, &at);
  d.largestAt = at + inner.tl();
  const cv::Mat ca = ia - cv::mean(ia)[0];
  const cv::Mat cb = ib - mean;
  const double both = std::sqrt(ca.dot(ca) * cb.dot(cb));
  d.correlation = both > 0 ? ca.dot(cb) / both : 0;
  relative.convertTo(d.relative, CV_32F);
  return d;
}

/// All files that are read for one of the two.
std::vector<NamedFile> FilesOf(const std::string& option, const std::string& name) {
  if (ExtensionOf(name) == ".json") return FilesOfTruth(option, name);
  return {{option, name}};
}

/// The measured matrix and the reference in one scale, and the difference.
cv::Mat Picture(const Side& measured, const Side& reference, const Difference& d) {
  lab::FalseColor scale =
      lab::ScaleOf(reference.luminances, "measured, times " + NumberText(d.gain));
  scale.copied = measured.copied;
  const cv::Mat measuredPicture = lab::FalseColorPicture(measured.luminances * d.gain, scale);
  scale.title = "reference";
  scale.copied = reference.copied;
  const cv::Mat referencePicture = lab::FalseColorPicture(reference.luminances, scale);
  const lab::FalseColor found = lab::ScaleOf(cv::abs(d.relative), "");
  lab::FalseColor how;
  how.title = "measured - reference, as a share of the mean";
  how.copied = std::max(measured.copied, reference.copied);
  how.unit = " %";
  how.high = std::max(100 * found.high, 0.01);
  how.low = -how.high;
  how.diverging = true;
  const cv::Mat difference = lab::FalseColorPicture(d.relative * 100, how);
  const std::vector<cv::Mat> all = {measuredPicture, referencePicture, difference};
  return d.relative.cols > d.relative.rows ? lab::OneAboveTheOther(all) : lab::SideBySide(all);
}

void Report(const CompareOptions& o, const Side& measured, const Side& reference,
            const Difference& d) {
  const cv::Size leds = measured.luminances.size();
  if (o.json) {
    Json json;
    json["measured"] = o.measured;
    json["reference"] = o.reference;
    json["leds"] = {leds.width, leds.height};
    json["edge"] = o.edge;
    json["gain"] = d.gain;
    json["rms"] = d.rms;
    json["correlation"] = d.correlation;
    json["largest"] = {
        {"difference", d.largest}, {"column", d.largestAt.x}, {"row", d.largestAt.y}};
    json["copied_border"] = {{"measured", measured.copied}, {"reference", reference.copied}};
    json["copied_leds"] = {{"measured", lab::CopiedLeds(measured.copied, leds)},
                           {"reference", lab::CopiedLeds(reference.copied, leds)}};
    if (!o.image.empty()) json["image"] = o.image;
    PrintJson(json);
    return;
  }
  Print(ReportLine("LEDs", SizeText(leds) + ", outer " + std::to_string(o.edge) + " left out") +
        ReportLine("copied border",
                   "measured: " + lab::CopiedBorderText(measured.copied, leds) +
                       "; reference: " + lab::CopiedBorderText(reference.copied, leds)) +
        ReportLine("gain", NumberText(d.gain)) + ReportLine("RMS error", PercentText(d.rms)) +
        ReportLine("largest", PercentText(d.largest) + " at column " +
                                  std::to_string(d.largestAt.x) + ", row " +
                                  std::to_string(d.largestAt.y)) +
        ReportLine("correlation", NumberText(d.correlation)) +
        (o.image.empty() ? "" : ReportLine("image", o.image)));
}

void CheckCompareUsage(const CompareOptions& o) {
  if (o.edge < 0) throw Unexpected("--edge", std::to_string(o.edge), "0 or more");
  if (o.maxRms && !(std::isfinite(*o.maxRms) && *o.maxRms >= 0)) {
    throw Unexpected("--max-rms", NumberText(*o.maxRms), "a number of 0 or more, such as 0.02");
  }
  std::vector<NamedFile> inputs = FilesOf("measured", o.measured);
  for (const NamedFile& file : FilesOf("reference", o.reference)) inputs.push_back(file);
  RequireDistinctFiles(inputs, {{"--image", o.image}});
  RequirePictureFormat(ExitCode::kUsage, o.image);
}

void RunCompare(const CompareOptions& o) {
  CheckCompareUsage(o);
  const Side measured = LoadSide(o.measured);
  const Side reference = LoadSide(o.reference);
  const cv::Size leds = measured.luminances.size();
  if (reference.luminances.size() != leds) {
    throw InputFailure(o.reference, "has " + SizeText(reference.luminances.size()) +
                                        " LEDs, expected " + SizeText(leds) + " as in " +
                                        o.measured);
  }
  if (o.edge > (std::min(leds.width, leds.height) - 1) / 2) {
    throw UsageFailure("--edge " + std::to_string(o.edge) + ": leaves nothing of " +
                       SizeText(leds) + " LEDs");
  }
  const Difference difference = Compared(measured.luminances, reference.luminances, o.edge);
  if (!o.image.empty()) WritePicture(o.image, Picture(measured, reference, difference));
  Report(o, measured, reference, difference);
  if (o.maxRms && !(difference.rms <= *o.maxRms)) {
    throw Failure(ExitCode::kDiffers, o.measured + ": RMS error " + PercentText(difference.rms) +
                                          ", expected at most " + PercentText(*o.maxRms));
  }
}

}  // namespace

void AddCompareCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "compare", "Say how far a result is from another one, or from the truth.");
  const auto o = std::make_shared<CompareOptions>();
  command.add_option("measured", o->measured, "result: .lum or .npy")->required();
  command.add_option("reference", o->reference, "what to compare with: .lum, .npy or truth .json")
      ->required();
  command.add_option("--edge", o->edge, "outer LEDs left out on each side (default 4)");
  command.add_option("--image", o->image,
                     "false-color picture of both in one scale and of the difference");
  command.add_option("--max-rms", o->maxRms, "exit with 1 above this relative RMS error");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kCompareExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunCompare(*o); });
}

}  // namespace dravix::tool
