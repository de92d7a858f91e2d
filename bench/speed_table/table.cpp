#include "speed_table/table.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <opencv2/core/version.hpp>
#include <thread>

namespace dravix::bench {
namespace {

std::string Processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
      return line.substr(colon + 2);
    }
  }
  return "unknown processor";
}

std::string Today() {
  const std::time_t now = std::time(nullptr);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d", std::localtime(&now));
  return text.data();
}

std::string Number(double value, const char* unit) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), value < 10 ? "%.2f %s" : "%.0f %s", value, unit);
  return text.data();
}

}  // namespace

Table::Table(bool withAims) : withAims_(withAims) {
  std::printf("%s, %u processors; %s %s, OpenCV %s; %s\n\n", Processor().c_str(),
              std::thread::hardware_concurrency(),
#ifdef __clang__
              "clang",
#else
              "g++",
#endif
              __VERSION__, CV_VERSION, Today().c_str());
  std::printf("| work | MP | | other | dravix | ratio | aim |\n");
  std::printf("| --- | --- | --- | --- | --- | --- | --- |\n");
}

void Table::Print(const Case& what, const std::string& other, const std::string& ours, double ratio,
                  const char* sign, double aim, bool met) {
  std::printf("| %s | %g | %s | %s | %s | %.2f | ", what.work.c_str(), what.megapixels,
              what.details.c_str(), other.c_str(), ours.c_str(), ratio);
  if (withAims_ && aim > 0) {
    ++aims_;
    met_ += met ? 1 : 0;
    std::printf("%s %g%s |\n", sign, aim, met ? "" : ", missed");
  } else {
    std::printf("|\n");
  }
  std::fflush(stdout);
}

void Table::Faster(const Case& what, double plainMs, double oursMs, double aim) {
  const double ratio = plainMs / oursMs;
  Print(what, Number(plainMs, "ms"), Number(oursMs, "ms"), ratio, "at least", aim, ratio >= aim);
}

void Table::AtMost(const Case& what, double other, double ours, double aim, const char* unit) {
  const double ratio = ours / other;
  Print(what, Number(other, unit), Number(ours, unit), ratio, "at most", aim, ratio <= aim);
}

void Table::Compared(const Case& what, bool same) {
  if (same) return;
  same_ = false;
  std::printf("\n**Wrong bits: %s, %g MP, %s**\n\n", what.work.c_str(), what.megapixels,
              what.details.c_str());
}

bool Table::Finish() const {
  if (withAims_) std::printf("\n%d of %d aims met.\n", met_, aims_);
  if (!same_) std::printf("A result has the wrong bits.\n");
  return same_;
}

}  // namespace dravix::bench
