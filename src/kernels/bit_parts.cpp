#include "kernels/bit_parts.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "kernels/sample_levels.h"

namespace dravix::kernels {
namespace {

constexpr int kBits = BitPicture::kWordBits;
constexpr std::uint64_t kAll = ~std::uint64_t{0};

/// The 64 pixels of a row that begin at column x, which is inside the picture. The row has unused
/// bits behind its last pixel, but maybe no further word.
std::uint64_t WordAt(const std::uint64_t* row, std::size_t words, int x) {
  const auto word = static_cast<std::size_t>(x / kBits);
  const int shift = x % kBits;
  std::uint64_t pixels = row[word] >> shift;
  if (shift > 0 && word + 1 < words) pixels |= row[word + 1] << (kBits - shift);
  return pixels;
}

/// The lowest `count` bits, 1 or more of them.
constexpr std::uint64_t Lowest(int count) { return count >= kBits ? kAll : ~(kAll << count); }

/// Calls work(word, the bits of it that lie in columns begin to end - 1) for all words that have
/// some.
template <class Work>
void ForEachWord(int begin, int end, Work&& work) {
  for (int x = begin; x < end;) {
    const int first = x % kBits;
    const int count = std::min(kBits - first, end - x);
    work(static_cast<std::size_t>(x / kBits), Lowest(count) << first);
    x += count;
  }
}

}  // namespace

BitPicture BitsOf(const cv::Mat& mask) { return Above(mask, 0); }

BitPicture Cut(const BitPicture& picture, const cv::Rect& part) {
  BitPicture cut(part.size());
  for (int y = 0; y < part.height; ++y) {
    const std::uint64_t* from = picture.Row(part.y + y);
    std::uint64_t* to = cut.Row(y);
    for (int x = 0; x < part.width; x += kBits) {
      *to++ = WordAt(from, picture.Words(), part.x + x) & Lowest(part.width - x);
    }
  }
  return cut;
}

cv::Mat CutMat(const BitPicture& picture, const cv::Rect& part) {
  return Cut(picture, part).ToMat();
}

BitPicture Placed(const BitPicture& part, cv::Point at, cv::Size size) {
  BitPicture whole(size);
  const auto first = static_cast<std::size_t>(at.x / kBits);
  const int shift = at.x % kBits;
  for (int y = 0; y < part.Size().height; ++y) {
    const std::uint64_t* from = part.Row(y);
    std::uint64_t* to = whole.Row(at.y + y) + first;
    for (int x = 0; x < part.Size().width; x += kBits, ++from, ++to) {
      to[0] |= *from << shift;
      if (shift > 0 && *from >> (kBits - shift) != 0) to[1] |= *from >> (kBits - shift);
    }
  }
  return whole;
}

void Fill(const cv::Rect& part, BitPicture& picture) {
  for (int y = part.y; y < part.br().y; ++y) {
    std::uint64_t* row = picture.Row(y);
    ForEachWord(part.x, part.br().x,
                [&](std::size_t word, std::uint64_t bits) { row[word] |= bits; });
  }
}

int WhitePixels(const BitPicture& picture, const cv::Rect& part) {
  int count = 0;
  for (int y = part.y; y < part.br().y; ++y) {
    const std::uint64_t* row = picture.Row(y);
    ForEachWord(part.x, part.br().x, [&](std::size_t word, std::uint64_t bits) {
      count += std::popcount(row[word] & bits);
    });
  }
  return count;
}

cv::Rect BoundsOf(const BitPicture& picture) {
  int top = picture.Size().height;
  int bottom = 0;
  std::vector<std::uint64_t> columns(picture.Words());
  for (int y = 0; y < picture.Size().height; ++y) {
    const std::uint64_t* row = picture.Row(y);
    std::uint64_t any = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      columns[i] |= row[i];
      any |= row[i];
    }
    if (any == 0) continue;
    top = std::min(top, y);
    bottom = y + 1;
  }
  if (bottom == 0) return {};
  std::size_t first = 0;
  while (columns[first] == 0) ++first;
  std::size_t last = columns.size() - 1;
  while (columns[last] == 0) --last;
  const int left = static_cast<int>(first) * kBits + std::countr_zero(columns[first]);
  const int right = static_cast<int>(last + 1) * kBits - std::countl_zero(columns[last]);
  return {left, top, right - left, bottom - top};
}

void Intersect(BitPicture& picture, const BitPicture& other) {
  CV_Assert(picture.Size() == other.Size());
  for (int y = 0; y < picture.Size().height; ++y) {
    std::uint64_t* row = picture.Row(y);
    const std::uint64_t* with = other.Row(y);
    for (std::size_t i = 0; i < picture.Words(); ++i) row[i] &= with[i];
  }
}

BitPicture Without(const BitPicture& picture, const BitPicture& other) {
  CV_Assert(picture.Size() == other.Size());
  BitPicture rest(picture.Size());
  for (int y = 0; y < picture.Size().height; ++y) {
    const std::uint64_t* row = picture.Row(y);
    const std::uint64_t* taken = other.Row(y);
    std::uint64_t* to = rest.Row(y);
    for (std::size_t i = 0; i < picture.Words(); ++i) to[i] = row[i] & ~taken[i];
  }
  return rest;
}

void Erode(int reach, BitPicture& picture, BitPicture& scratch) {
  // Erosion is dilation of the black pixels.
  picture.Invert();
  picture.Dilate(reach, scratch);
  picture.Invert();
}

}  // namespace dravix::kernels
