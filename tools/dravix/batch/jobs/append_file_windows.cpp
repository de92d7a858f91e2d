#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "batch/jobs/append_file.h"

namespace dravix::tool {
namespace {

std::error_code LastReason() { return {static_cast<int>(GetLastError()), std::system_category()}; }

}  // namespace

AppendFile::~AppendFile() {
  if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

/// Other processes may read the file, but as long as it is open here none may open it for writing.
AppendFile::Opened AppendFile::TryOpen(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ,
                                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    handle_ = reinterpret_cast<std::intptr_t>(file);
    return Opened::kYes;
  }
  const bool isInUse = GetLastError() == ERROR_SHARING_VIOLATION;
  reason_ = LastReason();
  return isInUse ? Opened::kInUse : Opened::kNo;
}

std::error_code AppendFile::Write(std::string_view bytes) const {
  while (!bytes.empty()) {
    DWORD written = 0;
    const BOOL done = WriteFile(reinterpret_cast<HANDLE>(handle_), bytes.data(),
                                static_cast<DWORD>(bytes.size()), &written, nullptr);
    if (done == FALSE) return LastReason();
    bytes.remove_prefix(written);
  }
  return {};
}

}  // namespace dravix::tool
