#include "terminal/failure.h"

#include "base/one_line.h"

namespace dravix::tool {
namespace {

Failure About(ExitCode exit, const std::string& file, std::string_view text) {
  return {exit, base::Visible(file) + ": " + std::string(text)};
}

}  // namespace

Failure InputFailure(const std::string& file, std::string_view text) {
  return About(ExitCode::kInput, file, text);
}

Failure OutputFailure(const std::string& file, std::string_view text) {
  return About(ExitCode::kOutput, file, text);
}

Failure MeasurementFailure(const std::string& file, std::string_view text) {
  return About(ExitCode::kMeasurement, file, text);
}

Failure UsageFailure(std::string_view text) { return {ExitCode::kUsage, text}; }

Failure CutShort(const std::string& file, std::uint64_t found, std::string_view missing,
                 std::string_view unit) {
  std::string text = "is cut short: found " + std::to_string(found) + " ";
  text.append(unit).append(", ").append(missing);
  return InputFailure(file, text);
}

Failure EndsEarly(const std::string& file, std::uint64_t found, std::string_view end) {
  return InputFailure(file,
                      "is cut short: its " + std::to_string(found) + " bytes " + std::string(end));
}

void RequireBytes(const std::string& file, std::uint64_t found, std::uint64_t least,
                  std::string_view why) {
  if (found >= least) return;
  throw CutShort(file, found, "expected at least " + std::to_string(least) + std::string(why));
}

Failure Unexpected(const std::string& place, std::string_view found, std::string_view expected) {
  std::string text = place;
  text.append(": found ").append(found).append(", expected ").append(expected);
  return UsageFailure(text);
}

std::string InQuotes(std::string_view text) { return '"' + std::string(text) + '"'; }

}  // namespace dravix::tool
