#include "stored/photograph_inputs.h"

#include <opencv2/core.hpp>
#include <string_view>

#include "stored/stored_data.h"
#include "terminal/failure.h"
#include "terminal/text_values.h"

namespace dravix::tool {
namespace {

/// `found` is the size that the file `name` was made for; `says` introduces it in the message.
void RequireSizeOf(const std::string& photoName, const Shot& photo, const std::string& name,
                   cv::Size found, std::string_view says, std::string_view advice) {
  const cv::Size expected = photo.image.size();
  if (found == expected) return;
  throw InputFailure(name, std::string(says) + " " + SizeText(found) + " pixels, expected " +
                               SizeText(expected) + " as in " + photoName + ": " +
                               std::string(advice));
}

}  // namespace

RegionOI LoadRegionOf(const std::string& name, const std::string& photoName, const Shot& photo) {
  RegionOI region = LoadRegion(name);
  RequireSizeOf(photoName, photo, name, {region.frameWidth, region.frameHeight},
                "refers to a frame of", "find or set the region in this photograph");
  return region;
}

void RequireCheckerboardOf(const std::string& name, const Shot& board, const std::string& photoName,
                           const Shot& photo) {
  RequireSizeOfPhotograph(name, board, photoName, photo,
                          "both must be taken by one camera from one place");
}

void RequireSizeOfPhotograph(const std::string& name, const Shot& other,
                             const std::string& photoName, const Shot& photo,
                             const std::string& advice) {
  RequireSizeOf(photoName, photo, name, other.image.size(), "is a photograph of", advice);
}

void RequireSameCamera(const std::string& name, const Shot& other, const std::string& photoName,
                       const Shot& photo) {
  RequireSizeOfPhotograph(name, other, photoName, photo,
                          "both must be taken by one camera with one lens");
  if (other.image.channels() != 1) {
    throw InputFailure(name, "holds " + std::to_string(other.image.channels()) +
                                 " planes, expected one as in " + photoName + ": give --channel");
  }
  if (other.type == photo.type) return;
  throw InputFailure(name, "holds the plane " + TypeName(other.type) + ", expected " +
                               TypeName(photo.type) + " as in " + photoName);
}

}  // namespace dravix::tool
