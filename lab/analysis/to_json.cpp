#include <dravix/lab/analysis.h>
#include <dravix/lab/copied_border.h>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

Json LevelJson(const Level& level) {
  Json json;
  json["mean"] = NumberOrNull(level.mean);
  json["median"] = NumberOrNull(level.median);
  json["minimum"] = NumberOrNull(level.minimum);
  json["maximum"] = NumberOrNull(level.maximum);
  json["standard_deviation"] = NumberOrNull(level.standardDeviation);
  json["cv"] = NumberOrNull(level.cv);
  json["p01"] = NumberOrNull(level.p01);
  json["p99"] = NumberOrNull(level.p99);
  return json;
}

Json PointJson(const UniformityPoint& point) {
  Json json;
  json["x"] = point.position.x;
  json["y"] = point.position.y;
  json["value"] = NumberOrNull(point.value);
  return json;
}

Json UniformityJson(const Uniformity& uniformity) {
  Json json;
  json["points"] = Json::array();
  for (const UniformityPoint& point : uniformity.points) json["points"].push_back(PointJson(point));
  json["min_over_max"] = NumberOrNull(uniformity.minOverMax);
  json["max_over_min"] = NumberOrNull(uniformity.maxOverMin);
  json["nonuniformity"] = NumberOrNull(uniformity.nonuniformity);
  json["worst_over_center"] = NumberOrNull(uniformity.worstOverCenter);
  return json;
}

Json ModulesJson(const Modules& modules) {
  Json json;
  json["count"] = ToPair(modules.count);
  json["first"] = ToPair(modules.first);
  Json means = Json::array();
  for (int y = 0; y < modules.means.rows; ++y) {
    Json row = Json::array();
    for (int x = 0; x < modules.means.cols; ++x) row.push_back(NumberOrNull(modules.means(y, x)));
    means.push_back(std::move(row));
  }
  json["means"] = std::move(means);
  json["cv"] = NumberOrNull(modules.cv);
  json["largest_step"] = NumberOrNull(modules.largestStep);
  json["between"] = nullptr;
  if (modules.between) {
    const auto& [one, other] = *modules.between;
    json["between"] = Json::array({ToPair(one), ToPair(other)});
  }
  return json;
}

Json SeamJson(const Seam& seam) {
  Json json;
  json["direction"] = seam.direction == SeamDirection::kVertical ? "vertical" : "horizontal";
  json["at"] = seam.at;
  json["step"] = NumberOrNull(seam.step);
  return json;
}

Json PairOrNull(const std::optional<cv::Point>& point) {
  return point ? ToPair(*point) : Json(nullptr);
}

Json DefectJson(const Defect& defect) {
  Json json;
  json["x"] = defect.position.x;
  json["y"] = defect.position.y;
  json["kind"] = NameOf(defect.kind);
  json["ratio"] = defect.ratio;
  json["module"] = PairOrNull(defect.module);
  json["cabinet"] = PairOrNull(defect.cabinet);
  return json;
}

template <class Items, class One>
Json ListJson(const Items& items, One&& one) {
  Json json = Json::array();
  for (const auto& item : items) json.push_back(one(item));
  return json;
}

}  // namespace

std::string ToJson(const Analysis& analysis) {
  Json json;
  json["size"] = ToPair(analysis.size);
  json["at"] = ToPair(analysis.at);
  json["level"] = LevelJson(analysis.level);
  Json& uniformity = json["uniformity"] = Json::object();
  for (const Uniformity& one : analysis.uniformity) {
    uniformity[std::to_string(one.points.size())] = UniformityJson(one);
  }
  if (analysis.modules) {
    json["modules"] = ModulesJson(*analysis.modules);
    json["seams"] = ListJson(analysis.seams, SeamJson);
    json["seam_rms"] = NumberOrNull(analysis.seamRms);
  }
  json["defects"] = ListJson(analysis.defects, DefectJson);
  json["counts"] = {{"dead", analysis.counts.dead},
                    {"dim", analysis.counts.dim},
                    {"bright", analysis.counts.bright}};
  json["counted"] = analysis.counted;
  if (analysis.copiedBorder) {
    json["copied_border"] = *analysis.copiedBorder;
    json["copied_leds"] = CopiedLeds(*analysis.copiedBorder, analysis.size);
  }
  return Dumped(json);
}

}  // namespace dravix::lab
