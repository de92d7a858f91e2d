/// Every method of the installed headers, and every export, that writes or reads a file.
#pragma once

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include <functional>
#include <string>
#include <vector>

namespace dravix::test {

/// What the methods are called on.
struct Objects {
  Objects();
  Objects(const Objects&) = delete;
  Objects& operator=(const Objects&) = delete;
  ~Objects();
  Shot shot;        ///< one plane, with all groups
  Shot colorShot;   ///< three planes
  RegionOI region;  ///< with a mask
  DravixHandle handle = nullptr;
};

struct Saver {
  std::string name;
  std::string extension;
  /// Writes the file; true for success. False, or an exception, for a failure.
  std::function<bool(const Objects&, const std::string& fullname)> save;
};
std::vector<Saver> Savers();

struct Loader {
  std::string name;
  std::string extension;
  std::string bytes;  ///< of a file that it reads
  /// Reads the file; true for success.
  std::function<bool(Objects&, const std::string& fullname)> load;
};
std::vector<Loader> Loaders();

/// The bytes of everything that a Loader may change.
std::string BytesOf(const Objects& objects);

}  // namespace dravix::test
