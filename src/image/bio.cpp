#include <dravix/algolog.h>
#include <dravix/bio.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <limits>
#include <locale>
#include <memory>
#include <optional>
#include <ostream>
#include <string_view>

#include "base/envelope.h"
#include "base/files.h"
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

/// True when the file could be opened and read.
template <class Read>
bool ReadWith(const std::string& fullname, Read&& read) {
  const std::unique_ptr<base::InputFile> file = base::InputFile::Open(fullname);
  if (!file) return false;
  try {
    read(*file);
  } catch (const base::ReadFailure&) {
    return false;
  }
  return true;
}

/// Numbers row by row; zeros from where the text has none on.
cv::Mat TableOf(base::InputFile& file, cv::Size size) {
  std::istream& in = file.Stream();
  in.imbue(std::locale::classic());  // a decimal point, whatever the host's language
  cv::Mat table = cv::Mat::zeros(std::max(size.height, 0), std::max(size.width, 0), CV_32FC1);
  for (auto cell = table.begin<float>(); cell != table.end<float>(); ++cell) {
    float number = 0;
    if (!(in >> number)) break;
    *cell = number;
  }
  if (in.bad()) throw base::ReadFailure();
  return table;
}

/// Up to `count` bytes, in chunks, so that memory grows with what the stream really holds.
base::Bytes Collect(std::istream& in, std::uint64_t count) {
  constexpr std::uint64_t kChunk = std::uint64_t{1} << 20;
  base::Bytes bytes;
  while (bytes.size() < count && in) {
    const std::size_t before = bytes.size();
    const auto want = static_cast<std::size_t>(std::min(kChunk, count - before));
    bytes.resize(before + want);
    in.read(static_cast<char*>(static_cast<void*>(&bytes[before])),
            static_cast<std::streamsize>(want));
    bytes.resize(before + static_cast<std::size_t>(in.gcount()));
  }
  return bytes;
}

}  // namespace

void WriteMat(const cv::Mat& m, std::ostream& out) {
  base::ByteWriter record;
  image::WriteMatRecord(m, record);
  out.write(static_cast<const char*>(static_cast<const void*>(record.Data().data())),
            static_cast<std::streamsize>(record.Size()));
}

void ReadMat(std::istream& in, cv::Mat& m) {
  base::Bytes record = Collect(in, image::MatHeader::kBytes);
  base::ByteReader headerReader{base::ByteView(record)};
  const image::MatHeader header = image::ReadMatHeader(headerReader);
  const std::optional<std::uint64_t> claimed = header.AllPlanesBytes();
  if (!claimed) in.ignore(std::numeric_limits<std::streamsize>::max());
  const base::Bytes planes = Collect(in, claimed.value_or(0));
  record.insert(record.end(), planes.begin(), planes.end());
  base::ByteReader reader{base::ByteView(record)};
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
      AlgoLogError("BIO::SaveMatToBin -- Failed to Open file. fullname = %s", fullname.c_str());
      break;
    case base::WriteResult::kFailed:
      AlgoLogError("BIO::SaveMatToBin -- Failed to write file. fullname = %s", fullname.c_str());
      break;
  }
  return false;
}

bool LoadBinToMat(const std::string& fullname, cv::Mat& m) {
  const auto read = [&m](base::InputFile& file) {
    base::ByteReader in(file);
    if (in.Read<char>() == base::kLittleEndianMark) m = image::ReadMatRecord(in);
  };
  if (ReadWith(fullname, read)) return true;
  AlgoLogError("BIO::LoadBinToMat -- Failed to Open file. fullname = %s", fullname.c_str());
  return false;
}

bool LoadTxtToMat(const std::string& fullname, cv::Size size, cv::Mat& m) {
  if (ReadWith(fullname, [&](base::InputFile& file) { m = TableOf(file, size); })) return true;
  AlgoLogError("BIO::LoadTxtToMat -- Failed to Open file. fullname = %s", fullname.c_str());
  return false;
}

bool ReadFullNameListTxt(const std::string& fullname, std::vector<std::string>& names) {
  const std::optional<std::string> text = ReadText(fullname);
  if (!text) {
    AlgoLogError("BIO::ReadFullNameListTxt -- Failed to Open file. fullname = %s",
                 fullname.c_str());
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
