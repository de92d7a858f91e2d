// Dilation works first along the rows, then across them. Along a row, shifting a reach of r pixels
// by up to r + 1 and joining it with itself doubles the reach, so that few steps suffice. Across,
// each row of the result joins the rows within reach, which lie in the nearest cache. Bits have no
// rounding: any order gives the same picture.
#include "kernels/bits/bit_picture.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "kernels/parts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/bits/bit_picture.cpp"
#include <hwy/foreach_target.h>  // before highway.h: compiles this file once for each target
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dravix::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<std::uint64_t>;

#if HWY_TARGET == HWY_SCALAR

/// Bit i is set where byte i of eight is above `level`. Each byte gets 16 bits to which so much is
/// added that it carries into the upper byte where it is above. A product collects the carries of
/// four bytes, which lie 16 bits apart, into its uppermost bits.
std::uint64_t EightAbove(const std::uint8_t* gray, int level) {
  constexpr std::uint64_t kOnes = 0x0001000100010001;
  std::uint64_t bytes = 0;
  for (int i = 0; i < 8; ++i) bytes |= std::uint64_t{gray[i]} << (8 * i);
  const std::uint64_t added = kOnes * static_cast<std::uint64_t>(255 - level);
  const std::uint64_t even = (((bytes & (kOnes * 0xFF)) + added) >> 8) & kOnes;
  const std::uint64_t odd = (((bytes >> 8 & (kOnes * 0xFF)) + added) >> 8) & kOnes;
  // Bits 0, 16, 32, 48 of the even bytes and, one higher, of the odd ones.
  const std::uint64_t pairs = even | odd << 1;
  return (pairs * 0x0001000400100040) >> 48 & 0xFF;
}

#endif

/// Bit x is set where byte x is above `level`; `words` words of them.
void CompareBytes(const std::uint8_t* gray, int level, std::size_t words, std::uint64_t* bits) {
  constexpr std::size_t kBits = BitPicture::kWordBits;
#if HWY_TARGET == HWY_SCALAR
  for (std::size_t word = 0; word < words; ++word) {
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < kBits; i += sizeof(std::uint64_t)) {
      found |= EightAbove(gray + word * kBits + i, level) << i;
    }
    bits[word] = found;
  }
#else
  const hn::CappedTag<std::uint8_t, kBits> bytes;
  const auto limit = hn::Set(bytes, static_cast<std::uint8_t>(level));
  for (std::size_t i = 0; i < words * kBits; i += hn::Lanes(bytes)) {
    // Above means that the larger of the two is not the limit.
    const auto value = hn::LoadU(bytes, gray + i);
    const auto above = hn::Ne(hn::Max(value, limit), limit);
    hn::StoreMaskBits(bytes, above, reinterpret_cast<std::uint8_t*>(bits) + i / 8);
  }
#endif
}

/// 255 for every bit that is set, 0 for the others.
void WriteBytes(const std::uint64_t* bits, int width, std::uint8_t* pixels) {
  constexpr int kBits = BitPicture::kWordBits;
  int x = 0;
#if HWY_TARGET != HWY_SCALAR
  const hn::CappedTag<std::uint8_t, kBits> bytes;
  const auto lanes = static_cast<int>(hn::Lanes(bytes));
  for (; x + lanes <= width; x += lanes) {
    const auto white = hn::LoadMaskBits(bytes, reinterpret_cast<const std::uint8_t*>(bits) + x / 8);
    hn::StoreU(hn::VecFromMask(bytes, white), bytes, pixels + x);
  }
#endif
  for (; x < width; ++x) pixels[x] = ((bits[x / kBits] >> (x % kBits)) & 1U) != 0 ? 255 : 0;
}

/// out[i] = in[i] joined with the pixels `distance` (1 to 63) to the left; in[-1] is readable. Rows
/// may follow one another: what leaves one enters the next.
void JoinLeft(const std::uint64_t* in, int distance, std::size_t words, std::uint64_t* out) {
  const Words d;
  for (std::size_t i = 0; i < words; i += hn::Lanes(d)) {
    const auto here = hn::LoadU(d, in + i);
    const auto before = hn::ShiftRightSame(hn::LoadU(d, in + i - 1), 64 - distance);
    hn::StoreU(hn::Or(here, hn::Or(hn::ShiftLeftSame(here, distance), before)), d, out + i);
  }
}

/// The same with the pixels to the right; in[words] is readable.
void JoinRight(const std::uint64_t* in, int distance, std::size_t words, std::uint64_t* out) {
  const Words d;
  for (std::size_t i = 0; i < words; i += hn::Lanes(d)) {
    const auto here = hn::LoadU(d, in + i);
    const auto after = hn::ShiftLeftSame(hn::LoadU(d, in + i + 1), 64 - distance);
    hn::StoreU(hn::Or(here, hn::Or(hn::ShiftRightSame(here, distance), after)), d, out + i);
  }
}

/// out = all of `rows` rows, which lie `words` words apart, joined.
void JoinRows(const std::uint64_t* in, int rows, std::size_t words, std::uint64_t* out) {
  const Words d;
  for (std::size_t i = 0; i < words; i += hn::Lanes(d)) {
    auto all = hn::LoadU(d, in + i);
    for (int k = 1; k < rows; ++k) {
      all = hn::Or(all, hn::LoadU(d, in + static_cast<std::size_t>(k) * words + i));
    }
    hn::StoreU(all, d, out + i);
  }
}

}  // namespace dravix::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dravix::kernels {
namespace {

HWY_EXPORT(CompareBytes);
HWY_EXPORT(JoinLeft);
HWY_EXPORT(JoinRight);
HWY_EXPORT(JoinRows);
HWY_EXPORT(WriteBytes);

constexpr std::size_t kWordsPerVector = 8;  // of the widest vectors

/// The most that one dilation reaches: what leaves a row then stays in the unused bits that
/// separate it from the next one.
constexpr int kMostReach = BitPicture::kWordBits - 1;

/// Dilates rows along themselves, several at a time: a step that reads what the step before has
/// written a moment ago would wait for it.
class AlongRows {
 public:
  static constexpr int kRowsAtOnce = 16;

  explicit AlongRows(std::size_t wordsPerRow)
      : wordsPerRow_(wordsPerRow), first_(wordsPerRow * kRowsAtOnce + 2), second_(first_.size()) {}

  void Dilate(std::uint64_t* rows, int count, int reach) {
    const std::size_t words = wordsPerRow_ * static_cast<std::size_t>(count);
    first_[words + 1] = 0;
    second_[words + 1] = 0;
    std::copy_n(rows, words, first_.begin() + 1);
    Grow(reach, [&](int distance) {
      HWY_DYNAMIC_DISPATCH(JoinLeft)(first_.data() + 1, distance, words, second_.data() + 1);
    });
    Grow(reach, [&](int distance) {
      HWY_DYNAMIC_DISPATCH(JoinRight)(first_.data() + 1, distance, words, second_.data() + 1);
    });
    std::copy_n(first_.begin() + 1, words, rows);
  }

 private:
  template <class Join>
  void Grow(int reach, Join&& join) {
    for (int reached = 0; reached < reach;) {
      const int distance = std::min(reached + 1, reach - reached);
      join(distance);
      first_.swap(second_);
      reached += distance;
    }
  }

  std::size_t wordsPerRow_;
  std::vector<std::uint64_t> first_;  ///< between a zero before and one behind
  std::vector<std::uint64_t> second_;
};

}  // namespace

BitPicture::BitPicture(cv::Size size)
    : size_(size),
      words_((static_cast<std::size_t>(size.width) + kMostReach + kWordBits * kWordsPerVector - 1) /
             (kWordBits * kWordsPerVector) * kWordsPerVector),
      bits_(words_ * static_cast<std::size_t>(size.height)) {}

void BitPicture::ClearBeyondWidth(int y) {
  std::uint64_t* row = Row(y);
  const auto whole = static_cast<std::size_t>(size_.width / kWordBits);
  const int rest = size_.width % kWordBits;
  std::fill(row + whole + (rest > 0 ? 1 : 0), row + words_, 0);
  if (rest > 0) row[whole] &= (std::uint64_t{1} << rest) - 1;
}

void BitPicture::SetAbove(const cv::Mat& gray, int level) {
  CV_Assert(gray.type() == CV_8UC1 && gray.rows == size_.height && gray.cols >= size_.width &&
            gray.cols % kWordBits == 0);
  for (int y = 0; y < size_.height; ++y) SetRowAbove(y, gray.ptr(y), level);
}

void BitPicture::SetRowAbove(int y, const std::uint8_t* gray, int level) {
  const auto words = static_cast<std::size_t>((size_.width + kWordBits - 1) / kWordBits);
  HWY_DYNAMIC_DISPATCH(CompareBytes)(gray, level, words, Row(y));
  ClearBeyondWidth(y);
}

void BitPicture::Invert() {
  ForEachPartOfRows(size_.height, [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      std::transform(Row(y), Row(y) + words_, Row(y), std::bit_not<>());
      ClearBeyondWidth(y);
    }
  });
}

void BitPicture::Dilate(int reach, BitPicture& scratch) {
  CV_Assert(scratch.size_ == size_);
  for (; reach > 0; reach -= kMostReach) {
    const int step = std::min(reach, kMostReach);
    ForEachPartOfRows(size_.height, [&](int begin, int end) {
      AlongRows along(words_);
      for (int y = begin; y < end; y += AlongRows::kRowsAtOnce) {
        const int count = std::min(AlongRows::kRowsAtOnce, end - y);
        along.Dilate(Row(y), count, step);
        for (int k = 0; k < count; ++k) ClearBeyondWidth(y + k);
      }
    });
    ForEachPartOfRows(size_.height, [&](int begin, int end) {
      for (int y = begin; y < end; ++y) {
        const int top = std::max(0, y - step);
        const int bottom = std::min(size_.height - 1, y + step);
        HWY_DYNAMIC_DISPATCH(JoinRows)(Row(top), bottom - top + 1, words_, scratch.Row(y));
      }
    });
    bits_.swap(scratch.bits_);
  }
}

cv::Mat BitPicture::ToMat() const {
  cv::Mat mat(size_, CV_8UC1);
  for (int y = 0; y < size_.height; ++y) {
    HWY_DYNAMIC_DISPATCH(WriteBytes)(Row(y), size_.width, mat.ptr(y));
  }
  return mat;
}

void BitPicture::PaintWhite(const cv::Range& rows, cv::Mat& mat) const {
  CV_Assert(mat.type() == CV_8UC1 && mat.size() == size_);
  for (int y = rows.start; y < rows.end; ++y) {
    HWY_DYNAMIC_DISPATCH(WriteBytes)(Row(y), size_.width, mat.ptr(y));
  }
}

void CloseThenOpen(BitPicture& picture, int side) {
  CV_Assert(side >= 1 && side % 2 == 1);
  const int reach = side / 2;
  BitPicture scratch(picture.Size());
  // Erosion is dilation of the black pixels. Closing ends with one and opening begins with one,
  // which makes a single dilation of twice the reach.
  picture.Dilate(reach, scratch);
  picture.Invert();
  picture.Dilate(2 * reach, scratch);
  picture.Invert();
  picture.Dilate(reach, scratch);
}

}  // namespace dravix::kernels
#endif
