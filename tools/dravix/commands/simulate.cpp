#include <dravix/shot.h>

#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/commands.h"
#include "files/files.h"
#include "files/names.h"
#include "json/json_file.h"
#include "report/result_report.h"
#include "screens/scene_json.h"
#include "screens/screen_part.h"
#include "sim/catalogue.h"
#include "sim/render.h"
#include "stored/stored_data.h"
#include "stored/truth_file.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/progress.h"
#include "terminal/text_values.h"
#include "terminal/warning.h"

namespace dravix::tool {
namespace {

constexpr const char* kSimulateExamples =
    "Examples:\n"
    "  dravix simulate screen.shot --truth screen.json\n"
    "  dravix simulate screen.shot --leds 96x64 --tilt-y 8 --roll 2 --vignetting 0.3 --dead 0.001\n"
    "  dravix simulate screen.shot --checkerboard board.shot --blocks 8x6 --truth screen.json\n"
    "  dravix simulate screen.shot --named demo --save-scene demo.scene.json\n"
    "  dravix simulate screen.shot --scene demo.scene.json --seed 7\n"
    "  dravix simulate a.shot --screen 7680x4320 --part 960,540,480,540 --interval 2,2 --phase 1,0 "
    "--plane CIE_X\n"
    "  dravix simulate corrected.shot --leds 96x64 --gains corrected/gains.npy\n\n"
    "A scene file may name only what differs from the default; --save-scene writes every number. "
    "SimulateOptions win over the file. Named scenes: demo; plain-0 to plain-59, lum-0 to lum-39, "
    "and hard "
    "ones such as contrast-0, dead-block-0.";

/// An option that sets one number of the scene.
struct SceneOption {
  const char* option;
  const char* path;  ///< group and field
  const char* help;
};
constexpr std::array kSceneOptions = {
    SceneOption{"--pitch", "pose.pitch", "camera pixels from LED to LED (8)"},
    SceneOption{"--tilt-x", "pose.tilt_x", "degrees, positive: the bottom is farther away"},
    SceneOption{"--tilt-y", "pose.tilt_y", "degrees, positive: the right is nearer"},
    SceneOption{"--roll", "pose.roll", "degrees, positive: clockwise in the picture"},
    SceneOption{"--emitter-fill", "screen.emitter_fill",
                "side of the emitter over the pitch (0.4)"},
    SceneOption{"--gradient-x", "screen.luminance.gradient_x", "right edge against left, relative"},
    SceneOption{"--gradient-y", "screen.luminance.gradient_y", "bottom edge against top, relative"},
    SceneOption{"--scatter", "screen.luminance.scatter",
                "standard deviation from LED to LED, relative"},
    SceneOption{"--modules", "screen.luminance.module_spread",
                "standard deviation from module to module"},
    SceneOption{"--dead", "screen.luminance.dead_share", "share of LEDs that are dark"},
    SceneOption{"--hot", "screen.luminance.hot_share", "share of LEDs that are too bright"},
    SceneOption{"--blur", "optics.blur", "defocus in pitches: sigma, or radius of the disk (0.5)"},
    SceneOption{"--distortion", "optics.distortion",
                "radial, at the corner: 0.01 is 1 % pincushion"},
    SceneOption{"--vignetting", "optics.vignetting", "loss of light at the photograph's corner"},
    SceneOption{"--stray-light", "optics.stray_light", "even veil, in units of luminance"},
    SceneOption{"--bits", "sensor.bits", "8, 10, 12, 14 or 16 (12)"},
    SceneOption{"--exposure", "sensor.exposure", "share of the full scale of luminance 1 (0.5)"},
    SceneOption{"--black-level", "sensor.black_level", "samples in the dark (16)"},
    SceneOption{"--full-well", "sensor.full_well",
                "electrons at full scale: photon noise; 0: none"},
    SceneOption{"--read-noise", "sensor.read_noise", "samples; 0: none"},
    SceneOption{"--noise-seed", "sensor.noise_seed", "the same photograph again with other noise"},
    SceneOption{"--block", "checkerboard.block", "LEDs along a checkerboard block (8)"},
    SceneOption{"--contrast", "checkerboard.contrast", "lit over dark blocks (1000)"},
    SceneOption{"--seed", "seed", "of luminances and noise (1)"},
};

struct SimulateOptions {
  std::string output, truth, scene, saveScene, named, board, blocks, leds, size, defocus, mosaic;
  std::string screen, part, interval, phase, plane, gains;
  std::array<std::optional<double>, kSceneOptions.size()> numbers;
  bool noNoise = false;
  bool json = false;
};

std::optional<sim::Scene> NamedScene(const std::string& name) {
  if (name == "demo") return sim::DemoScene();
  std::vector<std::vector<sim::Scene>> families = {sim::PlainScenes(), sim::LuminanceScenes()};
  for (const sim::HardKind kind : sim::kHardKinds) families.push_back(sim::HardScenes(kind));
  for (const auto& family : families) {
    for (const sim::Scene& scene : family) {
      if (scene.name == name) return scene;
    }
  }
  return std::nullopt;
}

/// Sets the value at `path`, which is "group.field" or a field of the scene itself.
void Put(Json& json, std::string path, const Json& value) {
  Json* at = &json;
  for (auto dot = path.find('.'); dot != std::string::npos; dot = path.find('.')) {
    at = &(*at)[path.substr(0, dot)];
    path.erase(0, dot + 1);
  }
  (*at)[path] = value;
}

/// A number without decimals becomes a JSON integer, which fields of whole numbers require.
Json NumberJson(double value) {
  constexpr double kMostExact = 9007199254740992.0;  // 2^53
  if (std::abs(value) <= kMostExact && std::floor(value) == value) {
    return static_cast<std::int64_t>(value);
  }
  return value;
}

/// A value of the scene that an option sets.
struct Override {
  const char* option;
  const char* path;  ///< as in SceneOption
  Json value;
};

void RequireSinglePlane(const std::string& text) {
  const std::uint32_t type = ParseType("--plane", text);
  if (type == CIE_XYZ || type == CAM_RGB) {
    throw Unexpected("--plane", InQuotes(text), "a single plane, such as CIE_Y");
  }
}

/// What the options set. Where two set the same value, the later one wins.
std::vector<Override> OverridesOf(const SimulateOptions& o) {
  std::vector<Override> all;
  if (!o.plane.empty()) RequireSinglePlane(o.plane);
  for (std::size_t i = 0; i < kSceneOptions.size(); ++i) {
    const SceneOption& option = kSceneOptions.at(i);
    if (o.numbers.at(i)) all.push_back({option.option, option.path, NumberJson(*o.numbers.at(i))});
  }
  const auto addSize = [&all](const char* option, const std::string& text, const char* width,
                              const char* height) {
    if (text.empty()) return;
    const cv::Size size = ParseSize(option, text);
    all.push_back({option, width, size.width});
    all.push_back({option, height, size.height});
  };
  const auto addPoint = [&all](const char* option, const std::string& text, const char* x,
                               const char* y) {
    if (text.empty()) return;
    const cv::Point point = ParsePosition(option, text);
    all.push_back({option, x, point.x});
    all.push_back({option, y, point.y});
  };
  addSize("--screen", o.screen, "whole_screen.led_width", "whole_screen.led_height");
  if (!o.part.empty()) {
    const cv::Rect part = ParsePart("--part", o.part);
    all.push_back({"--part", "whole_screen.part_x", part.x});
    all.push_back({"--part", "whole_screen.part_y", part.y});
    all.push_back({"--part", "whole_screen.part_width", part.width});
    all.push_back({"--part", "whole_screen.part_height", part.height});
  }
  addPoint("--interval", o.interval, "whole_screen.interval_x", "whole_screen.interval_y");
  addPoint("--phase", o.phase, "whole_screen.phase_x", "whole_screen.phase_y");
  if (!o.plane.empty()) all.push_back({"--plane", "metadata.type", o.plane});
  addSize("--leds", o.leds, "screen.led_width", "screen.led_height");
  addSize("--size", o.size, "sensor.width", "sensor.height");
  if (!o.defocus.empty()) all.push_back({"--defocus", "optics.defocus", o.defocus});
  if (!o.mosaic.empty()) all.push_back({"--mosaic", "sensor.mosaic", o.mosaic});
  if (o.noNoise) {
    all.push_back({"--no-noise", "sensor.full_well", 0});
    all.push_back({"--no-noise", "sensor.read_noise", 0});
  }
  return all;
}

/// Sets what the options say. Messages name the option, not the field that it stands for.
void ApplyOverrides(const SimulateOptions& o, sim::Scene& scene) {
  const std::vector<Override> overrides = OverridesOf(o);
  Json json = Json::object();
  for (const Override& each : overrides) Put(json, each.path, each.value);
  try {
    ApplyScene("options", json, scene);
  } catch (const Failure& failure) {
    const std::string message = failure.what();
    for (const Override& each : overrides) {
      const std::string place = std::string("options.") + each.path + ":";
      if (message.starts_with(place)) {
        throw UsageFailure(each.option + message.substr(place.size() - 1));
      }
    }
    throw;
  }
}

/// The LEDs along a block that divide the screen into so many blocks. The blocks of the last column
/// and row may be narrower.
int BlockFor(const std::string& text, cv::Size leds) {
  const cv::Size blocks = ParseSize("--blocks", text);
  const auto count = [](int along, int side) { return (along + side - 1) / side; };
  for (int side = std::max(1, leds.width / blocks.width); side <= leds.width; ++side) {
    const bool fits =
        count(leds.width, side) == blocks.width && count(leds.height, side) == blocks.height;
    if (fits) return side;
  }
  throw UsageFailure("--blocks: no square blocks divide " + SizeText(leds) + " LEDs into " + text);
}

sim::Scene SceneFor(const SimulateOptions& o) {
  sim::Scene scene;
  if (!o.named.empty()) {
    const auto named = NamedScene(o.named);
    if (!named) throw UsageFailure("--named: there is no scene \"" + o.named + "\" (see --help)");
    scene = *named;
  }
  if (!o.scene.empty()) {
    const Json json = ReadJson(o.scene);
    try {
      ApplyScene(o.scene, json, scene);
    } catch (const Failure& failure) {
      throw Failure(ExitCode::kInput, failure.what());
    }
  }
  ApplyOverrides(o, scene);
  if (sim::IsPart(scene) && !o.leds.empty()) {
    throw UsageFailure(
        "--leds: not with a part of a screen, whose lit LEDs follow from --part, "
        "--interval and --phase");
  }
  const std::string where = o.scene.empty() ? "scene" : o.scene;
  RequirePart(where, scene);
  if (!o.blocks.empty()) {
    scene.checkerboard.block = BlockFor(o.blocks, sim::LitLedsOf(scene).count);
  }
  RequireReasonable(where, scene);
  if (!o.gains.empty()) scene.screen.luminance.gains = LoadGains(o.gains, scene);
  return scene;
}

/// A color mosaic is stored as one plane of the type CAM_RGB: its samples belong to all three
/// colors, and no command takes them for luminances before they are demosaiced.
Shot AsStored(const sim::Scene& scene, Shot shot) {
  if (scene.sensor.mosaic != sim::Mosaic::kNone) shot.type = CAM_RGB;
  return shot;
}

void Report(const SimulateOptions& o, const sim::Scene& scene, const sim::Truth& truth) {
  const cv::Size size = sim::PhotoSizeOf(scene);
  const cv::Size grid = sim::GridOf(scene);
  const cv::Size last = sim::LastBlockOf(scene);
  if (o.json) {
    Json json;
    json["photo"] = o.output;
    json["size"] = {size.width, size.height};
    json["leds"] = {truth.luminances.cols, truth.luminances.rows};
    if (sim::IsPart(scene)) json.update(PartJson(scene));
    json["corners"] = Json::array();
    for (const cv::Point& corner : truth.cornerPixels) {
      json["corners"].push_back({corner.x, corner.y});
    }
    json["blocks"] = {grid.width, grid.height};
    json["last_block"] = {last.width, last.height};
    if (!o.truth.empty()) json["truth"] = o.truth;
    if (!o.board.empty()) json["checkerboard"] = o.board;
    PrintJson(json);
    return;
  }
  std::string text = ReportLine("photograph", o.output + ", " + std::to_string(size.width) + " x " +
                                                  std::to_string(size.height) + " pixels") +
                     ReportLine("LEDs", SizeText(truth.luminances.size())) +
                     (sim::IsPart(scene) ? ReportLine("part", PartText(scene)) : "") +
                     ReportLine("corners", CornersText(truth.cornerPixels));
  if (!o.board.empty()) {
    text += ReportLine("checkerboard", o.board + ", " + std::to_string(grid.width) + "x" +
                                           std::to_string(grid.height) + " blocks, last " +
                                           std::to_string(last.width) + " x " +
                                           std::to_string(last.height) + " LEDs");
  }
  if (!o.truth.empty()) {
    text += ReportLine("truth", o.truth + " and " + TruthMatrixOf(o.truth));
  }
  Print(text);
}

void RunSimulate(const SimulateOptions& o) {
  RequireExtension("photo", o.output, ".shot");
  if (!o.board.empty()) RequireExtension("--checkerboard", o.board, ".shot");
  if (!o.truth.empty()) RequireExtension("--truth", o.truth, ".json");
  if (!o.gains.empty()) RequireExtension("--gains", o.gains, ".npy");
  RequireDistinctFiles({{"--scene", o.scene}, {"--gains", o.gains}},
                       {{"photo", o.output},
                        {"--checkerboard", o.board},
                        {"--truth", o.truth},
                        {"--truth", o.truth.empty() ? "" : TruthMatrixOf(o.truth)},
                        {"--save-scene", o.saveScene}});
  const sim::Scene scene = SceneFor(o);
  std::optional<sim::Photograph> photo;
  {
    const Progress progress("simulating " + o.output);
    photo = sim::Render(scene);
    SaveShot(o.output, AsStored(scene, std::move(photo->shot)));
    if (!o.board.empty()) SaveShot(o.board, AsStored(scene, sim::RenderCheckerboard(scene)));
  }
  if (!o.truth.empty()) SaveTruth(o.truth, scene, photo->truth);
  if (!o.truth.empty() && photo->truth.grid.area() > kMostCells) {
    PrintWarning(o.truth + ": does not list the corners of its " + SizeText(photo->truth.grid) +
                 " blocks, which are more than " + std::to_string(kMostCells));
  }
  if (!o.saveScene.empty()) WriteFile(o.saveScene, SceneJson(scene).dump(2) + "\n");
  Report(o, scene, photo->truth);
}

void AddSceneOptions(CLI::App& command, SimulateOptions& o) {
  for (std::size_t i = 0; i < kSceneOptions.size(); ++i) {
    command.add_option(kSceneOptions.at(i).option, o.numbers.at(i), kSceneOptions.at(i).help)
        ->group("Scene")
        ->type_name("NUMBER");
  }
  const auto text = [&command](const char* option, std::string& value, const char* type,
                               const char* help) {
    command.add_option(option, value, help)->group("Scene")->type_name(type);
  };
  text("--leds", o.leds, "WxH", "lit LEDs across and down (64x48)");
  text(
      "--screen", o.screen, "WxH",
      "LEDs of a large screen, of which a part is photographed: each LED has the same luminance in "
      "every photograph of it");
  text("--part", o.part, "X,Y,W,H", "the part, in LEDs of the screen (all of it)");
  text("--interval", o.interval, "X,Y", "one LED of every X across and Y down is lit (1,1)");
  text("--phase", o.phase, "X,Y", "the first lit LED of the part (0,0)");
  text("--plane", o.plane, "PLANE",
       "CIE_X, CIE_Y, CIE_Z, CAM_R, CAM_G or CAM_B (CIE_Y); each shows one primary of a --screen");
  text("--gains", o.gains, "FILE.npy",
       "multiply the luminances by the gains of `dravix correct`, one for each LED of the screen");
  text("--size", o.size, "WxH", "photograph in pixels; without it as small as the screen allows");
  text("--defocus", o.defocus, "KIND", "gaussian or disk (gaussian)");
  text("--mosaic", o.mosaic, "KIND",
       "color sensor: none, rggb, bggr, grbg or gbrg (none); the photograph is then one plane of "
       "the type CAM_RGB, for `dravix shot demosaic`");
  text("--blocks", o.blocks, "WxH", "checkerboard blocks across and down, instead of --block");
  command.add_flag("--no-noise", o.noNoise, "neither photon nor read noise")->group("Scene");
}

}  // namespace

void AddSimulateCommand(CLI::App& program) {
  CLI::App& command = *program.add_subcommand(
      "simulate", "Make a photograph of a simulated screen, with the truth about it.");
  const auto o = std::make_shared<SimulateOptions>();
  command.add_option("photo", o->output, "photograph to write, .shot")->required();
  command.add_option(
      "--truth", o->truth,
      "also write the truth, .json: corners, blocks, and the luminances in a .truth.npy beside it");
  command.add_option("--checkerboard", o->board,
                     "also write the checkerboard picture of the same pose, .shot");
  command.add_option("--scene", o->scene, "scene file, .json");
  command.add_option("--save-scene", o->saveScene, "write the scene with every number, .json");
  command.add_option("--named", o->named, "start from a named scene");
  command.add_flag("--json", o->json, "print the answer as JSON");
  AddSceneOptions(command, *o);
  command.footer(std::string(kSimulateExamples) + "\n\n" + kExitCodeHelp);
  command.callback([o] { RunSimulate(*o); });
}

}  // namespace dravix::tool
