/// Random measuring problems for comparisons with the plain transcription. The same seed gives the
/// same problem.
#pragma once

#include <dravix/shot.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "reference/plain_transcription.h"
#include "support/mats.h"

namespace dravix::test {

inline int Between(cv::RNG& random, int low, int high) { return random.uniform(low, high + 1); }

/// Samples that fill the type's range; single-precision ones may be fractional and negative.
inline cv::Mat RandomImage(cv::RNG& random, cv::Size size, int type) {
  const std::array<double, 7> top{255, 127, 65535, 32767, 1e6, 5000, 5000};
  const double high = top.at(static_cast<std::size_t>(CV_MAT_DEPTH(type)));
  const double low = CV_MAT_DEPTH(type) >= CV_32S ? -high / 8 : 0;
  return RandomMat(size, type, random.next(), low, high);
}

/// A mask whose columns begin and end at rows that wander slowly; some have a second run below.
inline cv::Mat WanderingMask(cv::RNG& random, cv::Size size, const cv::Range& across) {
  cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
  int top = Between(random, 0, size.height / 3);
  int bottom = Between(random, size.height / 2, size.height);
  for (int x = across.start; x < across.end; ++x) {
    if (random.uniform(0, 6) == 0)
      top = std::clamp(top + Between(random, -1, 1), 0, size.height / 2 - 1);
    if (random.uniform(0, 6) == 0) {
      bottom = std::clamp(bottom + Between(random, -1, 1), size.height / 2 + 1, size.height);
    }
    mask(cv::Range(top, bottom), cv::Range(x, x + 1)) = static_cast<uchar>(Between(random, 1, 255));
    const int gap = Between(random, top, bottom - 1);
    if (gap > top && random.uniform(0, 10) == 0) mask.at<uchar>(gap, x) = 0;
  }
  return mask;
}

struct LuminanceScene {
  cv::Mat image;
  reference::Area area;
  reference::Panel panel;
};

inline LuminanceScene MakeLuminanceScene(std::uint64_t seed) {
  cv::RNG random(seed * 7919 + 1);
  LuminanceScene scene;
  const cv::Size size(Between(random, 12, 160), Between(random, 12, 160));
  const std::array<int, 6> types{CV_8UC1, CV_16UC1, CV_16SC1, CV_32SC1, CV_32FC1, CV_64FC1};
  scene.image = RandomImage(random, size, types.at(static_cast<std::size_t>(random.uniform(0, 6))));
  const int left = random.uniform(0, 3) == 0 ? 0 : Between(random, 0, size.width / 3);
  const int right =
      random.uniform(0, 3) == 0 ? size.width : Between(random, size.width / 2, size.width);
  scene.area.mask = WanderingMask(random, size, cv::Range(left, right));
  scene.area.rect = cv::Rect(left, 0, right - left, size.height);
  // LED counts above and below the pixel counts, and sometimes exact fractions of them.
  scene.panel.ledWidth =
      random.uniform(0, 4) == 0 ? std::max(9, (right - left) / 2) : Between(random, 5, 200);
  scene.panel.ledHeight = Between(random, 5, 200);
  if (random.uniform(0, 3) == 0) {
    const int top = Between(random, 1, scene.panel.ledWidth - 1);
    const int bottom = Between(random, 1, scene.panel.ledWidth - 1);
    scene.panel.rowGroup = Between(random, 1, scene.panel.ledHeight + 3);
    scene.panel.rowLedNums =
        reference::RowLedNums(top, bottom, scene.panel.rowGroup, scene.panel.ledHeight);
  }
  return scene;
}

struct CellScene {
  cv::Mat image;
  reference::Cells cells;
  reference::Panel panel;
};

inline CellScene MakeCellScene(std::uint64_t seed) {
  cv::RNG random(seed * 104729 + 3);
  CellScene scene;
  reference::Cells& cells = scene.cells;
  cells.columns = Between(random, 1, 6);
  cells.rows = Between(random, 1, 5);
  cells.side = Between(random, 6, 16);
  cells.lastWidth = random.uniform(0, 2) == 0 ? cells.side : Between(random, 3, cells.side);
  cells.lastHeight = random.uniform(0, 2) == 0 ? cells.side : Between(random, 3, cells.side);
  scene.panel.ledWidth = (cells.columns - 1) * cells.side + cells.lastWidth;
  scene.panel.ledHeight = (cells.rows - 1) * cells.side + cells.lastHeight;
  const double pitch = random.uniform(0.6, 4.0);  // below 1: fewer pixels than LEDs
  const int pixels = std::max(4, static_cast<int>(cells.side * pitch));
  const cv::Size size(cells.columns * pixels + 8, cells.rows * pixels + 8);
  const std::array<int, 4> types{CV_8UC1, CV_16UC1, CV_32FC1, CV_64FC1};
  scene.image = RandomImage(random, size, types.at(static_cast<std::size_t>(random.uniform(0, 4))));
  cells.mask = WanderingMask(random, size, cv::Range(0, size.width));
  for (int r = 0; r < cells.rows; ++r) {
    for (int c = 0; c < cells.columns; ++c) {
      const cv::Rect rect(4 + c * pixels + Between(random, -2, 1),
                          4 + r * pixels + Between(random, -2, 1), pixels, pixels);
      cells.rects.push_back(rect);
      // Border cells need mask in every column; where the wandering mask has none, some is put in.
      for (int x = rect.x; x < rect.br().x; ++x) {
        if (cv::countNonZero(cells.mask(rect).col(x - rect.x)) == 0) {
          cells.mask(cv::Range(rect.y + 1, rect.y + rect.height - 1), cv::Range(x, x + 1)) = 255;
        }
      }
    }
  }
  return scene;
}

/// A lit quadrilateral with soft edges on a dark, noisy ground, sometimes with specks beside it.
inline cv::Mat LitScene(cv::RNG& random, cv::Size size, int type, std::vector<cv::Point>& corners) {
  const int w = size.width;
  const int h = size.height;
  const auto near = [&](double x, double y) {
    return cv::Point(cvRound(x * w) + Between(random, -w / 14, w / 14),
                     cvRound(y * h) + Between(random, -h / 14, h / 14));
  };
  corners = {near(0.2, 0.2), near(0.8, 0.2), near(0.8, 0.8), near(0.2, 0.8)};
  cv::Mat gray(size, CV_32FC1, cv::Scalar(20));
  cv::fillConvexPoly(gray, corners, cv::Scalar(random.uniform(500, 3500)));
  for (int i = random.uniform(0, 4); i > 0; --i) {
    cv::circle(gray, near(random.uniform(0.05, 0.95), random.uniform(0.05, 0.95)),
               Between(random, 1, 12), cv::Scalar(random.uniform(50, 4000)), cv::FILLED);
  }
  cv::GaussianBlur(gray, gray, cv::Size(7, 7), 2);
  cv::Mat noise(size, CV_32FC1);
  random.fill(noise, cv::RNG::NORMAL, 0, 12);
  gray += noise;
  std::vector<cv::Mat> planes(static_cast<std::size_t>(CV_MAT_CN(type)), gray);
  for (std::size_t i = 1; i < planes.size(); ++i)
    planes[i] = gray * (0.4 + 0.3 * static_cast<double>(i));
  cv::Mat merged;
  cv::merge(planes, merged);
  const double scale = CV_MAT_DEPTH(type) == CV_8U ? 1.0 / 16 : 1.0;
  cv::Mat image;
  merged.convertTo(image, type, scale);
  return image;
}

/// A shot as a camera gives it, with a pattern and, for a bit depth above 0, a device.
inline Shot MakeShot(const cv::Mat& image, int ledWidth, int ledHeight, int bits) {
  Shot shot;
  shot.image = image.clone();
  shot.type = CIE_Y;
  shot.pattern = Shot::Pattern{1, 1, 1, 0, 0, ledWidth, ledHeight};
  if (bits > 0) {
    shot.device = Shot::Device{};
    shot.device->cam_type = 320000 + bits;
  }
  return shot;
}

}  // namespace dravix::test
