#include <dravix/lab/correction.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/paths.h"
#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "matrices/gain_files.h"
#include "matrices/matrix_files.h"
#include "report/result_report.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

constexpr const char* kHelp =
    "DIR gets gains.npy (32-bit floats), gains.bin (little-endian 16-bit integers), gains.csv (the "
    "same as text) and correction.json. With several planes, gains of a plane are named after its "
    "file: CIE_Y.gains.npy and so on.\n\n"
    "Examples:\n"
    "  dravix correct screen/CIE_Y.lum -o correction\n"
    "  dravix correct r.lum g.lum b.lum -o correction --target percentile:5 --bits 12\n"
    "  dravix correct screen/CIE_Y.lum -o correction --target mean --keep-gradient 201 --json\n";

struct CorrectOptions {
  std::vector<std::string> planes;
  std::string folder;
  std::string target = "percentile:10";
  std::optional<int> keepGradient;
  int bits = lab::CorrectionOptions{}.bits;
  bool json = false;
};

/// The number behind "percentile:" or "level:"; empty where the text is something else.
std::optional<double> NumberBehind(std::string_view text, std::string_view front) {
  if (!text.starts_with(front)) return std::nullopt;
  text.remove_prefix(front.size());
  double number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

lab::CorrectionTarget TargetOf(const std::string& text) {
  using Kind = lab::CorrectionTarget::Kind;
  if (text == "mean") return {Kind::kMean, 0};
  if (const auto percentile = NumberBehind(text, "percentile:")) {
    return {Kind::kPercentile, *percentile};
  }
  if (const auto level = NumberBehind(text, "level:")) return {Kind::kLevel, *level};
  throw Unexpected("--target", InQuotes(text), "percentile:10, level:1200 or mean");
}

lab::CorrectionOptions CorrectionOf(const CorrectOptions& o) {
  lab::CorrectionOptions options;
  options.target = TargetOf(o.target);
  if (o.keepGradient == 0) throw Unexpected("--keep-gradient", "0", "an odd number of LEDs");
  options.keepGradient = o.keepGradient.value_or(0);
  options.bits = o.bits;
  try {
    lab::Check(options);
  } catch (const std::invalid_argument& error) {
    throw UsageFailure(std::string("--") + error.what());
  }
  return options;
}

std::string InFolder(const CorrectOptions& o, const std::string& file) {
  return base::NameOf(PathOf(o.folder) / PathOf(file));
}

std::string ReportFile(const CorrectOptions& o) { return InFolder(o, "correction.json"); }

/// What a plane's gains are called after: its file without folder and extension.
std::string NameOf(const std::string& plane) { return base::NameOf(PathOf(plane).stem()); }

struct GainFiles {
  std::string npy, bin, csv;
};

GainFiles FilesOf(const CorrectOptions& o, const std::string& plane) {
  const std::string front = o.planes.size() > 1 ? NameOf(plane) + ".gains" : "gains";
  return {InFolder(o, front + ".npy"), InFolder(o, front + ".bin"), InFolder(o, front + ".csv")};
}

void RequireOwnFiles(const CorrectOptions& o) {
  for (std::size_t i = 0; i < o.planes.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (NameOf(o.planes[i]) != NameOf(o.planes[j])) continue;
      throw UsageFailure("planes: found " + InQuotes(o.planes[j]) + " and " +
                         InQuotes(o.planes[i]) +
                         ", expected files of different names: gains are "
                         "named after them");
    }
  }
  std::vector<NamedFile> inputs;
  std::vector<NamedFile> outputs = {{"-o", ReportFile(o)}};
  for (const std::string& plane : o.planes) {
    inputs.push_back({"plane", plane});
    const GainFiles files = FilesOf(o, plane);
    for (const std::string& file : {files.npy, files.bin, files.csv}) {
      outputs.push_back({"-o", file});
    }
  }
  RequireDistinctFiles(inputs, outputs);
}

template <class T>
bool HasLight(const cv::Mat& values) {
  for (int y = 0; y < values.rows; ++y) {
    const T* row = values.ptr<T>(y);
    const auto isLit = [](T value) { return value > 0 && std::isfinite(value); };
    if (std::any_of(row, row + values.cols, isLit)) return true;
  }
  return false;
}

/// A plane's values. Where one is above 0, an LED is good: the brightest is dead beside nothing.
cv::Mat ValuesOf(const std::string& plane) {
  cv::Mat values = LoadMatrix(plane);
  if (values.type() == CV_32FC1 ? HasLight<float>(values) : HasLight<double>(values)) return values;
  throw MeasurementFailure(plane, "found no LED with a finite value above 0 among " +
                                      SizeText(values.size()) + ", expected at least one");
}

/// Writes the gains of a plane, and forgets them.
lab::CorrectionFigures CorrectPlane(const CorrectOptions& o, const std::string& plane,
                                    const cv::Mat& values) {
  lab::Correction correction = lab::Correct(values, CorrectionOf(o));
  const GainFiles files = FilesOf(o, plane);
  WriteNpy(files.npy, correction.gains);
  WriteGainsBin(files.bin, correction.integerGains);
  WriteGainsCsv(files.csv, correction.integerGains);
  correction.figures.file = plane;
  return std::move(correction.figures);
}

std::string CorrectText(const CorrectOptions& o,
                        const std::vector<lab::CorrectionFigures>& planes) {
  std::string text;
  for (const lab::CorrectionFigures& figures : planes) {
    const GainFiles files = FilesOf(o, figures.file);
    text +=
        ReportLine("plane", figures.file + ", " + std::to_string(figures.good) + " good LEDs, " +
                                std::to_string(figures.dead.size()) + " dead") +
        ReportLine("target", NumberText(figures.target)) +
        ReportLine("light lost", PercentText(figures.lightLost)) +
        ReportLine("below target", PercentText(figures.clipped) +
                                       " of the LEDs cannot reach it and stay as they are") +
        ReportLine("cv", PercentText(figures.cvBefore) + " now, " +
                             PercentText(figures.cvExpected) + " expected") +
        ReportLine("written", files.npy + " " + files.bin + " " + files.csv);
  }
  return text + ReportLine("written", ReportFile(o));
}

void RunCorrect(const CorrectOptions& o) {
  static_cast<void>(CorrectionOf(o));
  RequireOwnFiles(o);
  std::vector<lab::CorrectionFigures> figures;
  {
    const Progress progress("correcting " + o.planes.front());
    std::vector<cv::Mat> values;
    for (const std::string& plane : o.planes) values.push_back(ValuesOf(plane));
    MakeFolder(o.folder);
    for (std::size_t i = 0; i < values.size(); ++i) {
      figures.push_back(CorrectPlane(o, o.planes[i], values[i]));
      values[i].release();
    }
  }
  const std::string json = lab::ToJson(figures) + "\n";
  WriteFile(ReportFile(o), json);
  Print(o.json ? json : CorrectText(o, figures));
}

}  // namespace

void AddCorrectCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "correct", "Compute gains that make a screen even by dimming, and what they cost.");
  const auto o = std::make_shared<CorrectOptions>();
  command.add_option("planes", o->planes, "measured planes of the whole screen: .lum or .npy")
      ->required();
  command.add_option("-o,--output", o->folder, "folder for what is written; made if needed")
      ->required()
      ->type_name("DIR");
  command
      .add_option("--target", o->target,
                  "what LEDs are dimmed to: percentile:P of the values (default percentile:10), "
                  "level:L or mean")
      ->type_name("TARGET");
  command
      .add_option("--keep-gradient", o->keepGradient,
                  "keep the level smoothed over N x N LEDs and take only deviations from it out; "
                  "odd")
      ->type_name("N");
  command.add_option("--bits", o->bits, "bits of the integer gains, 1 to 16 (default 14)");
  command.add_flag("--json", o->json, "print what is written as correction.json");
  command.footer(std::string(kHelp) + "\n" + kExitCodeHelp);
  command.callback([o] { RunCorrect(*o); });
}

}  // namespace dravix::tool
