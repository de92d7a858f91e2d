#include <dravix/algolog.h>
#include <dravix/bio.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <locale>
#include <optional>
#include <ostream>
#include <string_view>

#include "base/envelope.h"
#include "base/files.h"
#include "base/input_file.h"
#include "base/log_text.h"
#include "base/stream_source.h"
#include "image/mat_record.h"

namespace {

namespace base = dravix::base;
namespace image = dravix::image;

/// A whole text file; on Windows without the carriage returns, as a text stream gives it.
std::optional<std::string> ReadText(const std::string& fullname) {
  const std::optional<base::Bytes> bytes = base::ReadFile(fullname);
  if (!bytes) return std::nullopt;
  std::string text(static_cast<const char*>(static_cast<const void*>(bytes->data())),
                   bytes->size());
#ifdef _WIN32
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos; ++at) {
    text.erase(at, 1);
  }
#endif
  return text;
}

/// The numbers of the text row by row, and zeros from where it has none.
cv::Mat TableOf(base::InputFile& file, cv::Size size) {
  std::istream& in = file.Stream();
  in.imbue(std::locale::classic());  // with a decimal point, whatever the host's language is
  cv::Mat table = cv::Mat::zeros(std::max(size.height, 0), std::max(size.width, 0), CV_32FC1);
  for (auto cell = table.begin<float>(); cell != table.end<float>(); ++cell) {
    float number = 0;
    if (!(in >> number)) break;
    *cell = number;
  }
  if (in.bad()) throw base::ReadFailure();
  return table;
}

}  // namespace

void WriteMat(const cv::Mat& m, std::ostream& out) {
  base::ByteWriter record;
  image::WriteMatRecord(m, record);
  out.write(static_cast<const char*>(static_cast<const void*>(record.Data().data())),
            static_cast<std::streamsize>(record.Size()));
}

void ReadMat(std::istream& in, cv::Mat& m) {
  base::StreamSource source(in);
  base::ByteReader reader(source);
  m = image::ReadMatRecord(reader);
}

namespace BIO {

bool SaveMatToBin(const std::string& fullname, const cv::Mat& m) {
  base::ByteWriter out;
  out.Write(base::kLittleEndianMark);
  image::WriteMatRecord(m, out);
  switch (base::WriteFile(fullname, {out.Data()}).result) {
    case base::WriteResult::kWritten:
      return true;
    case base::WriteResult::kCannotOpen:
      dravix::base::LogError("BIO::SaveMatToBin -- Failed to Open file. fullname = %s", fullname);
      break;
    case base::WriteResult::kFailed:
      dravix::base::LogError("BIO::SaveMatToBin -- Failed to write file. fullname = %s", fullname);
      break;
  }
  return false;
}

bool LoadBinToMat(const std::string& fullname, cv::Mat& m) {
  const auto read = [&m](base::InputFile& file) {
    base::ByteReader in(file);
    if (in.Read<char>() == base::kLittleEndianMark) m = image::ReadMatRecord(in);
  };
  if (base::ReadFileWith(fullname, base::Access::kForward, read)) return true;
  dravix::base::LogError("BIO::LoadBinToMat -- Failed to Open file. fullname = %s", fullname);
  return false;
}

bool LoadTxtToMat(const std::string& fullname, cv::Size size, cv::Mat& m) {
  const auto read = [&](base::InputFile& file) { m = TableOf(file, size); };
  if (base::ReadFileWith(fullname, base::Access::kForward, read)) return true;
  dravix::base::LogError("BIO::LoadTxtToMat -- Failed to Open file. fullname = %s", fullname);
  return false;
}

bool ReadFullNameListTxt(const std::string& fullname, std::vector<std::string>& names) {
  const std::optional<std::string> text = ReadText(fullname);
  if (!text) {
    dravix::base::LogError("BIO::ReadFullNameListTxt -- Failed to Open file. fullname = %s",
                           fullname);
    return false;
  }
  std::string_view rest = *text;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    names.emplace_back(line);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return true;
}

}  // namespace BIO
