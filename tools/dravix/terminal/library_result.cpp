#include "terminal/library_result.h"

#include <dravix/dravix.h>

#include <array>

#include "terminal/library_log.h"

namespace dravix::tool {
namespace {

/// A cause that the library logs but that shares its code with others. The log lines themselves
/// name functions and conditions of the source and are not shown.
struct Cause {
  const char* logged;  ///< part of the line
  const char* text;
};
constexpr std::array kCauses = {
    Cause{
        "greater than led width",
        "a row of --top-leds or --bottom-leds is greater than led width, the LEDs across that the "
        "pattern counts"},
    Cause{"three of the corners lie on one line", "three of the corners lie on one line"},
    Cause{"more than a result can hold", "the pattern counts more LEDs than a result can hold"}};

}  // namespace

std::string CodeText(std::int32_t code) {
  switch (code) {
    case DRAVIX_OK:
      return "done";
    case DRAVIX_NULL_ARGUMENT:
      return "it holds nothing to work on";
    case DRAVIX_CANNOT_READ:
      return "it cannot be read";
    case DRAVIX_WRONG_VERSION:
      return "its format version is not 1";
    case DRAVIX_CANNOT_WRITE:
      return "it cannot be written";
    case DRAVIX_NO_RESULT:
      return "it holds no data";
    case DRAVIX_WRONG_EXTENSION:
      return "its name has the wrong extension";
    case DRAVIX_BAD_ARGUMENT:
      return "corners, LED counts or the lit area do not fit";
    case DRAVIX_WRONG_BYTE_ORDER:
      return "it does not begin with 'L'";
    case DRAVIX_UNKNOWN_CAMERA:
      return "the sensor size of that camera type is not known";
    case DRAVIX_SHOT_MISMATCH:
      return "the two shots differ in size or type";
    case DRAVIX_PATTERN_MISMATCH:
      return "pattern and partition disagree on the lit LEDs";
    case DRAVIX_BAD_PATTERN:
      return "the pattern is missing or not possible";
    case DRAVIX_NO_DEVICE:
      return "the shot has no device";
    case DRAVIX_BAD_PANEL:
      return "the panel is missing or empty";
    case DRAVIX_BAD_PARTITION:
      return "the partition is empty or leaves the screen";
    case DRAVIX_BAD_IMAGE:
      return "its pixels do not suit this";
    case DRAVIX_BAD_TYPE:
      return "its plane type does not suit this";
    case DRAVIX_NO_COLOR:
      return "the shot has no color";
    case DRAVIX_NO_MOSAIC_CODE:
      return "the mosaic code does not exist";
    case DRAVIX_NO_LED_AREA:
      return "no lit area was found";
    case DRAVIX_NOT_FOUR_CORNERS:
      return "the corners are not two above and two below their mean height";
    case DRAVIX_NO_PERSPECTIVE:
      return "the region has no perspective yet";
    case DRAVIX_CORNER_OUTSIDE:
      return "a corner lies outside the frame";
    case DRAVIX_NO_CORNERS:
      return "the lit area's four corners could not be found";
    case DRAVIX_WRONG_CORNER_COUNT:
      return "there must be four corners";
    case DRAVIX_BAD_BLOCKS:
      return "the blocks do not divide the LEDs";
    case DRAVIX_NO_GRID:
      return "the checkerboard's cells do not fit the grid";
    default:
      return "it failed";
  }
}

std::string Explained(std::int32_t code) {
  const std::string line = TakeLibraryError();
  const std::string number = " (code " + std::to_string(code);
  for (const Cause& cause : kCauses) {
    if (line.find(cause.logged) != std::string::npos) return cause.text + number + ")";
  }
  return CodeText(code) + number + (line.empty() ? ")" : "; -v shows the library's log)");
}

}  // namespace dravix::tool
