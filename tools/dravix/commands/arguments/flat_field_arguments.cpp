#include "commands/arguments/flat_field_arguments.h"

#include <stdexcept>

#include "stored/photograph_inputs.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

void RequireSameLeds(const std::string& name, const Shot& shot, const std::string& photoName,
                     const Shot& photo) {
  if (!shot.pattern) throw InputFailure(name, "has no pattern, expected that of " + photoName);
  const cv::Size found(shot.pattern->lighted_led_w, shot.pattern->lighted_led_h);
  const cv::Size expected(photo.pattern->lighted_led_w, photo.pattern->lighted_led_h);
  if (found == expected) return;
  throw InputFailure(name, "has a pattern of " + SizeText(found) + " LEDs, expected " +
                               SizeText(expected) + " as in " + photoName);
}

lab::FlatField FromBlank(const std::string& name, const PhotographOpener& open,
                         const std::string& photoName, const Shot& photo,
                         const lab::FlatFieldArea& area) {
  const Shot blank = open(name);
  RequireSameCamera(name, blank, photoName, photo);
  return lab::FlatFieldFromBlank(blank, photo, area);
}

lab::FlatField FromShifted(const std::vector<std::string>& names, const PhotographOpener& open,
                           const std::string& photoName, const Shot& photo,
                           const lab::FlatFieldArea& area) {
  std::vector<Shot> shots;
  for (const std::string& name : names) {
    shots.push_back(open(name));
    RequireSameCamera(name, shots.back(), photoName, photo);
    RequireSameLeds(name, shots.back(), photoName, photo);
  }
  return lab::FlatFieldFromShifted(shots[0], shots[1], area);
}

}  // namespace

void AddFlatFieldArguments(CLI::App& command, FlatFieldArguments& arguments) {
  command.add_option("--flat", arguments.blank,
                     "photograph of an evenly lit surface with the same lens, aperture and focus: "
                     "take out the loss of light that it shows");
  command
      .add_option("--flat-from", arguments.shifted,
                  "two photographs of the same screen in different parts of the picture: take out "
                  "the loss of light that they agree on")
      ->expected(2)
      ->type_name("PHOTO");
}

void CheckUsage(const std::string& command, const FlatFieldArguments& arguments) {
  if (arguments.blank.empty() || arguments.shifted.empty()) return;
  throw UsageFailure(command + ": give one of --flat and --flat-from");
}

std::vector<NamedFile> FilesOf(const FlatFieldArguments& arguments) {
  std::vector<NamedFile> files = {{"--flat", arguments.blank}};
  for (const std::string& name : arguments.shifted) files.push_back({"--flat-from", name});
  return files;
}

std::optional<lab::FlatField> FlatFieldFor(const FlatFieldArguments& arguments,
                                           const PhotographOpener& open,
                                           const std::string& photoName, const Shot& photo,
                                           const lab::FlatFieldArea& area) {
  const bool fromBlank = !arguments.blank.empty();
  if (!fromBlank && arguments.shifted.empty()) return std::nullopt;
  const std::string name =
      fromBlank ? arguments.blank : arguments.shifted[0] + " and " + arguments.shifted[1];
  lab::FlatField field;
  try {
    field = fromBlank ? FromBlank(arguments.blank, open, photoName, photo, area)
                      : FromShifted(arguments.shifted, open, photoName, photo, area);
  } catch (const std::invalid_argument& error) {
    throw InputFailure(name, error.what());
  }
  if (!field.refused) return field;
  throw MeasurementFailure(
      name, std::string(lab::NameOf(field.refused->id)) + ": " + field.refused->message);
}

}  // namespace dravix::tool
