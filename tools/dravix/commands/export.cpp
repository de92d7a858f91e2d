#include <dravix/dravix.h>
#include <dravix/lab/color_scale.h>
#include <dravix/lab/copied_border.h>

#include <memory>
#include <string>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "matrices/matrix_files.h"
#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"

namespace dravix::tool {
namespace {

constexpr const char* kExportExamples =
    "Examples:\n"
    "  dravix export screen.lum screen.png                 8 bits, brightest LED white\n"
    "  dravix export screen.lum screen.png --false-color   to look at, with a scale\n"
    "  dravix export screen.lum screen.npy                 exact, for NumPy\n"
    "  dravix export screen.lum screen.tif                 exact, 32-bit float\n"
    "  dravix export screen.lum screen.csv                 exact, as text\n";

struct ExportOptions {
  std::string result, output;
  bool falseColor = false;
};

void Write(const ExportOptions& o, const cv::Mat& luminances) {
  const std::string extension = ExtensionOf(o.output);
  if (o.falseColor) {
    lab::FalseColor how = lab::ScaleOf(luminances, "luminance per LED");
    how.copied = lab::CopiedBorderOf(luminances);
    WritePicture(o.output, lab::FalseColorPicture(luminances, how));
  } else if (extension == ".npy") {
    WriteFile(o.output, EncodeNpy(luminances));
  } else if (extension == ".csv") {
    WriteFile(o.output, EncodeCsv(luminances));
  } else if (extension == ".tif" || extension == ".tiff") {
    WritePicture(o.output, luminances);
  } else {
    WriteByName(o.output, [](const std::string& name) {
      const std::int32_t code = DravixExportImage(Handle(), name.c_str(), 0);
      static_cast<void>(TakeLibraryError());
      return code == DRAVIX_OK;
    });
  }
}

void RunExport(const ExportOptions& o) {
  const std::string extension = ExtensionOf(o.output);
  const bool isNumbers = extension == ".npy" || extension == ".csv";
  const bool isPicture = extension == ".png" || extension == ".tif" || extension == ".tiff" ||
                         extension == ".bmp" || extension == ".jpg" || extension == ".pgm";
  if (!isPicture && (!isNumbers || o.falseColor)) {
    throw Unexpected("output", InQuotes(o.output),
                     std::string("a name ending in ") +
                         (o.falseColor ? ".png, .tif, .bmp or .jpg" : ".png, .tif, .csv or .npy"));
  }
  RequireDistinctFiles({{"result", o.result}}, {{"output", o.output}});
  LoadResult(o.result);
  Write(o, Luminances());
}

}  // namespace

void AddExportCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "export", "Write a result as a picture or as exact numbers for other programs.");
  const auto o = std::make_shared<ExportOptions>();
  command.add_option("result", o->result, "result, .lum")->required();
  command.add_option("output", o->output, "file to write: .png, .tif, .csv or .npy")->required();
  command.add_flag("--false-color", o->falseColor,
                   "picture in false colors with a scale; marks the border of copied LEDs");
  // The British spelling is accepted too; the help shows one of them.
  command.add_flag("--false-colour", o->falseColor)->group("");
  command.footer(std::string(kExportExamples) + "\n" + kExitCodeHelp);
  command.callback([o] { RunExport(*o); });
}

}  // namespace dravix::tool
