#include "kernels/bits/bit_parts.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <numeric>
#include <vector>

#include "kernels/bits/sample_levels.h"

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

cv::Mat AllWhite(const BitPicture& picture, const cv::Rect& part, int shrink) {
  constexpr std::uint8_t kWhite = 255;
  cv::Mat small(part.size() / shrink, CV_8UC1);
  std::vector<std::uint64_t> all(picture.Words());
  for (int y = 0; y < small.rows; ++y) {
    std::copy_n(picture.Row(part.y + y * shrink), all.size(), all.begin());
    for (int k = 1; k < shrink; ++k) {
      const std::uint64_t* row = picture.Row(part.y + y * shrink + k);
      for (std::size_t i = 0; i < all.size(); ++i) all[i] &= row[i];
    }
    auto* pixels = small.ptr<std::uint8_t>(y);
    for (int x = 0; x < small.cols; ++x) {
      const std::uint64_t square = WordAt(all.data(), all.size(), part.x + x * shrink);
      pixels[x] = (square & Lowest(shrink)) == Lowest(shrink) ? kWhite : 0;
    }
  }
  return small;
}

void Paste(const BitPicture& part, cv::Point at, BitPicture& picture) {
  const auto first = static_cast<std::size_t>(at.x / kBits);
  const int shift = at.x % kBits;
  for (int y = 0; y < part.Size().height; ++y) {
    const std::uint64_t* from = part.Row(y);
    std::uint64_t* to = picture.Row(at.y + y) + first;
    for (int x = 0; x < part.Size().width; x += kBits, ++from, ++to) {
      to[0] |= *from << shift;
      if (shift > 0 && *from >> (kBits - shift) != 0) to[1] |= *from >> (kBits - shift);
    }
  }
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

std::uint64_t SumOfWhite(const std::uint16_t* samples, const std::uint64_t* bits,
                         std::size_t words) {
  std::uint64_t sum = 0;
  for (std::size_t word = 0; word < words; ++word, samples += kBits) {
    if (bits[word] == kAll) {
      sum += std::accumulate(samples, samples + kBits, std::uint32_t{0});
      continue;
    }
    for (std::uint64_t left = bits[word]; left != 0; left &= left - 1) {
      sum += samples[std::countr_zero(left)];
    }
  }
  return sum;
}

void ClearBlack(const std::uint64_t* bits, std::size_t words, std::uint8_t* values) {
  for (std::size_t word = 0; word < words; ++word, values += kBits) {
    if (bits[word] == 0) {
      std::fill_n(values, kBits, std::uint8_t{0});
      continue;
    }
    for (std::uint64_t left = ~bits[word]; left != 0; left &= left - 1) {
      values[std::countr_zero(left)] = 0;
    }
  }
}

void Erode(int reach, BitPicture& picture, BitPicture& scratch) {
  // Erosion is dilation of the black pixels.
  picture.Invert();
  picture.Dilate(reach, scratch);
  picture.Invert();
}

}  // namespace dravix::kernels
