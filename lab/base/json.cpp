#include "lab/base/json.h"

#include <cmath>

namespace dravix::lab {

Json NumberOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json ToPair(cv::Size size) { return Json::array({size.width, size.height}); }

Json ToPair(cv::Point point) { return Json::array({point.x, point.y}); }

std::string Dumped(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace dravix::lab
