/// Files with one JSON value a line: manifests.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {

/// "m.jsonl: line 3", with which messages about a line begin; lines count from 1.
[[nodiscard]] std::string LinePlace(const std::string& name, std::size_t number);

/// Calls `use(number, line)` for each line that is not blank. Windows editors put a mark in front
/// of UTF-8, which is skipped.
void ForEachLine(std::string_view text,
                 const std::function<void(std::size_t number, std::string_view line)>& use);

/// "m.jsonl: line 3: TEXT" as a failure of input.
[[nodiscard]] Failure LineFailure(const std::string& name, int line, std::string_view text);

/// Runs `work`. What fails in it fails as wrong input of that line.
void AtLine(const std::string& name, int line, const std::function<void()>& work);

/// Calls `use(line, value)` for each line that is not empty, under AtLine. Fails when the file
/// cannot be read, is larger than 64 MiB or has more than `most` such lines, and for a line that
/// ParseJson refuses.
void ForEachJsonLine(const std::string& name, int most,
                     const std::function<void(int line, const Json& value)>& use);

}  // namespace dravix::tool
