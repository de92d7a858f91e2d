/// A pixel counts as lit when the smoothed gray picture is above Otsu's threshold for the whole
/// picture, or above the mean of its neighborhood: the first alone would lose dim parts of the
/// screen, the second alone would tear holes into even ones. An opening then removes noise, which
/// is specks smaller than 5 x 5 pixels. The outline with the largest rotated bounding box is the
/// area; its filled mask is closed and opened once more.
///
/// There are two ways to the same bits. The plain one has one call of the matrix library for each
/// step, and a picture of the photograph's size in fresh memory after each call. The other one
/// stores a single 8-bit picture, the smoothed one, which the kernels make row by row, and has one
/// bit per pixel from there on. An area without holes that is the only one is its own filled
/// outline; in all other cases the matrix library's outlines decide here, too. The kernels' files
/// say why their bits are the library's.
#include "region/defocused.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <vector>

#include "base/large_buffer.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/bit_picture.h"
#include "kernels/bits/histogram.h"
#include "kernels/eight_bits.h"
#include "kernels/smoothing/gaussian.h"
#include "kernels/targets.h"
#include "region/local_mean.h"
#include "shot/shot_picture.h"

namespace dravix::region {
namespace {

using kernels::BitPicture;
using kernels::Gaussian;

constexpr int kBlur = 5;   // pixels, side of the first smoothing
constexpr int kSpeck = 5;  // pixels, side of the smallest area that is no noise
constexpr int kWordBits = BitPicture::kWordBits;

// --- one call of the matrix library for each step ---

cv::Mat PlainLitPixels(const cv::Mat& smoothed) {
  cv::Mat otsu;
  image::BinarizeByOtsu(smoothed, otsu);
  cv::Mat lit;
  cv::adaptiveThreshold(smoothed, lit, 255, cv::ADAPTIVE_THRESH_GAUSSIAN_C, cv::THRESH_BINARY,
                        kNeighborhood, 0);
  lit.setTo(255, otsu > 254);
  const cv::Mat speck = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(kSpeck, kSpeck));
  cv::morphologyEx(lit, lit, cv::MORPH_OPEN, speck, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT);
  return lit;
}

std::optional<LitArea> FindPlainly(const Shot& shot, const DefocusSettings& settings) {
  cv::Mat smoothed;
  cv::GaussianBlur(shot::ToGrayPicture(shot), smoothed, cv::Size(kBlur, kBlur),
                   static_cast<double>(settings.blurSigma));
  const image::Contours outlines = image::OuterContours(PlainLitPixels(smoothed));
  if (outlines.empty()) return std::nullopt;
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  cv::Mat mask = image::Filled(outlines, largest, smoothed.size());
  image::CloseThenOpen(mask, settings.cleaningSide);
  const cv::Rect rect = cv::boundingRect(outlines[largest]);
  return LitArea{rect, mask(rect).clone()};
}

// --- row by row, then bit by bit ---

constexpr int WholeWords(int width) { return (width + kWordBits - 1) / kWordBits * kWordBits; }

/// A photograph's rows as 8-bit gray values in 16-bit places. Samples of one plane and a known full
/// scale are converted row by row; of all others the gray picture is made first.
class GrayRows {
 public:
  explicit GrayRows(const Shot& shot) {
    constexpr float kWhite = 255.0F;
    const std::int32_t fullScale = shot::FullScale(shot);
    if (shot.image.type() == CV_16UC1 && fullScale > 0) {
      samples_ = shot.image;
      scale_ = kWhite / static_cast<float>(fullScale);
    } else {
      gray_ = shot::ToGrayPicture(shot);
    }
  }

  /// Writes a row, and some values behind it.
  void Row(int y, std::uint16_t* values) const {
    if (gray_.empty()) {
      const auto width = static_cast<std::size_t>(samples_.cols);
      std::memcpy(values, samples_.ptr(y), width * sizeof(std::uint16_t));
      kernels::ToEightBits(values, width, scale_);
    } else {
      std::copy_n(gray_.ptr<std::uint8_t>(y), gray_.cols, values);
    }
  }

 private:
  cv::Mat samples_;
  float scale_ = 0;
  cv::Mat gray_;
};

/// Smooths all rows into `picture`, which is wider than they are, and returns how often each value
/// occurs.
kernels::Histogram Smooth(const GrayRows& rows, const Gaussian& blur, int width, cv::Mat& picture) {
  constexpr std::size_t kMargin = 64;  // room for a row's reflection; the row stays aligned
  const int radius = blur.Radius();
  const int side = 2 * radius + 1;
  const int last = picture.rows - 1;
  const std::size_t stride = static_cast<std::size_t>(picture.cols) + Gaussian::kPadding;
  std::vector<std::uint16_t> ring(stride * static_cast<std::size_t>(side));
  std::vector<std::uint16_t> sums(stride + 2 * kMargin);
  std::vector<const std::uint16_t*> window(static_cast<std::size_t>(side));
  const auto place = [&](int y) {
    return ring.data() + static_cast<std::size_t>(y % side) * stride;
  };
  kernels::ValueCounter counter;
  int next = 0;
  for (int y = 0; y <= last; ++y) {
    for (; next <= std::min(y + radius, last); ++next) rows.Row(next, place(next));
    for (int i = 0; i < side; ++i) {
      const int row = cv::borderInterpolate(y - radius + i, picture.rows, cv::BORDER_REFLECT_101);
      window[static_cast<std::size_t>(i)] = place(row);
    }
    blur.Down(window, width, sums.data() + kMargin);
    blur.Across(sums.data() + kMargin, width, picture.ptr<std::uint8_t>(y));
    counter.Add(picture.ptr<std::uint8_t>(y), static_cast<std::size_t>(width));
  }
  return counter.Counts();
}

void RemoveSpecks(BitPicture& lit) {
  BitPicture scratch(lit.Size());
  lit.Invert();
  lit.Dilate(kSpeck / 2, scratch);
  lit.Invert();
  lit.Dilate(kSpeck / 2, scratch);
}

BitPicture LitPixels(const Shot& shot, const Gaussian& blur) {
  const cv::Size size = shot.image.size();
  const int stride = WholeWords(size.width) + Gaussian::kPadding;
  base::LargeBuffer memory(static_cast<std::size_t>(stride) *
                           static_cast<std::size_t>(size.height));
  cv::Mat picture(size.height, WholeWords(size.width), CV_8UC1, memory.Data(),
                  static_cast<std::size_t>(stride));
  const int level = kernels::OtsuLevel(Smooth(GrayRows(shot), blur, size.width, picture));
  BitPicture lit(size);
  lit.SetAbove(picture, level);
  AddBrighterThanAround(picture.colRange(0, size.width), level, lit);
  RemoveSpecks(lit);
  return lit;
}

/// Where the white pixels are, of which there is at least one.
cv::Rect BoundsOf(const BitPicture& picture) {
  std::vector<std::uint64_t> columns(picture.Words());
  int top = picture.Size().height;
  int bottom = 0;
  for (int y = 0; y < picture.Size().height; ++y) {
    const std::uint64_t* row = picture.Row(y);
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < picture.Words(); ++i) {
      any |= row[i];
      columns[i] |= row[i];
    }
    if (any == 0) continue;
    top = std::min(top, y);
    bottom = y + 1;
  }
  const auto isWhite = [](std::uint64_t word) { return word != 0; };
  const auto first = std::find_if(columns.begin(), columns.end(), isWhite);
  const auto last = std::find_if(columns.rbegin(), columns.rend(), isWhite);
  const auto left = (first - columns.begin()) * kWordBits + std::countr_zero(*first);
  const auto right = (last.base() - columns.begin()) * kWordBits - std::countl_zero(*last);
  return {cv::Point(static_cast<int>(left), top), cv::Point(static_cast<int>(right), bottom)};
}

/// Eight pixels of a mask for each value of eight bits.
std::array<std::uint64_t, 256> PixelsOfBits() {
  std::array<std::uint64_t, 256> pixels{};
  for (std::size_t bits = 0; bits < pixels.size(); ++bits) {
    std::array<std::uint8_t, 8> eight{};
    for (std::size_t i = 0; i < eight.size(); ++i) {
      eight.at(i) = ((bits >> i) & 1U) != 0 ? 255 : 0;
    }
    std::memcpy(&pixels.at(bits), eight.data(), sizeof(eight));
  }
  return pixels;
}

/// A part of a picture of bits as a mask: CV_8UC1, 255 for white.
cv::Mat MaskOf(const BitPicture& picture, const cv::Rect& part) {
  static const std::array<std::uint64_t, 256> kPixels = PixelsOfBits();
  constexpr int kByteBits = 8;
  cv::Mat mask(part.size(), CV_8UC1);
  const int first = part.x / kByteBits;
  const int end = (part.br().x + kByteBits - 1) / kByteBits;
  std::vector<std::uint8_t> row(static_cast<std::size_t>((end - first) * kByteBits));
  for (int y = 0; y < part.height; ++y) {
    const std::uint64_t* words = picture.Row(part.y + y);
    for (int i = first; i < end; ++i) {
      const int shift = i % (kWordBits / kByteBits) * kByteBits;
      const std::uint64_t eight = kPixels.at((words[i * kByteBits / kWordBits] >> shift) & 0xFFU);
      std::memcpy(row.data() + static_cast<std::ptrdiff_t>(i - first) * kByteBits, &eight,
                  sizeof(eight));
    }
    std::memcpy(mask.ptr(y), row.data() + part.x % kByteBits, static_cast<std::size_t>(part.width));
  }
  return mask;
}

/// The filled area with the largest rotated bounding box and its rectangle, or nothing when all is
/// dark.
std::optional<std::pair<BitPicture, cv::Rect>> LargestArea(BitPicture lit) {
  const kernels::Topology topology = kernels::TopologyOf(lit);
  if (topology.areas == 0) return std::nullopt;
  if (topology.areas == 1 && topology.holes == 0) {
    const cv::Rect bounds = BoundsOf(lit);
    return std::make_pair(std::move(lit), bounds);
  }
  const cv::Size size = lit.Size();
  const image::Contours outlines = image::OuterContours(MaskOf(lit, cv::Rect({}, size)));
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  lit.SetAbove(image::Filled(outlines, largest, {WholeWords(size.width), size.height}), 0);
  return std::make_pair(std::move(lit), cv::boundingRect(outlines[largest]));
}

std::optional<LitArea> FindByBits(const Shot& shot, const Gaussian& blur, int cleaningSide) {
  auto area = LargestArea(LitPixels(shot, blur));
  if (!area) return std::nullopt;
  auto& [bits, rect] = *area;
  kernels::CloseThenOpen(bits, cleaningSide);
  return LitArea{rect, MaskOf(bits, rect)};
}

/// The smoothing for the kernels, or nothing where they cannot search: the processor is too old,
/// the photograph is so small that it gains nothing, or a setting is unusual.
std::optional<Gaussian> BlurOfKernels(const Shot& shot, const DefocusSettings& settings) {
  constexpr int kLeastSide = 64;      // pixels
  constexpr int kMostCleaning = 127;  // pixels: beyond, each dilation of bits takes several rounds
  const cv::Mat& image = shot.image;
  const bool fits = image.dims == 2 && image.cols >= kLeastSide && image.rows >= kLeastSide &&
                    settings.cleaningSide > 0 && settings.cleaningSide <= kMostCleaning &&
                    settings.cleaningSide % 2 == 1;
  if (!fits || !kernels::VectorsAvailable()) return std::nullopt;
  return Gaussian::Of(kBlur, static_cast<double>(settings.blurSigma));
}

}  // namespace

std::optional<LitArea> FindDefocused(const Shot& shot, const DefocusSettings& settings) {
  const std::optional<Gaussian> blur = BlurOfKernels(shot, settings);
  return blur ? FindByBits(shot, *blur, settings.cleaningSide) : FindPlainly(shot, settings);
}

}  // namespace dravix::region
