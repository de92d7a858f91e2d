#include "matrices/gain_files.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstdint>

#include "base/bytes.h"
#include "files/files.h"

namespace dravix::tool {

static_assert(std::endian::native == std::endian::little,
              "numbers are written as they lie in memory");

void WriteGainsBin(const std::string& name, const cv::Mat& gains) {
  CV_Assert(gains.type() == CV_16UC1);
  WriteFile(name, [&](base::ByteSink& out) {
    const std::size_t length = static_cast<std::size_t>(gains.cols) * gains.elemSize();
    for (int y = 0; y < gains.rows; ++y) out.Append(base::ViewOf(gains.ptr<char>(y), length));
  });
}

void WriteGainsCsv(const std::string& name, const cv::Mat& gains) {
  CV_Assert(gains.type() == CV_16UC1);
  WriteFile(name, [&](base::ByteSink& out) {
    std::string line;
    std::array<char, 8> digits{};
    for (int y = 0; y < gains.rows; ++y) {
      line.clear();
      const std::uint16_t* row = gains.ptr<std::uint16_t>(y);
      for (int x = 0; x < gains.cols; ++x) {
        if (x > 0) line += ',';
        const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), row[x]);
        line.append(digits.data(), written.ptr);
      }
      line += '\n';
      out.Append(base::ViewOf(line));
    }
  });
}

}  // namespace dravix::tool
