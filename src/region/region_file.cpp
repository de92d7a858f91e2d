/// Region files and buffers: frame, rectangle and mask.
#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/region.h>

#include <utility>

#include "base/bytes.h"
#include "base/envelope.h"
#include "base/record.h"
#include "image/mat_record.h"
#include "region/region_state.h"

namespace {

namespace base = dravix::base;
using dravix::region::IsEmpty;

// Some of these texts name the class LedRegion. Hosts look for them as they are.
constexpr base::SaveTexts kSaveTexts = {".roi", "RegionOI::Save--Error :: ext filename mismatch.",
                                        "LedRegion::Save -- Failed to Open file. fullname = %s",
                                        "LedRegion::Save -- Failed to write file. fullname = %s"};
constexpr base::LoadTexts kLoadTexts = {".roi", "LedRegion::Load--Error :: ext filename mismatch.",
                                        "LedRegion::Load -- Failed to Open file. fullname = %s"};
constexpr base::HeaderTexts kFileHeaderTexts = {"LedRegion::Load -- Error file endianness.",
                                                "LedRegion::Load -- Error version in file."};
constexpr base::HeaderTexts kBufferHeaderTexts = {"RegionOI::FromBuffer -- Error file endianness.",
                                                  "RegionOI::FromBuffer -- Error version in file."};

void WriteRecord(const RegionOI& region, base::ByteSink& out) {
  base::WriteHeader(out);
  out.Write(region.frameWidth);
  out.Write(region.frameHeight);
  out.Write(region.rect.x);
  out.Write(region.rect.y);
  out.Write(region.rect.width);
  out.Write(region.rect.height);
  dravix::image::WriteMatRecord(region.mask, out);
}

base::Content RecordOf(const RegionOI& region) {
  return [&region](base::ByteSink& out) { WriteRecord(region, out); };
}

/// Reads what follows mark and version into `region`, which changes when all of it has been read.
/// Fields that are cut short are 0.
base::BodyReader ReaderInto(RegionOI& region) {
  return [&region](base::ByteReader& in) {
    const auto frameWidth = in.ReadOr<std::int32_t>(0);
    const auto frameHeight = in.ReadOr<std::int32_t>(0);
    cv::Rect rect;
    for (int* field : {&rect.x, &rect.y, &rect.width, &rect.height}) *field = in.ReadOr<int>(0);
    region.mask = dravix::image::ReadMatRecord(in);
    region.rect = rect;
    region.frameWidth = frameWidth;
    region.frameHeight = frameHeight;
  };
}

}  // namespace

std::int32_t RegionOI::Save(const std::string& fullname) const {
  AlgoLogInfo("RegionOI::Save");
  return base::SaveRecord(fullname, kSaveTexts, RecordOf(*this));
}

std::int32_t RegionOI::Load(const std::string& fullname) {
  AlgoLogInfo("RegionOI::Load");
  return base::LoadRecord(fullname, kLoadTexts, kFileHeaderTexts, ReaderInto(*this));
}

std::int32_t RegionOI::GetBufferSize(std::size_t* size) const {
  AlgoLogInfo("RegionOI::GetBufferSize");
  if (size == nullptr) return DRAVIX_NULL_ARGUMENT;
  if (IsEmpty(*this)) return DRAVIX_NO_RESULT;
  *size = static_cast<std::size_t>(base::SizeOf(RecordOf(*this)));
  return DRAVIX_OK;
}

std::int32_t RegionOI::ToBuffer(char* buffer, std::size_t* size) const {
  AlgoLogInfo("RegionOI::ToBuffer");
  if (buffer == nullptr || size == nullptr) return DRAVIX_NULL_ARGUMENT;
  std::uint64_t capacity = *size;
  const std::int32_t code = base::PutIntoBuffer(RecordOf(*this), buffer, &capacity);
  *size = static_cast<std::size_t>(capacity);
  return code;
}

std::int32_t RegionOI::FromBuffer(const char* buffer, std::size_t size) {
  AlgoLogInfo("RegionOI::FromBuffer");
  if (buffer == nullptr) return DRAVIX_NULL_ARGUMENT;
  return base::ReadRecord(base::ViewOf(buffer, size), kBufferHeaderTexts, ReaderInto(*this));
}
