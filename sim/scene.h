/// A scene describes in numbers what stands before the simulated camera, and the camera itself.
/// Every number has a default, so a scene only has to name what it is about. The same scene gives
/// the same bytes on every machine.
///
/// There are two coordinate systems. LED units count lit LEDs: x points to the right, y points
/// down, the center of lit LED (column, row) is at (column + 0.5, row + 0.5), and the cells of the
/// lit LEDs span 0 to their number across and down. Where all LEDs are lit, an LED unit is the
/// pitch of the screen; where one of every two is, it is twice the pitch. Photograph pixels have
/// their centers at integers.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::sim {

/// The reasons why LEDs differ. All of them act together, as factors of the mean.
struct Luminance {
  double mean = 1.0;            ///< of an undisturbed LED, in any unit (see Sensor::exposure)
  double gradientX = 0.0;       ///< right edge against left edge, relative: 0.2 is -10 % to +10 %
  double gradientY = 0.0;       ///< bottom edge against top edge, relative
  double scatter = 0.0;         ///< relative standard deviation from LED to LED
  double moduleSpread = 0.0;    ///< relative standard deviation from module to module
  int moduleWidth = 16;         ///< LEDs
  int moduleHeight = 16;        ///< LEDs
  double deadShare = 0.0;       ///< share of the LEDs that are dark, at random places, 0..1
  double hotShare = 0.0;        ///< share of the LEDs that are too bright, 0..1
  double hotFactor = 1.5;       ///< luminance of these over that of the others
  std::vector<cv::Point> dead;  ///< LEDs that are dark as well: column, row
  cv::Mat matrix;  ///< CV_32FC1, of the screen's size; replaces all of the above unless empty
  cv::Mat gains;   ///< CV_32FC1, of the screen's size, what a correction multiplies each LED by;
                   ///< empty: 1
};

struct Screen {
  int ledWidth = 64;         ///< number of lit LEDs across, >= 1; not used with WholeScreen
  int ledHeight = 48;        ///< number of lit LEDs down, >= 1; not used with WholeScreen
  double emitterFill = 0.4;  ///< side of the square emitter as a share of the pitch, 0 < fill <= 1
  Luminance luminance;
};

/// A large screen of which one part is photographed, with some of its LEDs lit. Each LED of it has
/// one luminance a plane, whatever part of the screen, which LEDs and which camera.
///
/// The planes are the screen's primaries: CIE_X and CAM_R show the red LEDs, CIE_Y and CAM_G the
/// green ones, CIE_Z and CAM_B the blue ones. Each primary has a level of its own, and LEDs that
/// differ and fail on their own.
struct WholeScreen {
  int ledWidth = 0;                   ///< LEDs of the screen across; 0: there is no larger screen
  int ledHeight = 0;                  ///< LEDs of the screen down; 0: there is no larger screen
  int partX = 0, partY = 0;           ///< the part's first LED on the screen
  int partWidth = 0, partHeight = 0;  ///< LEDs of the part; 0: as far as the screen reaches
  int intervalX = 1, intervalY = 1;   ///< one LED of every interval is lit, the others are dark
  int phaseX = 0, phaseY = 0;         ///< the first lit LED of the part; below the interval
};

/// Where the part of the screen that is photographed stands before the camera.
struct Pose {
  double pitch = 8.0;  ///< pixels from LED to LED, lit or not, at the middle; usually 4..12
  cv::Point2d offset;  ///< from the photograph's middle to the screen's middle, pixels
  double tiltX = 0.0;  ///< degrees about the horizontal axis; positive: the bottom is farther away
  double tiltY = 0.0;  ///< degrees about the vertical axis; positive: the right side is nearer
  double roll = 0.0;   ///< degrees in the picture; positive is clockwise
  double distance = 3.0;  ///< from camera to screen, in units of the screen's longer side; > 1
};

enum class Defocus { kDisk, kGaussian };

struct Optics {
  Defocus defocus = Defocus::kGaussian;
  double blur = 0.5;        ///< radius of the disk or sigma of the Gaussian, in units of the pitch
  double distortion = 0.0;  ///< radial shift at the photograph's corner, relative: 0.01 is 1 %
                            ///< pincushion, -0.01 is 1 % barrel
  double vignetting = 0.0;  ///< share of the light that is lost at the photograph's corner, 0..1
  double strayLight = 0.0;  ///< light that lies evenly over the photograph, in units of luminance
  bool fineSpots = false;   ///< spots at their exact places, not at the nearest 1/16 pixel
  double cornerBlur = 0.0;  ///< how much larger the blur is at the photograph's corner, relative;
                            ///< it grows with the square of the distance. Implies fineSpots
};

/// The order of the color filters on the sensor: its first two rows, two pixels each.
enum class Mosaic { kNone, kRggb, kBggr, kGrbg, kGbrg };

struct Sensor {
  int width = 0;             ///< pixels; 0: as small as the screen and `margin` allow
  int height = 0;            ///< pixels; 0: as small as the screen and `margin` allow
  int margin = 40;           ///< free pixels around the screen when the size is not given
  int bits = 12;             ///< 8, 10, 12, 14 or 16; the largest sample is 2^bits - 1
  double exposure = 0.5;     ///< share of the full scale that luminance 1 reaches on an even area
  double blackLevel = 16.0;  ///< sample value in the dark
  double fullWell =
      20000;  ///< electrons at full scale, which set the photon noise; 0: no such noise
  double readNoise = 1.5;  ///< standard deviation in sample values; 0: no such noise
  std::uint64_t noiseSeed =
      0;  ///< another one is another photograph of the same: other noise alone
  Mosaic mosaic = Mosaic::kNone;
  double red = 0.25, green = 1.0, blue = 0.15;  ///< share of the light each filter passes, 0..1
};

/// The second photograph of the same pose shows blocks of `block` x `block` lit LEDs that are
/// bright and dark by turns. Where the block's side does not divide the screen, the last column's
/// or row's blocks are narrower.
struct Checkerboard {
  int block = 8;             ///< LEDs along a block's side, >= 1
  bool firstLit = true;      ///< whether the top-left block is lit
  double contrast = 1000.0;  ///< level of lit blocks over that of dark ones, which glow a little
  double levelRatio = 1.0;   ///< lit blocks get random levels up to this far apart; >= 1
  cv::Point deadBlock = {-1, -1};  ///< column, row of a lit block that is dead; -1, -1: none
  double luminance = 1.0;          ///< of a lit block, relative to the measured photograph
};

/// A soft, round, bright spot, as on a wall or floor, in both photographs.
struct Reflection {
  double level = 0.0;   ///< brightness at its middle, in units of luminance; 0: no reflection
  cv::Point2d center;   ///< photograph pixels
  double radius = 0.0;  ///< pixels from the middle to where it has faded to nothing
};

/// What the shot says beside its pixels. With WholeScreen, intervals, partition and screen are
/// those of the part, not the ones given here.
struct Metadata {
  std::int32_t camera = 1200;  ///< cam_type is camera * 100 + bits
  std::int32_t lens = 35;
  std::int32_t exposure = 20000, gain = 1, aperture = 56, microfocus = 0, filter = 1;
  std::int32_t intervalX = 1, intervalY = 1;  ///< one LED of each interval is lit
  std::uint32_t type = 0x02;                  ///< a ShotType: CIE_Y, or CAM_G and the like
  int partitionX = 0, partitionY = 0;         ///< where the first lit LED is on the whole screen
  int screenWidth = 0, screenHeight = 0;      ///< LEDs of the whole screen; 0: just the lit ones
};

struct Scene {
  std::string name = "scene";
  std::uint64_t seed = 1;  ///< of luminances, block levels and noise
  Screen screen;
  WholeScreen whole;
  Pose pose;
  Optics optics;
  Sensor sensor;
  Checkerboard checkerboard;
  Reflection reflection;
  Metadata metadata;
};

/// The lit LEDs as places on the screen: from `first`, one of every `step`, `count` of them.
struct LitLeds {
  cv::Point first{0, 0}, step{1, 1};
  cv::Size count;
};

/// Whether the scene is a part of a larger screen.
inline bool IsPart(const Scene& scene) {
  return scene.whole.ledWidth > 0 && scene.whole.ledHeight > 0;
}
/// The LEDs of the screen across and down.
cv::Size ScreenSizeOf(const Scene& scene);
/// The LEDs before the camera, lit or not, as a rectangle of the screen.
cv::Rect PartOf(const Scene& scene);
LitLeds LitLedsOf(const Scene& scene);
/// The numbers of checkerboard blocks across and down.
cv::Size GridOf(const Scene& scene);
/// The width of the last column's blocks and the height of the last row's blocks, in LEDs.
cv::Size LastBlockOf(const Scene& scene);
/// How far the light of one LED reaches on the sensor from the LED's center, in whole pixels.
int SpotReachOf(const Scene& scene);
/// The photograph's size in pixels: the sensor's size, or as large as the screen and margin need.
cv::Size PhotoSizeOf(const Scene& scene);

}  // namespace dravix::sim
