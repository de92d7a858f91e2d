#include <dravix/lab/analysis.h>

#include <array>
#include <charconv>
#include <string>

namespace dravix::lab {
namespace {

/// The fewest digits that read back to the same number.
template <class T>
std::string Shortest(T number) {
  std::array<char, 32> digits{};
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), written.ptr};
}

/// Results are 32-bit floats, which need fewer digits than the double that holds one here.
std::string ValueText(double value) {
  const auto single = static_cast<float>(value);
  return static_cast<double>(single) == value ? Shortest(single) : Shortest(value);
}

std::string PairText(const std::optional<cv::Point>& pair) {
  return pair ? std::to_string(pair->x) + "," + std::to_string(pair->y) : ",";
}

}  // namespace

std::string DefectsCsv(const Analysis& analysis) {
  std::string text = "x,y,kind,value,ratio,module_column,module_row,cabinet_column,cabinet_row\n";
  for (const Defect& defect : analysis.defects) {
    text += std::to_string(defect.position.x) + "," + std::to_string(defect.position.y) + "," +
            NameOf(defect.kind) + "," + ValueText(defect.value) + "," + Shortest(defect.ratio) +
            "," + PairText(defect.module) + "," + PairText(defect.cabinet) + "\n";
  }
  return text;
}

}  // namespace dravix::lab
