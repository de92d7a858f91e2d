#include "report/findings_text.h"

namespace dravix::tool {

std::string FindingLine(const lab::Finding& finding) {
  return std::string(lab::NameOf(finding.severity)) + " " + finding.id + ": " + finding.message;
}

Json FindingsJson(const std::vector<lab::Finding>& findings) {
  return Json::parse(lab::ToJson(findings));
}

}  // namespace dravix::tool
