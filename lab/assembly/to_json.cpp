#include <dravix/lab/assembly.h>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

Json PlaneJson(const PlaneFigures& plane) {
  Json json;
  json["size"] = ToPair(plane.size);
  json["measured"] = plane.measured;
  json["missing"] = plane.missing;
  json["doubled"] = plane.doubled;
  json["missing_rectangles"] = Json::array();
  for (const cv::Rect& r : plane.missingRectangles) {
    json["missing_rectangles"].push_back(Json::array({r.x, r.y, r.width, r.height}));
  }
  json["gains"] = Json::array();
  for (const ResultGain& gain : plane.gains) {
    Json entry;
    entry["result"] = gain.result;
    entry["gain"] = NumberOrNull(gain.gain);
    json["gains"].push_back(std::move(entry));
  }
  json["seam_rms"]["before"] = NumberOrNull(plane.seamRmsBefore);
  json["seam_rms"]["after"] = NumberOrNull(plane.seamRmsAfter);
  return json;
}

}  // namespace

std::string ToJson(const std::vector<PlaneFigures>& planes) {
  Json json;
  json["planes"] = Json::object();
  for (const PlaneFigures& plane : planes) json["planes"][plane.plane] = PlaneJson(plane);
  return Dumped(json);
}

}  // namespace dravix::lab
