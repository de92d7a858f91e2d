#include "shot/shot_picture.h"

#include <opencv2/imgproc.hpp>

#include "image/picture.h"

namespace dravix::shot {
namespace {

/// The three planes in OpenCV's order: shots store red first, OpenCV's writers want blue first.
cv::Mat BlueFirst(const cv::Mat& image) {
  if (image.channels() != 3) return image;
  cv::Mat swapped;
  cv::cvtColor(image, swapped, cv::COLOR_BGR2RGB);
  return swapped;
}

}  // namespace

std::int32_t FullScale(const Shot& shot) {
  return shot.device ? image::FullScale(shot.device->cam_type) : -1;
}

cv::Mat ToGrayPicture(const Shot& shot) {
  return image::ToImage(BlueFirst(shot.image), FullScale(shot), 1);
}

cv::Mat ToColorPicture(const Shot& shot) {
  const std::int32_t color = shot.color.value_or(0);
  if (shot.image.channels() == 1 && color != 0)
    return image::InChannels(ToGrayPicture(shot), color);
  return image::ToImage(BlueFirst(shot.image), FullScale(shot), 3);
}

}  // namespace dravix::shot
