#include <dravix/lab/check.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/one_line.h"
#include "commands/arguments/area_arguments.h"
#include "commands/commands.h"
#include "metadata/metadata.h"
#include "photographs/photograph.h"
#include "report/findings_text.h"
#include "stored/stored_data.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

struct CheckOptions {
  std::vector<std::string> photos;
  AreaArguments area;
  std::string board, blocks;
  std::optional<std::int32_t> lastWidth, lastHeight;
  PhotographOptions photograph;
  MetadataOptions metadata;
  bool json = false;
};

/// What is given beside the photographs; the checks of all of them share it.
struct Given {
  std::vector<cv::Point> corners;
  std::optional<RegionOI> region;
  std::optional<Shot> board;
  cv::Size blocks;
  cv::Size last = {-1, -1};

  [[nodiscard]] lab::CheckOptions ForCheck() const {
    lab::CheckOptions options;
    options.corners = corners;
    options.region = region ? &*region : nullptr;
    options.checkerboard = board ? &*board : nullptr;
    options.blocks = blocks;
    options.last = last;
    return options;
  }
};

void CheckCheckUsage(const CheckOptions& o) {
  RequireAtMostOneArea("check", o.area);
  if (o.board.empty() != o.blocks.empty()) {
    throw UsageFailure("check: --checkerboard and --blocks belong together, but only one is given");
  }
}

Given GivenBy(const CheckOptions& o) {
  Given given;
  if (!o.blocks.empty()) given.blocks = ParseSize("--blocks", o.blocks);
  given.last = {o.lastWidth.value_or(-1), o.lastHeight.value_or(-1)};
  if (!o.area.region.empty()) {
    given.region = LoadRegion(o.area.region);
  } else if (CountOf(o.area) == 1) {
    given.corners = OrderedGivenCorners(o.area);
  }
  if (!o.board.empty()) given.board = OpenPhotograph(o.board, o.photograph).shot;
  return given;
}

std::string TextOf(const std::string& photo, const std::vector<lab::Finding>& findings) {
  const std::string name = base::Visible(photo);
  if (findings.empty()) return name + ": no findings\n";
  std::string text = name + ":\n";
  for (const lab::Finding& finding : findings) text += "  " + FindingLine(finding) + "\n";
  return text;
}

Json Unreadable(const std::string& photo, const char* why) {
  Json json;
  json["photo"] = base::Visible(photo);
  json["ok"] = false;
  json["findings"] = Json::array();
  json["error"] = why;
  return json;
}

/// The photograph, from whatever file, with the groups that the command line adds.
Shot Opened(const std::string& photo, const CheckOptions& o) {
  Shot shot = OpenPhotograph(photo, o.photograph).shot;
  o.metadata.Apply(shot);
  return shot;
}

/// Checks all photographs, those behind an unreadable one too.
void RunCheck(const CheckOptions& o) {
  CheckCheckUsage(o);
  const Given given = GivenBy(o);
  std::string text;
  Json list = Json::array();
  std::string unreadable;
  std::size_t wrong = 0;
  for (const std::string& photo : o.photos) {
    const Progress progress("checking " + photo);
    try {
      const std::vector<lab::Finding> findings = lab::Check(Opened(photo, o), given.ForCheck());
      if (!lab::IsOk(findings)) ++wrong;
      text += TextOf(photo, findings);
      list.push_back(Json::parse(lab::ToJson(photo, findings)));
    } catch (const Failure& failure) {
      if (failure.Exit() != ExitCode::kInput) throw;
      unreadable += (unreadable.empty() ? "" : "; ") + std::string(failure.what());
      list.push_back(Unreadable(photo, failure.what()));
    }
  }
  if (o.json) {
    PrintJson(list);
  } else {
    Print(text);
  }
  if (!unreadable.empty()) throw Failure(ExitCode::kInput, unreadable);
  if (wrong == 0) return;
  throw Failure(ExitCode::kMeasurement, "found errors in " + std::to_string(wrong) + " of " +
                                            std::to_string(o.photos.size()) +
                                            " photographs; each says what to do");
}

}  // namespace

void AddCheckCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "check", "Say what is wrong with photographs before they are measured.");
  const auto o = std::make_shared<CheckOptions>();
  command
      .add_option("photo", o->photos, "photographs: .shot, or any picture or raw file with --leds")
      ->required();
  AddAreaArguments(command, o->area);
  command.add_option("--checkerboard", o->board,
                     "second photograph from the same place, .shot, that shows a checkerboard");
  command.add_option("--blocks", o->blocks, "blocks of the checkerboard across and down")
      ->type_name("WxH");
  command.add_option("--last-width", o->lastWidth,
                     "LEDs across one block of the last column, where it is narrower");
  command.add_option("--last-height", o->lastHeight,
                     "LEDs down one block of the last row, where it is lower");
  command.add_flag("--json", o->json, "print the answer as JSON");
  o->photograph.AddTo(command);
  o->metadata.AddTo(command);
  command.footer(
      std::string("Without --corners and --region the lit area is searched for. Errors mean that a "
                  "result would be wrong, warnings that it would be worth less.\n\n"
                  "Examples:\n"
                  "  dravix check photo.shot\n"
                  "  dravix check wall.jpg --leds 384x256 --channel g --linearize srgb\n"
                  "  dravix check monday/*.shot --json\n"
                  "  dravix check photo.shot --checkerboard board.shot --blocks 8x6\n\n") +
      kExitCodeHelp + " check ends with 5 when there is an error.");
  command.callback([o] { RunCheck(*o); });
}

}  // namespace dravix::tool
