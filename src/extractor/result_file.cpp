#include <dravix/algolog.h>

#include <string_view>

#include "base/envelope.h"
#include "base/record.h"
#include "extractor/extractor.h"
#include "image/mat_record.h"

namespace {

constexpr std::string_view kExtension = ".lum";

constexpr dravix::base::SaveTexts kSaveTexts{
    kExtension,
    "Dravix::Save--Error :: ext filename mismatch.",
    "Dravix::Save -- Failed to Open file. fullname = %s",
    "Dravix::Save -- Failed to write file. fullname = %s",
};
constexpr dravix::base::LoadTexts kLoadTexts{
    kExtension,
    "Dravix::Load--Error :: ext filename mismatch.",
    "Dravix::Load -- Failed to Open file.  fullname = %s",
};
constexpr dravix::base::HeaderTexts kLoadHeaderTexts{
    "Dravix::Load -- Error file endianness.",
    "Dravix::Load -- Error version in file.",
};
constexpr dravix::base::HeaderTexts kBufferHeaderTexts{
    "Dravix::FromBuffer -- Error file endianness.",
    "Dravix::FromBuffer -- Error version in file.",
};

dravix::base::Content RecordOf(const Dravix& result) {
  return [&result](dravix::base::ByteSink& out) {
    dravix::base::WriteHeader(out);
    dravix::image::WriteMatRecord(result.resultImage, out);
    dravix::image::WriteMatRecord(result.lum, out);
  };
}

/// Replaces both matrices, once both have been read.
void ReadResult(dravix::base::ByteReader& in, Dravix& result) {
  const cv::Mat resultImage = dravix::image::ReadMatRecord(in);
  const cv::Mat lum = dravix::image::ReadMatRecord(in);
  result.resultImage = resultImage;
  // As stored: assigning to the float matrix itself would convert other element types.
  static_cast<cv::Mat&>(result.lum) = lum;
}

}  // namespace

std::int32_t Dravix::Save(const std::string& fullname) const {
  AlgoLogInfo("Dravix::Save");
  return dravix::base::SaveRecord(fullname, kSaveTexts, RecordOf(*this));
}

std::int32_t Dravix::Load(const std::string& fullname) {
  AlgoLogInfo("Dravix::Load");
  return dravix::base::LoadRecord(fullname, kLoadTexts, kLoadHeaderTexts,
                                  [this](auto& in) { ReadResult(in, *this); });
}

std::int32_t Dravix::GetBufferSize(std::uint64_t* size) const {
  AlgoLogInfo("Dravix::GetBufferSize");
  if (size == nullptr) return DRAVIX_NULL_ARGUMENT;
  if (Empty()) return DRAVIX_NO_RESULT;
  *size = dravix::base::SizeOf(RecordOf(*this));
  return DRAVIX_OK;
}

std::int32_t Dravix::ToBuffer(char* buffer, std::uint64_t* size) const {
  AlgoLogInfo("Dravix::ToBuffer");
  if (buffer == nullptr || size == nullptr) return DRAVIX_NULL_ARGUMENT;
  return dravix::base::PutIntoBuffer(RecordOf(*this), buffer, size);
}

std::int32_t Dravix::FromBuffer(const char* bytes, std::int64_t length) {
  AlgoLogInfo("Dravix::FromBuffer");
  if (bytes == nullptr) return DRAVIX_NULL_ARGUMENT;
  const auto size = static_cast<std::size_t>(length < 0 ? 0 : length);
  return dravix::base::ReadRecord(dravix::base::ViewOf(bytes, size), kBufferHeaderTexts,
                                  [this](auto& in) { ReadResult(in, *this); });
}
