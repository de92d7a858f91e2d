#include <dravix/algolog.h>
#include <dravix/bio.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <locale>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "base/envelope.h"
#include "base/files.h"
#include "base/input_file.h"
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

/// A file as the text of numbers, of which none may be longer than the limit, with the white space
/// before it: a pipe or device may give digits, or blanks, without end. The text ends where one is.
class NumberText final : public std::streambuf {
 public:
  explicit NumberText(base::InputFile& file) : file_(file) {}
  /// To be called before each number.
  void BeginNumber() { left_ = kLongest - static_cast<std::size_t>(egptr() - gptr()); }

 private:
  static constexpr std::size_t kLongest = std::size_t{1} << 20;  // characters

  int_type underflow() override {
    if (rest_.empty() && left_ > 0) rest_ = file_.FetchSome();
    const base::ByteView some = rest_.first(std::min(rest_.size(), left_));
    if (some.empty()) return traits_type::eof();
    rest_ = rest_.subspan(some.size());
    left_ -= some.size();
    text_.assign(static_cast<const char*>(static_cast<const void*>(some.data())), some.size());
    setg(text_.data(), text_.data(), text_.data() + text_.size());
    return traits_type::to_int_type(text_.front());
  }

  base::InputFile& file_;
  base::ByteView rest_;
  std::string text_;
  std::size_t left_ = 0;
};

/// The numbers of the text row by row, and zeros from where it has none.
cv::Mat TableOf(base::InputFile& file, cv::Size size) {
  NumberText text(file);
  std::istream in(&text);
  in.imbue(std::locale::classic());  // with a decimal point, whatever the host's language is
  cv::Mat table = cv::Mat::zeros(std::max(size.height, 0), std::max(size.width, 0), CV_32FC1);
  for (auto cell = table.begin<float>(); cell != table.end<float>(); ++cell) {
    float number = 0;
    text.BeginNumber();
    if (!(in >> number)) break;
    *cell = number;
  }
  if (in.bad()) throw base::ReadFailure();
  return table;
}

/// A host's stream that takes bytes.
class StreamSink final : public base::ByteSink {
 public:
  explicit StreamSink(std::ostream& out) : out_(out) {}
  void Append(base::ByteView bytes) override {
    out_.write(static_cast<const char*>(static_cast<const void*>(bytes.data())),
               static_cast<std::streamsize>(bytes.size()));
  }

 private:
  std::ostream& out_;
};

}  // namespace

void WriteMat(const cv::Mat& m, std::ostream& out) {
  StreamSink sink(out);
  image::WriteMatRecord(m, sink);
}

void ReadMat(std::istream& in, cv::Mat& m) {
  base::StreamSource source(in);
  base::ByteReader reader(source);
  m = image::ReadMatRecord(reader);
}

namespace BIO {

bool SaveMatToBin(const std::string& fullname, const cv::Mat& m) {
  const base::Content content = [&m](base::ByteSink& out) {
    out.Write(base::kLittleEndianMark);
    image::WriteMatRecord(m, out);
  };
  (void)base::SizeOf(content);  // throws where there is no such record, before the file is touched
  switch (base::WriteFile(fullname, content).result) {
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
  if (base::ReadFileWith(fullname, base::Access::kForward, read)) return true;
  AlgoLogError("BIO::LoadBinToMat -- Failed to Open file. fullname = %s", fullname.c_str());
  return false;
}

bool LoadTxtToMat(const std::string& fullname, cv::Size size, cv::Mat& m) {
  const auto read = [&](base::InputFile& file) { m = TableOf(file, size); };
  if (base::ReadFileWith(fullname, base::Access::kForward, read)) return true;
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
