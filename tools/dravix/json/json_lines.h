/// Files with one JSON value a line: manifests.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {

/// "m.jsonl: line 3: TEXT" as a failure of input; lines count from 1.
[[nodiscard]] Failure LineFailure(const std::string& name, int line, std::string_view text);

/// Runs `work`. What fails in it fails as wrong input of that line.
void AtLine(const std::string& name, int line, const std::function<void()>& work);

/// Calls `use(line, value)` for each line that is not empty, under AtLine. Fails when the file
/// cannot be read, is larger than 64 MiB or has more than `most` such lines, and for a line that
/// ParseJson refuses.
void ForEachJsonLine(const std::string& name, int most,
                     const std::function<void(int line, const Json& value)>& use);

}  // namespace dravix::tool
