#include "lab/report/page_json.h"

#include <array>
#include <charconv>
#include <utility>

#include "lab/report/encoded.h"

namespace dravix::lab {
namespace {

/// From ten digits down the error begins to count, so that these steps are small.
constexpr std::array kFewerDigits = {12, 11, 10, 9, 8, 7, 6, 5, 4, 3};

double Rounded(double value, int digits) {
  std::array<char, 64> text{};
  const auto written = std::to_chars(text.data(), text.data() + text.size(), value,
                                     std::chars_format::scientific, digits - 1);
  double rounded = value;
  std::from_chars(text.data(), written.ptr, rounded);
  return rounded;
}

/// The analyses with so many digits of the modules' means.
Json WithDigits(Json analyses, int digits) {
  for (Json& one : analyses) {
    if (!one.contains("modules")) continue;
    Json& means = one["modules"]["means"];
    if (digits == 0) {
      means = nullptr;
      continue;
    }
    for (Json& row : means) {
      for (Json& mean : row) {
        if (mean.is_number()) mean = Rounded(mean.get<double>(), digits);
      }
    }
  }
  return analyses;
}

}  // namespace

std::string PageJson(const Json& json) {
  return JsonForScript(json.dump(-1, ' ', true, Json::error_handler_t::replace));
}

AnalysesText AnalysesIn(const std::vector<ReportInput>& inputs, std::size_t most) {
  Json all = Json::array();
  bool hasModules = false;
  for (const ReportInput& input : inputs) {
    Json one = {{"file", input.file}};
    one.update(Json::parse(ToJson(input.analysis)));
    hasModules = hasModules || one.contains("modules");
    all.push_back(std::move(one));
  }
  AnalysesText text{PageJson(all), kAllDigits};
  if (text.json.size() <= most || !hasModules) return text;
  for (const int digits : kFewerDigits) {
    text = {PageJson(WithDigits(all, digits)), digits};
    if (text.json.size() <= most) return text;
  }
  return {PageJson(WithDigits(std::move(all), 0)), 0};
}

}  // namespace dravix::lab
