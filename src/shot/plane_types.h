/// What a ShotType says about the planes of an image.
#pragma once

#include <dravix/shot.h>

#include <bit>
#include <cstdint>

namespace dravix::shot {

/// True for the six types of one plane.
[[nodiscard]] constexpr bool IsSinglePlane(std::uint32_t type) {
  constexpr std::uint32_t kAll = CIE_XYZ | CAM_RGB;
  return std::has_single_bit(type) && (type & kAll) != 0;
}

/// True for camera red, green, blue and all three.
[[nodiscard]] constexpr bool IsCameraType(std::uint32_t type) {
  return type == CAM_R || type == CAM_G || type == CAM_B || type == CAM_RGB;
}

/// True for CIE X, Y, Z and all three.
[[nodiscard]] constexpr bool IsCieType(std::uint32_t type) {
  return type == CIE_X || type == CIE_Y || type == CIE_Z || type == CIE_XYZ;
}

/// The plane of a single camera type in a color image: red is 0, green 1, blue 2.
[[nodiscard]] constexpr int CameraPlane(std::uint32_t type) { return static_cast<int>(type / 32); }

/// The plane of a single CIE type: X is 0, Y 1, Z 2.
[[nodiscard]] constexpr int CiePlane(std::uint32_t type) { return static_cast<int>(type / 2); }

}  // namespace dravix::shot
