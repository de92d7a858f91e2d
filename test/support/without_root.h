/// A user for whom permissions count: tests of what may not be written run as root too.
#pragma once

#ifndef _WIN32
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace dravix::test {

/// While it lives, a process that root runs acts as a user without rights to whom `folder` belongs.
/// Under any other user it changes nothing.
class WithoutRoot {
 public:
  explicit WithoutRoot(const std::filesystem::path& folder) : user_(geteuid()), group_(getegid()) {
    if (user_ != 0) return;
    EXPECT_EQ(chown(folder.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(setegid(kNobody), 0);
    EXPECT_EQ(seteuid(kNobody), 0);
  }
  WithoutRoot(const WithoutRoot&) = delete;
  WithoutRoot& operator=(const WithoutRoot&) = delete;
  ~WithoutRoot() {
    if (user_ != 0) return;
    EXPECT_EQ(seteuid(user_), 0);
    EXPECT_EQ(setegid(group_), 0);
#ifdef __linux__
    // Changing the user takes from a process the right to look into itself (/proc/self, the leak
    // sanitizer).
    prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
#endif
  }

 private:
  static constexpr unsigned kNobody = 65534;
  uid_t user_;
  gid_t group_;
};

}  // namespace dravix::test
#endif
