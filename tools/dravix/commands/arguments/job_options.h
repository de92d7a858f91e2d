/// The options of `dravix measure` as an object of a manifest.
#pragma once

#include <string>

#include "commands/arguments/measurement_options.h"
#include "terminal/console.h"

namespace dravix::tool {

/// The options that the object stands for. Its keys are the long names of the command line's
/// options with underscores, and the command line's own parser reads what the values stand for:
/// texts, numbers and true as they are; sizes as [width, height]; corners as four [x, y]; a group
/// of metadata as an object or as the option's text. Fails as wrong usage on what the command line
/// would refuse, on other types, and on unknown names; "output" and "json" are such.
[[nodiscard]] MeasurementOptions OptionsOfJob(const Json& object);

}  // namespace dravix::tool
