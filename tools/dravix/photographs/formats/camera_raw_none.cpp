// Stands for the reader of cameras' raw files where the tool is built without LibRaw.
#include "photographs/formats/camera_raw.h"
#include "terminal/failure.h"

namespace dravix::tool {

CameraPicture ReadCameraRaw(const std::string& name, std::string& /*bytes*/) {
  throw InputFailure(name,
                     "is a camera's raw file, or a DNG that is compressed or packed: this build of "
                     "dravix cannot read it, expected one with the CMake option DRAVIX_LIBRAW");
}

std::string CameraRawDecoder() { return {}; }

}  // namespace dravix::tool
