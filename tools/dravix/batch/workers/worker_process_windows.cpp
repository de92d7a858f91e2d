#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <system_error>

#include "batch/workers/worker_process.h"

namespace dravix::tool {
namespace {

struct Pipe {
  HANDLE from = nullptr, to = nullptr;
};

void CloseEnd(HANDLE& end) {
  if (end != nullptr) CloseHandle(end);
  end = nullptr;
}

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

Pipe MakePipe() {
  Pipe made;
  if (CreatePipe(&made.from, &made.to, nullptr, 0) == FALSE) Fail("pipe");
  return made;
}

void Inherit(HANDLE handle) {
  SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

std::wstring OwnProgram() {
  std::wstring name(MAX_PATH, L'\0');
  while (true) {
    const DWORD size = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
    if (size == 0) Fail("the own program's name");
    if (size < name.size()) {
      name.resize(size);
      return name;
    }
    name.resize(name.size() * 2);
  }
}

/// Words of this program's own choice, which need no quotation marks.
std::wstring CommandLine(const std::vector<std::string>& words) {
  std::wstring line = L"dravix";
  for (const std::string& word : words) {
    line += L' ';
    line.append(word.begin(), word.end());
  }
  return line;
}

bool WriteAll(HANDLE to, std::string_view bytes) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto count = static_cast<DWORD>(std::min(kPiece, bytes.size()));
    if (WriteFile(to, bytes.data(), count, &written, nullptr) == FALSE) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

}  // namespace

struct WorkerProcess::Handles {
  HANDLE process = nullptr;
  HANDLE questions = nullptr, answers = nullptr;
};

WorkerProcess::WorkerProcess(const std::vector<std::string>& words)
    : handles_(std::make_unique<Handles>()) {
  // A process inherits all handles that may be inherited at that moment. One worker must not get
  // those of another, which would keep its pipes open.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  Pipe questions = MakePipe();
  Pipe answers = MakePipe();
  Inherit(questions.from);
  Inherit(answers.to);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = questions.from;
  startup.hStdOutput = answers.to;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  std::wstring line = CommandLine(words);
  const BOOL done = CreateProcessW(OwnProgram().c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                   nullptr, nullptr, &startup, &started);
  const DWORD reason = GetLastError();
  CloseEnd(questions.from);
  CloseEnd(answers.to);
  handles_->questions = questions.to;
  handles_->answers = answers.from;
  if (done == FALSE) {
    Close();
    throw std::system_error(static_cast<int>(reason), std::system_category(),
                            "a worker cannot be started");
  }
  CloseHandle(started.hThread);
  handles_->process = started.hProcess;
}

WorkerProcess::~WorkerProcess() { static_cast<void>(HowItEnded()); }

void WorkerProcess::Close() {
  CloseEnd(handles_->questions);
  CloseEnd(handles_->answers);
}

bool WorkerProcess::Send(std::string_view line) { return WriteAll(handles_->questions, line); }

std::size_t WorkerProcess::Read(char* to, std::size_t count) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  DWORD bytes = 0;
  const auto most = static_cast<DWORD>(std::min(kPiece, count));
  return ReadFile(handles_->answers, to, most, &bytes, nullptr) == FALSE ? 0 : bytes;
}

std::string WorkerProcess::HowItEnded() {
  Close();
  if (handles_->process == nullptr) return "was not started";
  WaitForSingleObject(handles_->process, INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(handles_->process, &code);
  CloseEnd(handles_->process);
  return "ended with code " + std::to_string(code);
}

AnswerStream::AnswerStream() : descriptor_(_dup(_fileno(stdout))) {
  _setmode(descriptor_, _O_BINARY);
  _dup2(_fileno(stderr), _fileno(stdout));
}

AnswerStream::~AnswerStream() {
  if (descriptor_ >= 0) _close(descriptor_);
}

bool AnswerStream::Send(std::string_view bytes) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  while (!bytes.empty()) {
    const auto count = static_cast<unsigned>(std::min(kPiece, bytes.size()));
    const int written = _write(descriptor_, bytes.data(), count);
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace dravix::tool
