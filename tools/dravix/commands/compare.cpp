#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/stored_data.h"
#include "report/false_color.h"
#include "report/result_report.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  dravix compare screen.lum screen.json                    against the simulation's truth\n"
    "  dravix compare monday.lum friday.lum --image drift.png   what has changed?\n"
    "  dravix compare screen.lum reference.npy --max-rms 0.02   exit code 1 above 2 %\n\n"
    "The first file is multiplied by the one gain that brings it closest to the second (least "
    "squares); RMS is the root of the mean squared difference over the second file's mean, with "
    "the outer LEDs left out.";

struct Options {
  std::string measured, reference, image;
  int edge = 4;
  std::optional<double> maxRms;
  bool json = false;
};

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

/// Measured and reference in one scale, and what is between them.
cv::Mat Picture(const cv::Mat& measured, const cv::Mat& reference, const Difference& d) {
  FalseColor scale = ScaleOf(reference, "measured, times " + NumberText(d.gain));
  const cv::Mat measuredPicture = FalseColorPicture(measured * d.gain, scale);
  scale.title = "reference";
  const cv::Mat referencePicture = FalseColorPicture(reference, scale);
  const FalseColor found = ScaleOf(cv::abs(d.relative), "");
  FalseColor how;
  how.title = "measured - reference, of the mean";
  how.unit = " %";
  how.high = std::max(100 * found.high, 0.01);
  how.low = -how.high;
  how.diverging = true;
  const cv::Mat difference = FalseColorPicture(d.relative * 100, how);
  const std::vector<cv::Mat> all = {measuredPicture, referencePicture, difference};
  return measured.cols > measured.rows ? OneAboveTheOther(all) : SideBySide(all);
}

void Report(const Options& o, const cv::Mat& measured, const Difference& d) {
  if (o.json) {
    Json json;
    json["measured"] = o.measured;
    json["reference"] = o.reference;
    json["leds"] = {measured.cols, measured.rows};
    json["edge"] = o.edge;
    json["gain"] = d.gain;
    json["rms"] = d.rms;
    json["correlation"] = d.correlation;
    json["largest"] = {
        {"difference", d.largest}, {"column", d.largestAt.x}, {"row", d.largestAt.y}};
    PrintJson(json);
    return;
  }
  Print(ReportLine("LEDs", std::to_string(measured.cols) + " x " + std::to_string(measured.rows) +
                               ", outer " + std::to_string(o.edge) + " left out") +
        ReportLine("gain", NumberText(d.gain)) + ReportLine("RMS error", PercentText(d.rms)) +
        ReportLine("largest", PercentText(d.largest) + " at column " +
                                  std::to_string(d.largestAt.x) + ", row " +
                                  std::to_string(d.largestAt.y)) +
        ReportLine("correlation", NumberText(d.correlation)) +
        (o.image.empty() ? "" : ReportLine("image", o.image)));
}

void Run(const Options& o) {
  const cv::Mat measured = LoadLuminances(o.measured);
  const cv::Mat reference = LoadLuminances(o.reference);
  if (measured.size() != reference.size()) {
    throw InputFailure(o.reference, "has " + std::to_string(reference.cols) + " x " +
                                        std::to_string(reference.rows) + " LEDs, expected " +
                                        std::to_string(measured.cols) + " x " +
                                        std::to_string(measured.rows) + " as in " + o.measured);
  }
  if (o.edge < 0 || 2 * o.edge >= measured.cols || 2 * o.edge >= measured.rows) {
    throw UsageFailure("--edge " + std::to_string(o.edge) + ": leaves nothing of " +
                       std::to_string(measured.cols) + " x " + std::to_string(measured.rows) +
                       " LEDs");
  }
  const Difference difference = Compared(measured, reference, o.edge);
  if (!o.image.empty()) WritePicture(o.image, Picture(measured, reference, difference));
  Report(o, measured, difference);
  if (o.maxRms && !(difference.rms <= *o.maxRms)) {
    throw Failure(ExitCode::kDiffers, o.measured + ": RMS error " + PercentText(difference.rms) +
                                          ", expected at most " + PercentText(*o.maxRms));
  }
}

}  // namespace

void AddCompareCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "compare", "How far a result is from another one, or from the truth.");
  const auto o = std::make_shared<Options>();
  command.add_option("measured", o->measured, "result: .lum or .npy")->required();
  command.add_option("reference", o->reference, "what to compare with: .lum, .npy or truth .json")
      ->required();
  command.add_option("--edge", o->edge, "outer LEDs left out on every side (default 4)");
  command.add_option("--image", o->image,
                     "false-color picture: both in one scale, and the difference");
  command.add_option("--max-rms", o->maxRms, "exit with 1 above this relative RMS error");
  command.add_flag("--json", o->json, "print the answer as JSON");
  command.footer(std::string(kExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { Run(*o); });
}

}  // namespace dravix::tool
