#include "kernels/bits/bit_parts.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "image/lit_area.h"
#include "kernels/bits/areas.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::BitPicture;
using kernels::BitsOf;

cv::Mat Specks(std::uint64_t seed, cv::Size size, double share) {
  return RandomMat(size, CV_8UC1, seed, 0, 100) < 100 * share;
}

/// A picture of random size and a part of it; every other one begins or ends at the border.
struct Part {
  explicit Part(std::uint64_t seed) {
    cv::RNG random(seed * 131 + 7);
    const cv::Size size(random.uniform(1, 300), random.uniform(1, 60));
    picture = Specks(random.next(), size, 0.4);
    const int x = random.uniform(0, 2) == 0 ? 0 : random.uniform(0, size.width);
    const int y = random.uniform(0, size.height);
    const int right = random.uniform(0, 2) == 0 ? size.width : random.uniform(x, size.width) + 1;
    part = {x, y, right - x, random.uniform(y, size.height) + 1 - y};
  }
  cv::Mat picture;
  cv::Rect part;
};

class BitParts : public testing::TestWithParam<int> {
 protected:
  Part p_{static_cast<std::uint64_t>(GetParam())};
};

TEST_P(BitParts, AreCutAndPasted) {
  const BitPicture bits = BitsOf(p_.picture);
  EXPECT_TRUE(SameBytes(bits.ToMat(), p_.picture));
  EXPECT_TRUE(SameBytes(Cut(bits, p_.part).ToMat(), p_.picture(p_.part)));
  EXPECT_TRUE(SameBytes(CutMat(bits, p_.part), p_.picture(p_.part)));
  cv::Mat expected = Specks(3, p_.picture.size(), 0.1);
  BitPicture pasted = BitsOf(expected);
  Paste(Cut(bits, p_.part), p_.part.tl(), pasted);
  expected(p_.part) |= p_.picture(p_.part);
  EXPECT_TRUE(SameBytes(pasted.ToMat(), expected));
  EXPECT_EQ(IsWhite(bits, p_.part.tl()), p_.picture.at<uchar>(p_.part.tl()) != 0);
}

TEST_P(BitParts, ShrinkToWhatIsAllWhite) {
  const cv::Mat full = Specks(static_cast<std::uint64_t>(GetParam()) + 40, p_.picture.size(), 0.95);
  for (const int shrink : {1, 2, 3, 8}) {
    cv::Rect part = p_.part;
    part.width -= part.width % shrink;
    part.height -= part.height % shrink;
    if (part.empty()) continue;
    cv::Mat expected;
    cv::resize(full(part), expected, part.size() / shrink, 0, 0, cv::INTER_AREA);
    cv::threshold(expected, expected, 254, 255, cv::THRESH_BINARY);
    EXPECT_TRUE(SameBytes(AllWhite(BitsOf(full), part, shrink), expected)) << shrink;
  }
}

TEST_P(BitParts, AreFilledAndCounted) {
  BitPicture bits = BitsOf(p_.picture);
  EXPECT_EQ(WhitePixels(bits, p_.part), cv::countNonZero(p_.picture(p_.part)));
  Fill(p_.part, bits);
  p_.picture(p_.part).setTo(255);
  EXPECT_TRUE(SameBytes(bits.ToMat(), p_.picture));
}

TEST_P(BitParts, AreBoundedLikeTheMatrixLibraryDoes) {
  const cv::Mat few = Specks(static_cast<std::uint64_t>(GetParam()), p_.picture.size(), 0.01);
  EXPECT_EQ(BoundsOf(BitsOf(few)), cv::boundingRect(few));
  EXPECT_TRUE(BoundsOf(BitPicture(p_.picture.size())).empty());
}

TEST_P(BitParts, CombineLikeSets) {
  const cv::Mat other =
      Specks(static_cast<std::uint64_t>(GetParam()) + 500, p_.picture.size(), 0.5);
  BitPicture both = BitsOf(p_.picture);
  Intersect(both, BitsOf(other));
  EXPECT_TRUE(SameBytes(both.ToMat(), p_.picture & other));
  EXPECT_TRUE(SameBytes(Without(BitsOf(p_.picture), BitsOf(other)).ToMat(), p_.picture & ~other));
}

TEST_P(BitParts, ErodeLikeTheMatrixLibrary) {
  const cv::Mat full =
      Specks(static_cast<std::uint64_t>(GetParam()) + 900, p_.picture.size(), 0.98);
  for (const int reach : {1, 5, 10}) {
    BitPicture bits = BitsOf(full);
    BitPicture scratch(bits.Size());
    Erode(reach, bits, scratch);
    cv::Mat expected;
    const int side = 2 * reach + 1;
    cv::erode(full, expected, cv::getStructuringElement(cv::MORPH_RECT, {side, side}));
    EXPECT_TRUE(SameBytes(bits.ToMat(), expected)) << reach;
  }
}

TEST_P(BitParts, BoxesOfAreasAreThoseOfTheOutlinesInTheirOrder) {
  cv::Mat picture = Specks(static_cast<std::uint64_t>(GetParam()) + 70, p_.picture.size(), 0.15);
  if (GetParam() % 2 == 0) cv::dilate(picture, picture, {});
  const BitPicture bits = BitsOf(picture);
  const auto boxes = BoxesWithoutHoles(bits);
  ASSERT_EQ(boxes.has_value(), TopologyOf(bits).holes == 0);
  if (!boxes) return;
  std::vector<cv::Rect> expected;
  for (const image::Contour& outline : image::OuterContours(picture)) {
    expected.push_back(cv::boundingRect(outline));
  }
  EXPECT_EQ(*boxes, expected);
}

INSTANTIATE_TEST_SUITE_P(Seeds, BitParts, testing::Range(0, 40));

TEST(BoxesWithoutHoles, RefusesAnAreaWithAHole) {
  cv::Mat ring = cv::Mat::zeros(9, 80, CV_8UC1);
  cv::rectangle(ring, {60, 2}, {66, 7}, 255);
  EXPECT_FALSE(kernels::BoxesWithoutHoles(BitsOf(ring)));
}

}  // namespace
}  // namespace dravix::test
