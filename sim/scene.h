/// Scenes: what stands before the simulated camera, in numbers. Everything has a default, so that a
/// scene names only what it is about. The same scene gives the same bytes everywhere.
///
/// Two coordinate systems: LED units on the screen (x to the right, y down; LED (column, row) has
/// its centre at column + 0.5, row + 0.5 and the lit block spans 0 to ledWidth, 0 to ledHeight) and
/// photograph pixels (pixel centres at integers).
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::sim {

/// A reason for LEDs to differ; all of them act together as factors of the mean.
struct Luminance {
  double mean = 1.0;            ///< of an undisturbed LED; any unit, see Sensor::exposure
  double gradientX = 0.0;       ///< right edge against left edge, relative: 0.2 is -10 % to +10 %
  double gradientY = 0.0;       ///< bottom edge against top edge, relative
  double scatter = 0.0;         ///< relative standard deviation from LED to LED
  double moduleSpread = 0.0;    ///< relative standard deviation from module to module
  int moduleWidth = 16;         ///< LEDs
  int moduleHeight = 16;        ///< LEDs
  double deadShare = 0.0;       ///< share of LEDs that are dark, 0..1, at random places
  double hotShare = 0.0;        ///< share of LEDs that are too bright, 0..1
  double hotFactor = 1.5;       ///< how much brighter those are
  std::vector<cv::Point> dead;  ///< further dark LEDs: column, row
  cv::Mat matrix;  ///< CV_32FC1, ledHeight x ledWidth; when given, instead of all above
};

struct Screen {
  int ledWidth = 64;         ///< LEDs across that are lit, >= 1
  int ledHeight = 48;        ///< LEDs down that are lit, >= 1
  double emitterFill = 0.4;  ///< side of the square emitter as a share of the pitch, 0 < fill <= 1
  Luminance luminance;
};

/// Where the screen stands. The middle of the screen is photographed at `centre`.
struct Pose {
  double pitch = 8.0;  ///< camera pixels from LED to LED at the middle of the screen, 4..12
  cv::Point2d offset;  ///< of the screen's middle from the photograph's middle, pixels
  double tiltX = 0.0;  ///< degrees about the horizontal axis; positive: the bottom is farther away
  double tiltY = 0.0;  ///< degrees about the vertical axis; positive: the right is nearer
  double roll = 0.0;   ///< degrees in the picture, positive clockwise
  double distance = 3.0;  ///< camera from screen, in longer sides of the screen; > 1
};

enum class Defocus { kDisk, kGaussian };

struct Optics {
  Defocus defocus = Defocus::kGaussian;
  double blur = 0.5;        ///< disk: radius, Gaussian: sigma; in pitches (at the middle)
  double distortion = 0.0;  ///< radial shift at the photograph's corner, relative: 0.01 is 1 %
                            ///< pincushion, -0.01 is 1 % barrel
  double vignetting = 0.0;  ///< loss of light at the photograph's corner, 0..1
  double strayLight = 0.0;  ///< even veil, in units of luminance
};

/// How a colour sensor is laid out; named by its first two rows.
enum class Mosaic { kNone, kRggb, kBggr, kGrbg, kGbrg };

struct Sensor {
  int width = 0;             ///< pixels; 0: as small as the screen and `margin` allow
  int height = 0;            ///< pixels; 0: likewise
  int margin = 40;           ///< pixels left free around the screen where the size is not given
  int bits = 12;             ///< 8, 10, 12, 14 or 16: the largest sample is 2^bits - 1
  double exposure = 0.5;     ///< share of the full scale that luminance 1 reaches on an even area
  double blackLevel = 16.0;  ///< samples in the dark
  double fullWell = 20000;   ///< electrons at full scale: photon noise. 0: none
  double readNoise = 1.5;    ///< samples, standard deviation. 0: none
  Mosaic mosaic = Mosaic::kNone;
  double red = 0.25, green = 1.0, blue = 0.15;  ///< what each filter of a mosaic lets through, 0..1
};

/// The second picture of the same pose: blocks of block x block LEDs, lit and dark by turns. The
/// last column and the last row are narrower where the block does not divide the screen.
struct Checkerboard {
  int block = 8;                   ///< LEDs along a block, >= 1
  bool firstLit = true;            ///< whether the top-left block is lit
  double contrast = 1000.0;        ///< lit level over dark level; the dark blocks still glow
  double levelRatio = 1.0;         ///< brightest lit block over the darkest one, by chance; >= 1
  cv::Point deadBlock = {-1, -1};  ///< column, row of a block that stays dark; -1, -1: none
  double luminance = 1.0;          ///< of a lit block, relative to the measured picture
};

/// A soft, round, bright spot on a wall or floor, in both pictures.
struct Reflection {
  double level = 0.0;   ///< at its middle, in units of luminance; 0: none
  cv::Point2d centre;   ///< photograph pixels
  double radius = 0.0;  ///< pixels, where it has faded to nothing
};

/// What is written into the shot beside the pixels.
struct Metadata {
  std::int32_t camera = 1200;  ///< cam_type is camera * 100 + bits
  std::int32_t lens = 35;
  std::int32_t exposure = 20000, gain = 1, aperture = 56, microfocus = 0, filter = 1;
  std::int32_t intervalX = 1, intervalY = 1;  ///< one LED of each interval is lit
  std::uint32_t type = 0x02;                  ///< a ShotType: CIE_Y, or CAM_G and the like
  int partitionX = 0, partitionY = 0;         ///< first LED on the whole screen
  int screenWidth = 0, screenHeight = 0;      ///< LEDs of the whole screen; 0: just this block
};

struct Scene {
  std::string name = "scene";
  std::uint64_t seed = 1;  ///< of luminances, block levels and noise
  Screen screen;
  Pose pose;
  Optics optics;
  Sensor sensor;
  Checkerboard checkerboard;
  Reflection reflection;
  Metadata metadata;
};

/// The numbers of blocks across and down.
cv::Size GridOf(const Scene& scene);
/// LEDs in the last column's and the last row's blocks.
cv::Size LastBlockOf(const Scene& scene);
/// The photograph's size in pixels: as given, or as the margin demands.
cv::Size PhotoSizeOf(const Scene& scene);

}  // namespace dravix::sim
