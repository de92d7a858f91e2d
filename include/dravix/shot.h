/// Shot: a camera photograph of an LED screen with what is known about its making.
#ifndef DRAVIX_SHOT_H_
#define DRAVIX_SHOT_H_

#include <dravix/export.h>

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

/// Which colour plane or planes a shot's image holds; a bit each.
enum ShotType : std::uint32_t {
  CIE_X = 0x01,
  CIE_Y = 0x02,  ///< luminance
  CIE_Z = 0x04,
  CIE_XYZ = 0x07,  ///< three planes
  CAM_R = 0x10,
  CAM_G = 0x20,
  CAM_B = 0x40,
  CAM_RGB = 0x70,  ///< three planes
};

/// What Shot::Check asks for; flags may be joined.
enum ShotCheck : std::uint32_t {
  CHECK_NOT_NULL = 0x000001,   ///< the shot exists
  CHECK_IMAGE = 0x000002,      ///< the image is not empty
  CHECK_SINGLE = 0x000004,     ///< the type is one plane
  CHECK_SAME_TYPE = 0x000010,  ///< pairs only: both have the same type
  CHECK_SAME_SIZE = 0x000020,  ///< pairs only: both images have the same width and height
  CHECK_COLOR = 0x000100,
  CHECK_DEVICE = 0x001000,
  CHECK_PATTERN = 0x010000,
  CHECK_PANEL = 0x100000,
};

/// A photograph (`image`), the plane it holds (`type`) and seven optional groups of metadata.
///
/// Copying copies groups and pixels; moving moves them. Every operation that fails leaves the shot
/// as it was, save SetPattern, which stores the pattern before comparing it with the partition. One
/// shot must not be used from two threads at once.
class DRAVIX_API Shot {
 public:
  /// Where the photographed area lies on the whole screen, in LEDs.
  struct Partition {
    std::int32_t x = 0, y = 0, w = 0, h = 0, screen_w = 0, screen_h = 0;
  };
  /// The cabinet. w and h in LEDs, pixel_pitch in the host's unit; the codes are the host's.
  struct LedPanel {
    std::int32_t type = 0, layout = 0, subpixel_type = 0, w = 0, h = 0;
    float pixel_pitch = 0;
  };
  /// The grey level at which the picture was taken.
  struct Layer {
    std::int32_t index = 0;
    float linear_norms = 0;
    std::int32_t value = 0;
  };
  /// Which LEDs were lit: one of every interval_x by interval_y, at loc in that cell; and how many
  /// lit LEDs the picture holds across and down.
  struct Pattern {
    std::int32_t type = 0, interval_x = 0, interval_y = 0, loc_x = 0, loc_y = 0;
    std::int32_t lighted_led_w = 0, lighted_led_h = 0;
  };
  /// Camera and lens. Texts end with a zero. cam_type ends in the sensor's bits in two decimal
  /// digits.
  struct Device {
    char id[64] = {};
    std::int32_t cam_type = 0;
    char lens_id[64] = {};
    std::int32_t lens_type = 0;
  };
  /// Exposure settings in the host's units.
  struct Capture {
    std::int32_t exposure = 0, gain = 0, aperture = 0, microfocus = 0, filter = 0;
  };

  std::optional<Partition> partition;
  std::optional<LedPanel> panel;
  std::optional<Layer> layer;
  std::optional<Pattern> pattern;
  std::optional<std::int32_t>
      color;  ///< channels of a colour picture that the screen showed, a bit each
  std::optional<Device> device;
  std::optional<Capture> capture;
  std::uint32_t type = 0;  ///< a ShotType
  cv::Mat image;

  Shot() = default;
  Shot(const Shot& other);
  Shot& operator=(const Shot& other);
  Shot(Shot&& other) noexcept;
  Shot& operator=(Shot&& other) noexcept;
  ~Shot() = default;

  // --- groups, pixels, validation ---

  /// 0; 108 when the screen or the rectangle is empty or the rectangle leaves the screen.
  std::int32_t SetPartition(const Partition& value);
  /// 0; 106 when w or h is below 1.
  std::int32_t SetLedPanel(const LedPanel& value);
  std::int32_t SetLayer(const Layer& value);  ///< 0
  /// Stores the pattern. With a partition, fills in the lit LED counts where one of them is
  /// below 1. 0; 104 when an interval is below 1 or loc outside it; 103 when the counts given are
  /// not the partition's (the pattern is stored all the same).
  std::int32_t SetPattern(const Pattern& value);
  std::int32_t SetDevice(const Device& value);    ///< 0
  std::int32_t SetCapture(const Capture& value);  ///< 0
  std::int32_t SetColor(std::int32_t value);      ///< 0

  /// Copies one plane, CV_16UC1. 0; 110 planeType is not one plane; 109 other pixels.
  std::int32_t SetImageSingle(const cv::Mat& pixels, std::uint32_t planeType);
  /// Demosaics `raw`, CV_16UC1, with OpenCV's `bayer_code`; keeps the three color planes for
  /// CAM_RGB, else the one of `planeType`. 0; 110 planeType is no camera type; 109 other pixels;
  /// 112 no code, one that OpenCV refuses, or one that does not give those planes.
  std::int32_t SetImageColor(const cv::Mat& raw, int bayer_code, std::uint32_t planeType);
  /// Fills in fixed metadata for a picture that locates points. `index` counts the lit position row
  /// by row inside one interval cell. Screen sizes of 0 or less leave partition and pattern alone.
  /// 0; 1 when `screen_wh` or `interval` is null.
  std::int32_t SetPointLocatorMeta(int cam_type, const int screen_wh[2], const int interval[2],
                                   int index, int lens_type);

  /// Tests what `flags` asks for. 0; 1 no shot or empty image; 110 not one plane; 111 no color;
  /// 105 no device; 104 no pattern; 106 no panel. One error line on failure.
  static std::int32_t Check(std::uint32_t flags, const Shot* shot);
  /// Checks b, then a, then the pair: 101 when types or sizes that `flags` asks for differ.
  static std::int32_t Check(std::uint32_t flags, const Shot* a, const Shot* b);

  // --- file and buffer ---

  /// Writes a file ending in ".shot", samples as 16-bit unsigned. 0; 8 wrong extension; 4 cannot be
  /// opened or written whole: what was there stays.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote. Groups that the file lacks stay. 0; 8 wrong extension; 2 cannot be
  /// opened; 10 no mark; 3 wrong version: the shot is unchanged.
  std::int32_t Load(const std::string& fullname);
  /// Stores the bytes ToBuffer would write. 0; 1 null; 5 empty image.
  std::int32_t GetBufferSize(std::size_t* size) const;
  /// *size: capacity in, length out. 0; 1 null; 13 too small, nothing changed.
  std::int32_t ToBuffer(char* buffer, std::size_t* size) const;
  /// Reads the bytes of ToBuffer or of a file. 0; 1 null; 10 no mark; 3 wrong version.
  std::int32_t FromBuffer(const char* buffer, std::size_t size);

  // --- image operations ---

  /// Gives each plane of a CAM_RGB shot to the output that is not null, metadata included.
  /// 0; 1 all null; 5 empty; 109 not three channels of CAM_RGB.
  std::int32_t Split(Shot* r, Shot* g, Shot* b) const;
  /// Turns CAM_RGB into CIE planes with a 3 x 3 matrix that maps (c0, c1, c2) of a pixel to (X, Y,
  /// Z). 0; 110 target or shot type; 109 not CV_16UC3; 5 empty; 9 matrix not 3 x 3.
  std::int32_t ConvertColorSpace(std::uint32_t in_cie_type, const cv::Mat& in_color_trans);
  /// Subtracts per sample, not below 0. 0; 5 either empty; 101 size or OpenCV type differ.
  std::int32_t RemoveBackground(const Shot& background);
  /// Turns the image counter-clockwise by 0, 90, 180 or 270 degrees. 0; 9 any other angle.
  std::int32_t Rotate(int roll_angle);
  /// Replaces `dst`: groups through its setters, then type and pixels.
  void CopyTo(Shot& dst) const;
  /// Writes an 8-bit picture, format by the name's extension; a single plane in the channels of
  /// `color`. 0; 5 empty; 4 not written.
  std::int32_t ExportColorImage(const std::string& fullname) const;
  /// As ExportColorImage, in grey.
  std::int32_t ExportGrayImage(const std::string& fullname) const;
  /// Logs every field that is present, at debug level.
  void Info() const;

  // --- camera files ---

  /// A raw dump of width x height; demosaiced when `bayer_code` is not 0. 0; 2 not read; or the
  /// setter's 109, 110, 112.
  std::int32_t CreateFromRaw(const std::string& fullname, std::uint32_t planeType, int width,
                             int height, int bayer_code);
  /// A raw dump of a known camera, as one plane. 0; 100 unknown camera; 2 not read; or 109, 110.
  std::int32_t CreateFromRaw(const std::string& fullname, int cam_type, std::uint32_t planeType);
  /// A DNG (BImage::ReadRggbDng). 0; 2 not read; or 109, 110, 112.
  std::int32_t ReadDng(const std::string& fullname, std::uint32_t planeType, int bayer_code);
  /// A DNG (BImage::ReadDngToup). 0; 2 not read; or 109, 110.
  std::int32_t ReadDngToupTek(const std::string& fullname, std::uint32_t planeType);
};

#endif  // DRAVIX_SHOT_H_
