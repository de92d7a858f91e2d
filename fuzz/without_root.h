/// Saving as a user for whom permissions count. Linux only.
#pragma once

#ifdef __linux__

#include <sys/prctl.h>
#include <unistd.h>

#include <filesystem>

#include "fuzz/target.h"

namespace dravix::fuzz {

/// While it lives, a process that root runs has no more rights than the owner of `folder`.
class WithoutRoot {
 public:
  explicit WithoutRoot(const std::filesystem::path& folder) : user_(geteuid()), group_(getegid()) {
    if (user_ != 0) return;
    constexpr unsigned kNobody = 65534;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      Own(entry.path(), kNobody);
    Own(folder, kNobody);
    Require(setegid(kNobody) == 0 && seteuid(kNobody) == 0, "root can become somebody else");
  }
  WithoutRoot(const WithoutRoot&) = delete;
  WithoutRoot& operator=(const WithoutRoot&) = delete;
  ~WithoutRoot() {
    if (user_ != 0) return;
    Require(seteuid(user_) == 0 && setegid(group_) == 0, "root can become root again");
    // Changing the user takes from a process the right to look into itself, as sanitizers do.
    prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
  }

 private:
  static void Own(const std::filesystem::path& path, unsigned user) {
    Require(chown(path.c_str(), user, user) == 0, "root can give files away");
  }
  uid_t user_;
  gid_t group_;
};

}  // namespace dravix::fuzz

#endif
