#include <dravix/lab/correction.h>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

Json PlaneJson(const CorrectionFigures& plane) {
  Json json;
  json["file"] = plane.file;
  json["target"] = NumberOrNull(plane.target);
  json["clipped"] = NumberOrNull(plane.clipped);
  json["light_lost"] = NumberOrNull(plane.lightLost);
  json["cv_before"] = NumberOrNull(plane.cvBefore);
  json["cv_expected"] = NumberOrNull(plane.cvExpected);
  json["good"] = plane.good;
  json["dead"] = Json::array();
  for (const cv::Point& led : plane.dead) json["dead"].push_back(ToPair(led));
  return json;
}

}  // namespace

std::string ToJson(const std::vector<CorrectionFigures>& planes) {
  Json json;
  json["planes"] = Json::array();
  for (const CorrectionFigures& plane : planes) json["planes"].push_back(PlaneJson(plane));
  return Dumped(json);
}

}  // namespace dravix::lab
