/// How a command of the tool ends when it cannot do its work.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "terminal/exit_codes.h"

namespace dravix::tool {

/// Ends the command with an exit code and one line for the person at the terminal.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exit, std::string_view message)
      : std::runtime_error(std::string(message)), exit_(exit) {}
  [[nodiscard]] ExitCode Exit() const { return exit_; }

 private:
  ExitCode exit_;
};

/// "FILE: TEXT" as a failure of input, output or measurement.
[[nodiscard]] Failure InputFailure(const std::string& file, std::string_view text);
[[nodiscard]] Failure OutputFailure(const std::string& file, std::string_view text);
[[nodiscard]] Failure MeasurementFailure(const std::string& file, std::string_view text);
[[nodiscard]] Failure UsageFailure(std::string_view text);

/// An input that ends too early: "FILE: is cut short: found FOUND UNIT, MISSING".
[[nodiscard]] Failure CutShort(const std::string& file, std::uint64_t found,
                               std::string_view missing, std::string_view unit = "bytes");
/// The same where only a decoder knows how much is missing: "FILE: is cut short: its FOUND bytes
/// END".
[[nodiscard]] Failure EndsEarly(const std::string& file, std::uint64_t found, std::string_view end);
/// Fails as cut short unless there are at least so many bytes. `why` follows their number.
void RequireBytes(const std::string& file, std::uint64_t found, std::uint64_t least,
                  std::string_view why = {});

/// "PLACE: found FOUND, expected EXPECTED" as wrong usage; the place is an option or a field.
[[nodiscard]] Failure Unexpected(const std::string& place, std::string_view found,
                                 std::string_view expected);

/// The text between quotation marks.
[[nodiscard]] std::string InQuotes(std::string_view text);

}  // namespace dravix::tool
