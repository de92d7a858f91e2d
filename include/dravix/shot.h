/// Shot: a photograph of an LED screen, with what is known about how it was taken.
#ifndef DRAVIX_SHOT_H_
#define DRAVIX_SHOT_H_

#include <dravix/export.h>

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

/// Which color plane or planes a shot's image holds; each has a bit.
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

/// What Shot::Check asks for; flags may be combined.
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

/// A photograph (`image`), the planes it holds (`type`) and seven optional groups of metadata.
///
/// Copying a shot copies its groups and pixels; moving it moves them. An operation that fails
/// leaves the shot as it was, except SetPattern, which stores the pattern before it compares it
/// with the partition. One shot must not be used from two threads at once, unless all only read it.
///
/// Exceptions: where memory runs out, any method may throw std::bad_alloc, or cv::Exception for the
/// pixels of an image. Images that no camera makes may be refused by OpenCV as cv::Exception: those
/// of more than two dimensions or 512 channels by everything that looks at pixels; those of more
/// than four channels also by Rotate, whose turns OpenCV has for few sizes of pixels; those of one
/// side beyond 32767 pixels by some. Nothing else is thrown. The shot is then as it was, and so is
/// a file that it should be saved to; what a method gives to others may be incomplete. Check, Info
/// and the setters of groups throw nothing but std::bad_alloc.
class DRAVIX_API Shot {
 public:
  /// Where the photographed area lies on the whole screen, in LEDs.
  struct Partition {
    std::int32_t x = 0, y = 0, w = 0, h = 0, screen_w = 0, screen_h = 0;
  };
  /// The cabinet: w and h in LEDs, pixel_pitch in the host's unit. The codes are the host's own.
  struct LedPanel {
    std::int32_t type = 0, layout = 0, subpixel_type = 0, w = 0, h = 0;
    float pixel_pitch = 0;
  };
  /// The gray level that the screen showed when the photograph was taken.
  struct Layer {
    std::int32_t index = 0;
    float linear_norms = 0;
    std::int32_t value = 0;
  };
  /// Which LEDs were lit: one of every interval_x by interval_y, at position loc_x, loc_y among
  /// them (from 0). lighted_led_w and lighted_led_h count the lit LEDs across and down.
  struct Pattern {
    std::int32_t type = 0, interval_x = 0, interval_y = 0, loc_x = 0, loc_y = 0;
    std::int32_t lighted_led_w = 0, lighted_led_h = 0;
  };
  /// Camera and lens. The texts end with a zero. The last two decimal digits of cam_type are the
  /// bits of a sample: 120016 has 16.
  struct Device {
    char id[64] = {};
    std::int32_t cam_type = 0;
    char lens_id[64] = {};
    std::int32_t lens_type = 0;
  };
  /// Exposure settings, in the host's units.
  struct Capture {
    std::int32_t exposure = 0, gain = 0, aperture = 0, microfocus = 0, filter = 0;
  };

  std::optional<Partition> partition;
  std::optional<LedPanel> panel;
  std::optional<Layer> layer;
  std::optional<Pattern> pattern;
  std::optional<std::int32_t>
      color;  ///< what the screen showed: one bit for each channel of a color picture, BGR
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

  // Result codes stand behind the text, each with its condition; dravix.h names them.

  /// 0; 108 when the screen or the rectangle is empty, or when the rectangle leaves the screen.
  std::int32_t SetPartition(const Partition& value);
  /// 0; 106 when w or h is below 1.
  std::int32_t SetLedPanel(const LedPanel& value);
  std::int32_t SetLayer(const Layer& value);  ///< 0
  /// Stores the pattern. Where the shot has a partition and one of the counts of lit LEDs is below
  /// 1, both are computed from the partition. 0; 104 when an interval is below 1 or loc lies
  /// outside it; 103 when the given counts are not those of the partition (the pattern is stored
  /// all the same).
  std::int32_t SetPattern(const Pattern& value);
  std::int32_t SetDevice(const Device& value);    ///< 0
  std::int32_t SetCapture(const Capture& value);  ///< 0
  std::int32_t SetColor(std::int32_t value);      ///< 0

  /// Copies one plane, CV_16UC1. 0; 110 when planeType is not one plane; 109 for other pixels.
  std::int32_t SetImageSingle(const cv::Mat& pixels, std::uint32_t planeType);
  /// Demosaics `raw`, CV_16UC1, with OpenCV's `bayer_code`; keeps the three color planes for
  /// CAM_RGB, else the one of `planeType`. 0; 110 when planeType is no camera type; 109 for
  /// other pixels; 112 for no code, one that OpenCV refuses, or one that does not give those
  /// planes.
  std::int32_t SetImageColor(const cv::Mat& raw, int bayer_code, std::uint32_t planeType);
  /// Fills in fixed metadata for a photograph that locates points. `index` counts the lit position
  /// row by row within one interval. Screen sizes of 0 or less leave partition and pattern alone.
  /// 0; 1 when `screen_wh` or `interval` is null.
  std::int32_t SetPointLocatorMeta(int cam_type, const int screen_wh[2], const int interval[2],
                                   int index, int lens_type);

  /// Tests what `flags` asks for. 0; 1 without a shot or with an empty image; 110 when the type is
  /// not one plane; 111 without color; 105 without device; 104 without pattern; 106 without panel.
  /// A failure writes one error line.
  static std::int32_t Check(std::uint32_t flags, const Shot* shot);
  /// Checks b, then a, then the pair: 101 when they differ in the type or size that `flags` asks
  /// for.
  static std::int32_t Check(std::uint32_t flags, const Shot* a, const Shot* b);

  // --- file and buffer ---

  /// Writes a file whose name ends in ".shot"; samples are stored as 16-bit unsigned. 0; 8 for
  /// another extension; 4 when the file cannot be opened or not be written whole. The file is
  /// replaced as a whole: what was there stays until the new one is complete and flushed to the
  /// disk. Only where the folder takes no new file is it written in place, which a crash may leave
  /// half done.
  std::int32_t Save(const std::string& fullname) const;
  /// Reads what Save wrote. Groups that the file lacks stay. 0; 8 for another extension; 2 when the
  /// file cannot be opened; 10 without the mark; 3 for another version. The shot is unchanged then.
  std::int32_t Load(const std::string& fullname);
  /// Stores how many bytes ToBuffer writes. 0; 1 when `size` is null; 5 when the image is empty.
  std::int32_t GetBufferSize(std::size_t* size) const;
  /// Writes the bytes of the file. *size is the buffer's capacity before and the length after. 0; 1
  /// for a null pointer; 13 when the buffer is too small, with nothing changed.
  std::int32_t ToBuffer(char* buffer, std::size_t* size) const;
  /// Reads the bytes of ToBuffer or of a file. 0; 1 when `buffer` is null; 10 without the mark; 3
  /// for another version.
  std::int32_t FromBuffer(const char* buffer, std::size_t size);

  // --- image operations ---

  /// Gives each plane of a CAM_RGB shot, with the metadata, to its output; null outputs are left
  /// out. 0; 1 when all are null; 5 when the image is empty; 109 when it is not CAM_RGB with three
  /// channels.
  std::int32_t Split(Shot* r, Shot* g, Shot* b) const;
  /// Turns CAM_RGB into CIE planes with a 3 x 3 matrix that maps the three samples of a pixel, red
  /// first, to (X, Y, Z). 0; 110 when `in_cie_type` is no CIE type or the shot is not CAM_RGB; 109
  /// when the image is not CV_16UC3; 5 when it is empty; 9 when the matrix is not 3 x 3.
  std::int32_t ConvertColorSpace(std::uint32_t in_cie_type, const cv::Mat& in_color_trans);
  /// Subtracts the background sample by sample; what falls below 0 becomes 0. 0; 5 when either
  /// image is empty; 101 when they differ in size or OpenCV type.
  std::int32_t RemoveBackground(const Shot& background);
  /// Turns the image, and nothing else, counterclockwise by 0, 90, 180 or 270 degrees. 0; 9 for any
  /// other angle.
  std::int32_t Rotate(int roll_angle);
  /// Replaces what `dst` holds: the groups through its setters, then type and pixels.
  void CopyTo(Shot& dst) const;
  /// Writes an 8-bit picture in the format of the name's extension; a single plane goes into the
  /// channels of `color`. 0; 5 when the image is empty; 4 when the picture is not written.
  std::int32_t ExportColorImage(const std::string& fullname) const;
  /// As ExportColorImage, in gray.
  std::int32_t ExportGrayImage(const std::string& fullname) const;
  /// Logs every field that is present, at debug level.
  void Info() const;

  // --- camera files ---

  /// Takes a raw dump of width x height samples, demosaiced when `bayer_code` is not 0. 0; 2 when
  /// it cannot be read; or the setter's 109, 110, 112.
  std::int32_t CreateFromRaw(const std::string& fullname, std::uint32_t planeType, int width,
                             int height, int bayer_code);
  /// Takes a raw dump of a known camera as one plane. 0; 100 for an unknown camera; 2 when it
  /// cannot be read; or 109, 110.
  std::int32_t CreateFromRaw(const std::string& fullname, int cam_type, std::uint32_t planeType);
  /// Takes a DNG that BImage::ReadRggbDng reads. 0; 2 when it cannot be read; or 109, 110, 112.
  std::int32_t ReadDng(const std::string& fullname, std::uint32_t planeType, int bayer_code);
  /// Takes a DNG that BImage::ReadDngToup reads. 0; 2 when it cannot be read; or 109, 110.
  std::int32_t ReadDngToupTek(const std::string& fullname, std::uint32_t planeType);
};

#endif  // DRAVIX_SHOT_H_
