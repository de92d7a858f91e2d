/// Files that other programs make for a test, in a folder of their own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <opencv2/core.hpp>
#include <string>

#include "support/mats.h"
#include "support/temp_dir.h"
#include "tools/camera_bytes.h"

namespace dravix::test {

/// Whether a program is installed. Tests that need one skip without it.
inline bool Has(const std::string& program) {
#ifdef _WIN32
  static_cast<void>(program);
  return false;
#else
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
#endif
}

/// A folder in which programs make picture files of random samples, 36 x 24 pixels.
class MadeFiles {
 public:
  MadeFiles() { Spill(File("in.raw"), Samples(samples)); }

  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  /// Runs a shell's command line in the folder; a test fails where it does.
  void Run(const std::string& command) const {
    ASSERT_EQ(std::system(("cd '" + folder_.Path().string() + "' && " + command).c_str()), 0)
        << command;
  }

  const cv::Mat samples = RandomMat({36, 24}, CV_16UC1, 91, 0, 65536);

 private:
  TempDir folder_;
};

/// ImageMagick's words for the samples as its input.
inline constexpr const char* kMagick =
    "convert -size 36x24 -depth 16 -endian LSB gray:in.raw +set date:create ";

}  // namespace dravix::test

/// Skips the test when one of the programs is not installed.
#define DRAVIX_NEEDS(program) \
  if (!dravix::test::Has(program)) GTEST_SKIP() << program << " is not installed"
