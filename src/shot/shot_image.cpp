#include <dravix/algolog.h>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <array>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "image/picture_file.h"
#include "shot/groups.h"
#include "shot/plane_types.h"
#include "shot/shot_picture.h"

namespace {

using dravix::shot::Groups;
using dravix::shot::GroupsOf;

/// Replaces all groups through the setters, so that they are checked and logged.
void SetGroups(const Groups& groups, Shot& dst) {
  const auto& [partition, panel, layer, pattern, color, device, capture] = groups;
  GroupsOf(dst) = Groups{};
  if (partition) dst.SetPartition(*partition);
  if (panel) dst.SetLedPanel(*panel);
  if (layer) dst.SetLayer(*layer);
  if (pattern) dst.SetPattern(*pattern);
  if (color) dst.SetColor(*color);
  if (device) dst.SetDevice(*device);
  if (capture) dst.SetCapture(*capture);
}

/// Multiplies every pixel's three samples from the left by a 3 x 3 matrix, in single precision. The
/// result has one row for each plane, with the pixels of the image row after row.
cv::Mat PlanesInCIEXYZ(const cv::Mat& image, const cv::Mat& colorTrans) {
  // The table is filled plane by plane, which needs no second table to transpose it from.
  cv::Mat table(3, image.rows * image.cols, CV_32FC1);
  for (int i = 0; i < table.rows; ++i) {
    cv::Mat plane;
    cv::extractChannel(image, plane, i);
    cv::Mat row = table.row(i);
    plane.reshape(1, 1).convertTo(row, CV_32F);
  }
  cv::Mat matrix;
  colorTrans.convertTo(matrix, CV_32F);
  return matrix * table;
}

/// One of those planes as 16-bit samples, in `rows` rows again.
cv::Mat SamplesOf(const cv::Mat& planes, int index, int rows) {
  cv::Mat samples;
  planes.row(index).convertTo(samples, CV_16U);
  return samples.reshape(1, rows);
}

/// The image converted to the plane or planes of a CIE type.
cv::Mat ConvertToCIEXYZ(const cv::Mat& image, const cv::Mat& colorTrans, std::uint32_t cieType) {
  const cv::Mat planes = PlanesInCIEXYZ(image, colorTrans);
  if (cieType != CIE_XYZ) {
    return SamplesOf(planes, dravix::shot::CiePlane(cieType), image.rows);
  }
  std::array<cv::Mat, 3> samples;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples.at(i) = SamplesOf(planes, static_cast<int>(i), image.rows);
  }
  cv::Mat xyz;
  cv::merge(samples, xyz);
  return xyz;
}

bool IsColorMatrix(const cv::Mat& m) {
  return m.dims == 2 && m.size() == cv::Size(3, 3) && m.channels() == 1;
}

/// a - b, sample by sample; what falls below 0 becomes 0.
cv::Mat Difference(const cv::Mat& a, const cv::Mat& b) {
  cv::Mat difference;
  if (a.depth() == CV_16F) {  // OpenCV converts 16-bit floats, but cannot calculate with them
    cv::Mat wideA;
    cv::Mat wideB;
    a.convertTo(wideA, CV_32F);
    b.convertTo(wideB, CV_32F);
    Difference(wideA, wideB).convertTo(difference, CV_16F);
    return difference;
  }
  cv::subtract(a, b, difference);
  switch (a.depth()) {
    case CV_8U:
    case CV_16U:
      break;  // the subtraction saturates at 0
    case CV_8S:
    case CV_32S: {  // cv::threshold does not take these depths
      cv::Mat samples = difference.reshape(1);
      cv::max(samples, 0, samples);
      break;
    }
    default:
      cv::threshold(difference, difference, 0, 255, cv::THRESH_TOZERO);
  }
  return difference;
}

cv::Mat Flipped(const cv::Mat& m, int code) {
  cv::Mat flipped;
  cv::flip(m, flipped, code);
  return flipped;
}

cv::Mat Transposed(const cv::Mat& m) {
  cv::Mat transposed;
  cv::transpose(m, transposed);
  return transposed;
}

constexpr int kAboutHorizontal = 0;
constexpr int kAboutVertical = 1;
constexpr int kAboutBoth = -1;

/// Whether it has two dimensions. OpenCV's conversions of color take the first planes of others for
/// the whole.
bool IsFlat(const cv::Mat& image) { return image.dims <= 2; }

}  // namespace

std::int32_t Shot::Split(Shot* r, Shot* g, Shot* b) const {
  AlgoLogInfo("Shot::Split");
  if (r == nullptr && g == nullptr && b == nullptr) {
    AlgoLogError("SHOT::Split -- all input was nullptr");
    return DRAVIX_NULL_ARGUMENT;
  }
  if (image.empty()) {
    AlgoLogError("Shot::Split--Error :: empty");
    return DRAVIX_NO_RESULT;
  }
  if (image.channels() != 3 || type != CAM_RGB) {
    AlgoLogError("Shot::Split -- Error image.channels() != 3 || type!= CAM_RGB");
    return DRAVIX_BAD_IMAGE;
  }
  std::array<cv::Mat, 3> planes;
  cv::split(image, planes.data());
  const Groups groups = GroupsOf(*this);  // an output may be this shot
  const std::array<std::pair<Shot*, ShotType>, 3> outputs{{{r, CAM_R}, {g, CAM_G}, {b, CAM_B}}};
  for (std::size_t i = outputs.size(); i-- > 0;) {
    const auto [output, planeType] = outputs[i];
    if (output == nullptr) continue;
    SetGroups(groups, *output);
    output->type = planeType;
    output->image = planes[i];
  }
  return DRAVIX_OK;
}

std::int32_t Shot::ConvertColorSpace(std::uint32_t in_cie_type, const cv::Mat& in_color_trans) {
  AlgoLogInfo("Shot::ConvertColorSpace");
  if (!dravix::shot::IsCieType(in_cie_type)) {
    AlgoLogError(
        "Shot::ConvertColorSpace--Error :: in_cie_type != CIE_Y && in_cie_type != CIE_X && "
        "in_cie_type != CIE_Z && in_cie_type != CIE_XYZ");
    return DRAVIX_BAD_TYPE;
  }
  if (type != CAM_RGB) {
    AlgoLogError("Shot::ConvertColorSpace--Error :: shot type is not CAM_RGB");
    return DRAVIX_BAD_TYPE;
  }
  if (image.type() != CV_16UC3) {
    AlgoLogError("Shot::ConvertColorSpace--Error :: data channel must be 3");
    return DRAVIX_BAD_IMAGE;
  }
  if (image.empty()) {
    AlgoLogError("Shot::ConvertColorSpace--Error :: empty");
    return DRAVIX_NO_RESULT;
  }
  if (!IsColorMatrix(in_color_trans)) {
    AlgoLogError("Shot::ConvertToCIEXYZ--Error :: in_color_trans.size()!=cv::Size(3,3)");
    return DRAVIX_BAD_ARGUMENT;
  }
  image = ConvertToCIEXYZ(image, in_color_trans, in_cie_type);
  type = in_cie_type;
  return DRAVIX_OK;
}

std::int32_t Shot::RemoveBackground(const Shot& background) {
  AlgoLogInfo("Shot::Remove");
  if (image.empty() || background.image.empty()) {
    AlgoLogError("SHOT::RemoveBackground -- Error empty data");
    return DRAVIX_NO_RESULT;
  }
  if (image.size != background.image.size || image.type() != background.image.type()) {
    AlgoLogError("SHOT::RemoveBackground -- Error data mismatch");
    return DRAVIX_SHOT_MISMATCH;
  }
  image = Difference(image, background.image);
  return DRAVIX_OK;
}

std::int32_t Shot::Rotate(int roll_angle) {
  AlgoLogInfo("Shot::Rotate");
  if (roll_angle != 0 && roll_angle != 90 && roll_angle != 180 && roll_angle != 270) {
    AlgoLogError("Shot::Rotate--Error :: roll_angle");
    return DRAVIX_BAD_ARGUMENT;
  }
  if (image.empty()) return DRAVIX_OK;
  if (roll_angle == 90) image = Flipped(Transposed(image), kAboutHorizontal);
  if (roll_angle == 180) image = Flipped(image, kAboutBoth);
  if (roll_angle == 270) image = Flipped(Transposed(image), kAboutVertical);
  return DRAVIX_OK;
}

void Shot::CopyTo(Shot& dst) const {
  AlgoLogInfo("Shot::CopyTo");
  const Groups groups = GroupsOf(*this);  // dst may be this shot
  const cv::Mat pixels = image.clone();
  SetGroups(groups, dst);
  dst.type = type;
  dst.image = pixels;
}

std::int32_t Shot::ExportColorImage(const std::string& fullname) const {
  AlgoLogInfo("Shot::ExportColorImage");
  if (image.empty()) {
    AlgoLogError("Shot::ExportColorImage--Error :: empty");
    return DRAVIX_NO_RESULT;
  }
  const auto make = [this] { return dravix::shot::ToColorPicture(*this); };
  if (!IsFlat(image) || !dravix::image::WritePicture(fullname, make)) {
    AlgoLogError("Shot::ExportColorImage--Error :: imwrite");
    return DRAVIX_CANNOT_WRITE;
  }
  return DRAVIX_OK;
}

std::int32_t Shot::ExportGrayImage(const std::string& fullname) const {
  AlgoLogInfo("Shot::ExportGrayImage");
  if (image.empty()) {
    AlgoLogError("Shot::ExportGrayImage--Error :: empty");
    return DRAVIX_NO_RESULT;
  }
  const auto make = [this] { return dravix::shot::ToGrayPicture(*this); };
  if (!IsFlat(image) || !dravix::image::WritePicture(fullname, make)) {
    AlgoLogError("Shot::ExportGrayImage--Error :: imwrite");
    return DRAVIX_CANNOT_WRITE;
  }
  return DRAVIX_OK;
}
