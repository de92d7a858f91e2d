// Tests dravix.dll as a host uses it that knows only its name: the DLL is loaded by hand, and its
// functions are looked up one by one. Shots and regions are made with this program's own copy of
// the library.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "extractor/extractor.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

// tlhelp32.h needs what windows.h declares.
// clang-format off
#include <windows.h>
#include <tlhelp32.h>
// clang-format on

namespace {

using dravix::test::LogCapture;
using dravix::test::TempDir;

constexpr std::array kNames = {"DravixCreateHandle", "DravixDestroyHandle", "DravixExtract",
                               "DravixExtractPro",   "DravixGet",           "DravixRelease",
                               "DravixSave",         "DravixLoad",          "DravixGetBufferSize",
                               "DravixToBuffer",     "DravixFromBuffer",    "DravixExportImage"};

/// Keeps the DLL beside this program loaded for as long as the object lives.
class Library {
 public:
  Library() : module_(LoadLibraryW(L"dravix.dll")) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  bool Loaded() const { return module_ != nullptr; }
  FARPROC Find(const char* name) const { return GetProcAddress(module_, name); }
  template <class Function>
  Function* Get(const char* name) const {
    const FARPROC found = Find(name);
    Function* function = nullptr;
    static_assert(sizeof(function) == sizeof(found));
    std::memcpy(&function, &found, sizeof(found));
    return function;
  }

 private:
  HMODULE module_;
};

// Looks up a function and gives it the type of its declaration.
#define DRAVIX_FUNCTION(library, name) (library).Get<decltype(::name)>(#name)

class DllTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(library_.Loaded()) << "error " << GetLastError();
    ASSERT_EQ(DRAVIX_FUNCTION(library_, DravixCreateHandle)(&handle_), DRAVIX_OK);
  }
  template <class Function, class... Arguments>
  std::int32_t Call(const char* name, Arguments... arguments) {
    return library_.Get<Function>(name)(handle_, arguments...);
  }
  const Library& Dll() const { return library_; }
  DravixHandle Handle() const { return handle_; }

  /// A photograph of 48 x 32 evenly lit LEDs with 8 pixels per LED.
  static Shot Screen() {
    Shot shot;
    shot.type = CIE_Y;
    shot.image = cv::Mat(420, 600, CV_16UC1, cv::Scalar(20));
    shot.image(cv::Rect(100, 80, 384, 256)).setTo(3000);
    shot.pattern = Shot::Pattern{};
    shot.pattern->lighted_led_w = 48;
    shot.pattern->lighted_led_h = 32;
    shot.device = Shot::Device{};
    shot.device->cam_type = 112;
    return shot;
  }
  static std::vector<std::int32_t> Corners() { return {100, 80, 483, 80, 483, 335, 100, 335}; }

  std::int32_t Measure(const Shot& shot) {
    const std::vector<std::int32_t> corners = Corners();
    return DRAVIX_FUNCTION(library_, DravixExtract)(handle_, &shot, corners.data(), 4, 0, 0, 1);
  }
  std::vector<char> Bytes() {
    std::uint64_t size = 0;
    EXPECT_EQ(DRAVIX_FUNCTION(library_, DravixGetBufferSize)(handle_, &size), DRAVIX_OK);
    std::vector<char> bytes(static_cast<std::size_t>(size));
    EXPECT_EQ(DRAVIX_FUNCTION(library_, DravixToBuffer)(handle_, bytes.data(), &size), DRAVIX_OK);
    return bytes;
  }

 private:
  Library library_;
  DravixHandle handle_ = nullptr;
};

bool Exists(const std::wstring& name) { return std::filesystem::exists(name); }

std::wstring Wide(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

/// The name as Windows understands it in its code page; empty where it has no such characters.
std::wstring InCodePage(const std::string& name) {
  std::wstring wide(name.size() * 2, L'\0');
  const int length =
      MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, name.data(), static_cast<int>(name.size()),
                          wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

int ThreadsOfThisProcess() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  int count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more != 0;
       more = Thread32Next(snapshot, &entry))
    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  CloseHandle(snapshot);
  return count;
}

TEST_F(DllTest, FindsEachOfTheTwelveFunctionsByName) {
  for (const char* name : kNames) EXPECT_NE(Dll().Find(name), nullptr) << name;
}

TEST_F(DllTest, RefusesNullArgumentsInEveryFunctionThatTakesPointers) {
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixCreateHandle)(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixDestroyHandle)(nullptr), DRAVIX_OK);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixExtract)(Handle(), nullptr, nullptr, 4, 0, 0, 1),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(
      DRAVIX_FUNCTION(Dll(), DravixExtractPro)(Handle(), nullptr, nullptr, nullptr, {2, 2}, -1, -1),
      DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixGet)(nullptr, nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixRelease)(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixSave)(Handle(), nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixLoad)(Handle(), nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixGetBufferSize)(Handle(), nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixToBuffer)(Handle(), nullptr, nullptr),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixFromBuffer)(Handle(), nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixExportImage)(Handle(), nullptr, 0), DRAVIX_NULL_ARGUMENT);
}

TEST_F(DllTest, MeasuresTheSameBytesAsTheStaticLibrary) {
  const Shot shot = Screen();
  ASSERT_EQ(Measure(shot), DRAVIX_OK);
  const LogCapture log;  // sees what this program's own copy logs
  Dravix direct;
  ASSERT_EQ(direct.Extract(&shot, {{100, 80}, {483, 80}, {483, 335}, {100, 335}}, 0, 0, 1), 0);
  std::uint64_t size = 0;
  ASSERT_EQ(direct.GetBufferSize(&size), 0);
  std::vector<char> expected(static_cast<std::size_t>(size));
  ASSERT_EQ(direct.ToBuffer(expected.data(), &size), 0);
  EXPECT_EQ(Bytes(), expected);
  EXPECT_THAT(log.Errors(), testing::IsEmpty());
}

TEST_F(DllTest, TakesBlockCountsInOneRegisterWithThoseAcrossInItsLowHalf) {
  using Function = std::int32_t(DravixHandle, const RegionOI*, const Shot*, const Shot*,
                                std::uint64_t, std::int32_t, std::int32_t);
  const Shot shot = Screen();
  const RegionOI empty;
  const auto call = [&](std::uint64_t across, std::uint64_t down) {
    return Dll().Get<Function>("DravixExtractPro")(Handle(), &empty, &shot, &shot,
                                                   across | down << 32U, -1, -1);
  };
  // 3 blocks divide 48 LEDs but not 32. Where the blocks fit, the empty region is refused next.
  EXPECT_EQ(call(3, 2), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(call(2, 3), DRAVIX_BAD_BLOCKS);
}

TEST_F(DllTest, SavesLoadsAndExportsUnderNamesInUtf8) {
  const TempDir folder;
  const std::string name = folder.File("Größe 屏幕");
  const Shot shot = Screen();
  ASSERT_EQ(Measure(shot), DRAVIX_OK);
  const std::vector<char> measured = Bytes();
  ASSERT_EQ(DRAVIX_FUNCTION(Dll(), DravixSave)(Handle(), (name + ".lum").c_str()), DRAVIX_OK);
  ASSERT_EQ(DRAVIX_FUNCTION(Dll(), DravixExportImage)(Handle(), (name + ".png").c_str(), 0),
            DRAVIX_OK);
  EXPECT_TRUE(Exists(Wide(folder.File("")) + L"Gr\u00f6\u00dfe \u5c4f\u5e55.lum"));
  EXPECT_TRUE(Exists(Wide(folder.File("")) + L"Gr\u00f6\u00dfe \u5c4f\u5e55.png"));
  ASSERT_EQ(DRAVIX_FUNCTION(Dll(), DravixRelease)(Handle()), DRAVIX_OK);
  ASSERT_EQ(DRAVIX_FUNCTION(Dll(), DravixLoad)(Handle(), (name + ".lum").c_str()), DRAVIX_OK);
  EXPECT_EQ(Bytes(), measured);
}

TEST_F(DllTest, TakesNamesThatAreNotUtf8InTheSystemsCodePage) {
  const TempDir folder;
  const std::string name = folder.Path().string() + "\\Gr\xf6\xdf";
  const std::wstring wide = InCodePage(name);
  if (wide.empty()) GTEST_SKIP() << "the code page has no such characters";
  const Shot shot = Screen();
  ASSERT_EQ(Measure(shot), DRAVIX_OK);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixSave)(Handle(), (name + ".lum").c_str()), DRAVIX_OK);
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixExportImage)(Handle(), (name + ".png").c_str(), 0),
            DRAVIX_OK);
  EXPECT_TRUE(Exists(wide + L".lum"));
  EXPECT_TRUE(Exists(wide + L".png"));
  EXPECT_EQ(DRAVIX_FUNCTION(Dll(), DravixLoad)(Handle(), (name + ".lum").c_str()), DRAVIX_OK);
}

TEST(DllLoading, StartsNoThreadAndUnloadsCompletely) {
  const int before = ThreadsOfThisProcess();
  for (int i = 0; i < 20; ++i) {
    const Library library;
    ASSERT_TRUE(library.Loaded());
    EXPECT_EQ(ThreadsOfThisProcess(), before);
  }
  EXPECT_EQ(GetModuleHandleW(L"dravix.dll"), nullptr);
}

}  // namespace
