#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <new>
#include <vector>

#include "api/guarded.h"
#include "api/result_record.h"
#include "base/log_text.h"
#include "extractor/extractor.h"

using dravix::api::Guarded;

namespace {

template <class... Pointers>
bool AnyNull(const Pointers*... pointers) {
  return (... || (pointers == nullptr));
}

/// The points of `count` pairs x, y.
std::vector<cv::Point> Points(const std::int32_t* corners, std::int32_t count) {
  std::vector<cv::Point> points(static_cast<std::size_t>(count));
  for (cv::Point& point : points) {
    point.x = *corners++;
    point.y = *corners++;
  }
  return points;
}

}  // namespace

std::int32_t DravixCreateHandle(DravixHandle* handle) {
  if (AnyNull(handle)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixCreateHandle", [&] {
    *handle = nullptr;
    *handle = new (std::nothrow) Dravix;
    return DRAVIX_OK;
  });
}

std::int32_t DravixDestroyHandle(DravixHandle /*handle*/) { return DRAVIX_OK; }

std::int32_t DravixExtract(DravixHandle handle, const Shot* shot, const std::int32_t* corners,
                           std::int32_t count, std::int32_t topLedNum, std::int32_t bottomLedNum,
                           std::int32_t rowGroup) {
  if (AnyNull(handle, shot, corners)) return DRAVIX_NULL_ARGUMENT;
  if (count < 3 || count > 4) return DRAVIX_WRONG_CORNER_COUNT;
  return Guarded("DravixExtract", [&] {
    return handle->Extract(shot, Points(corners, count), topLedNum, bottomLedNum, rowGroup);
  });
}

std::int32_t DravixExtractPro(DravixHandle handle, const RegionOI* region, const Shot* shot,
                              const Shot* checkerboardShot, DravixBlockCounts blockCounts,
                              std::int32_t lastWidth, std::int32_t lastHeight) {
  if (AnyNull(handle, region, shot, checkerboardShot)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixExtractPro", [&] {
    return handle->ExtractPro(shot, checkerboardShot, blockCounts, *region, lastWidth, lastHeight);
  });
}

std::int32_t DravixGet(DravixHandle handle, DravixResult* result, std::int32_t copy) {
  if (AnyNull(handle) || AnyNull(result)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixGet", [&] {
    if (handle->Empty()) return DRAVIX_NO_RESULT;
    *result = copy >= 1 ? dravix::api::Copied(handle->resultImage, handle->lum)
                        : dravix::api::Borrowed(handle->resultImage, handle->lum);
    return DRAVIX_OK;
  });
}

std::int32_t DravixRelease(DravixHandle handle) {
  if (AnyNull(handle)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixRelease", [&] {
    handle->Release();
    return DRAVIX_OK;
  });
}

std::int32_t DravixSave(DravixHandle handle, const char* fullname) {
  if (AnyNull(handle) || AnyNull(fullname)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixSave", [&] { return handle->Save(fullname); });
}

std::int32_t DravixLoad(DravixHandle handle, const char* fullname) {
  if (AnyNull(handle) || AnyNull(fullname)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixLoad", [&] { return handle->Load(fullname); });
}

std::int32_t DravixGetBufferSize(DravixHandle handle, std::uint64_t* size) {
  if (AnyNull(handle) || AnyNull(size)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixGetBufferSize", [&] { return handle->GetBufferSize(size); });
}

std::int32_t DravixToBuffer(DravixHandle handle, char* buffer, std::uint64_t* size) {
  if (AnyNull(handle) || AnyNull(size)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixToBuffer", [&] { return handle->ToBuffer(buffer, size); });
}

std::int32_t DravixFromBuffer(DravixHandle handle, const char* bytes, std::int64_t length) {
  if (AnyNull(handle)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixFromBuffer", [&] { return handle->FromBuffer(bytes, length); });
}

std::int32_t DravixExportImage(DravixHandle handle, const char* fullname, std::int32_t colored) {
  if (AnyNull(handle) || AnyNull(fullname)) return DRAVIX_NULL_ARGUMENT;
  return Guarded("DravixExportImage", [&] {
    if (handle->Empty()) return std::int32_t{DRAVIX_NO_RESULT};
    const std::int32_t code = handle->ExportImage(fullname, colored >= 1);
    if (code == DRAVIX_CANNOT_WRITE) {
      dravix::base::LogError("DravixExportImage: the picture cannot be written, fullname = %s",
                             fullname);
    }
    return code;
  });
}
