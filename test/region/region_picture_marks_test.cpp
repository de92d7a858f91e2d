// Where the marks of the region's picture stand, to the pixel. Sizes are written out here for two
// pictures: letters and strokes grow with the picture, and these are what a reader sees.
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>
#include <utility>
#include <vector>

#include "region/region_picture.h"
#include "support/mats.h"

namespace {

using dravix::region::CheckPicture;
using dravix::test::SameBytes;

const cv::Scalar kYellow(0, 255, 255);
const cv::Scalar kBlack(0, 0, 0);
const cv::Scalar kPinColor(0, 200, 0);
const cv::Scalar kGray(128, 128, 128);

/// How a picture's letters and strokes are to be.
struct Expected {
  cv::Size picture;
  double fontScale;  // the square root of the picture's pixels, divided by 1200
  int stroke;        // twice that, rounded
  int edge;          // of the letters: the stroke and at least 1 pixel on either side
  int gap;           // between a corner and its label: 6 pixels and 3 strokes
};

// sqrt(1200 * 768) = 960 and sqrt(3600 * 2500) = 3000.
const Expected kSmall = {{1200, 768}, 0.8, 2, 4, 12};
const Expected kLarge = {{3600, 2500}, 2.5, 5, 9, 21};

/// An even picture of which half is as gray as kGray, and a region whose mask has no LED area, so
/// that no outline is in the way of the labels.
RegionOI RegionWithoutOutline(const Expected& expected, const cv::Rect& rect) {
  RegionOI region;
  region.frameWidth = expected.picture.width;
  region.frameHeight = expected.picture.height;
  region.rect = rect;
  region.mask = cv::Mat::zeros(8, 8, CV_8UC1);
  return region;
}

Shot GrayShot(cv::Size size) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = cv::Mat(size, CV_8UC1, cv::Scalar(128));
  shot.device = Shot::Device{};
  shot.device->cam_type = 8;
  return shot;
}

cv::Size TextSize(const std::string& text, const Expected& expected) {
  return cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, expected.fontScale, expected.stroke,
                         nullptr);
}

void PutText(cv::Mat& picture, const std::string& text, cv::Point origin, const Expected& e) {
  for (const auto& [color, width] : {std::pair(kBlack, e.edge), std::pair(kYellow, e.stroke)}) {
    cv::putText(picture, text, origin, cv::FONT_HERSHEY_SIMPLEX, e.fontScale, color, width,
                cv::LINE_AA);
  }
}

/// Whether the picture shows that text there, and nothing else near it.
testing::AssertionResult Shows(const cv::Mat& picture, const std::string& text, cv::Point origin,
                               const Expected& expected) {
  cv::Mat alone(picture.size(), CV_8UC3, kGray);
  PutText(alone, text, origin, expected);
  const cv::Size size = TextSize(text, expected);
  const cv::Rect around =
      cv::Rect(origin.x - expected.edge, origin.y - size.height - expected.edge,
               size.width + 2 * expected.edge, size.height + 2 * expected.edge) &
      cv::Rect({}, picture.size());
  return SameBytes(picture(around), alone(around)) << " for '" << text << "' at " << origin;
}

class RegionPictureMarks : public testing::TestWithParam<Expected> {};

TEST_P(RegionPictureMarks, LabelsStandAboveAndBelowTheCornersWithinTheRectanglesWidth) {
  const Expected& e = GetParam();
  const cv::Size& size = e.picture;
  const cv::Rect rect(size.width / 10, size.height / 5, size.width * 4 / 5, size.height / 2);
  const cv::Mat picture = CheckPicture(RegionWithoutOutline(e, rect), GrayShot(size));
  const int left = rect.x;
  const int top = rect.y;
  const int right = rect.x + rect.width - 1;
  const int bottom = rect.y + rect.height - 1;
  const auto label = [](const char* name, int x, int y) {
    return std::string(name) + " (" + std::to_string(x) + ", " + std::to_string(y) + ")";
  };
  const std::string topRight = label("TR", right, top);
  const std::string bottomRight = label("BR", right, bottom);
  const std::string bottomLeft = label("BL", left, bottom);
  const int above = top - 2 * e.gap;
  EXPECT_TRUE(Shows(picture, label("TL", left, top), {left, above}, e));
  EXPECT_TRUE(Shows(picture, topRight, {right - TextSize(topRight, e).width, above}, e));
  const cv::Size lower = TextSize(bottomRight, e);
  const int below = bottom + 2 * e.gap + lower.height;
  EXPECT_TRUE(Shows(picture, bottomRight, {right - lower.width, below}, e));
  EXPECT_TRUE(Shows(picture, bottomLeft, {left, below}, e));
}

TEST_P(RegionPictureMarks, SizesOfRectangleAndFrameStandInTheMiddle) {
  const Expected& e = GetParam();
  const cv::Rect rect(101, 203, e.picture.width - 203, e.picture.height - 405);
  RegionOI region = RegionWithoutOutline(e, rect);
  region.frameWidth = 1234;
  region.frameHeight = 777;
  const cv::Mat picture = CheckPicture(region, GrayShot(e.picture));
  const std::string first = std::to_string(rect.width) + " x " + std::to_string(rect.height);
  const std::string second = "of frame 1234 x 777";
  const int x = rect.x + rect.width / 2;
  const int y = rect.y + rect.height / 2;
  const cv::Size size = TextSize(first, e);
  EXPECT_TRUE(Shows(picture, first, {x - size.width / 2, y}, e));
  EXPECT_TRUE(Shows(picture, second, {x - TextSize(second, e).width / 2, y + 2 * size.height}, e));
}

/// The bounding rectangle of what has that color.
cv::Rect Drawn(const cv::Mat& picture, const cv::Scalar& color) {
  cv::Mat drawn;
  cv::inRange(picture, color, color, drawn);
  return cv::boundingRect(drawn);
}

TEST_P(RegionPictureMarks, LabelsOfCornersFarOutsideStandInsideThePicture) {
  const Expected& e = GetParam();
  const int width = e.picture.width;
  const int height = e.picture.height;
  // All four corners are near one point, outside a corner of the picture: the labels lie over each
  // other, and all that is drawn is black and yellow.
  for (const cv::Point& at :
       {cv::Point(-900, -900), cv::Point(width + 900, -900), cv::Point(width + 900, height + 900),
        cv::Point(-900, height + 900)}) {
    const RegionOI region = RegionWithoutOutline(e, cv::Rect(at, cv::Size(1, 1)));
    const cv::Mat picture = CheckPicture(region, GrayShot(e.picture));
    cv::Mat expected(e.picture, CV_8UC3, kGray);
    const std::string where = " (" + std::to_string(at.x) + ", " + std::to_string(at.y) + ")";
    const std::string frame = "of frame " + std::to_string(width) + " x " + std::to_string(height);
    for (const std::string& text :
         {"TL" + where, "TR" + where, "BR" + where, "BL" + where, std::string("1 x 1"), frame}) {
      int below = 0;
      const cv::Size size =
          cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, e.fontScale, e.edge, &below);
      const cv::Point origin(at.x < 0 ? e.edge : width - size.width - e.edge,
                             at.y < 0 ? size.height + e.edge : height - below - e.edge);
      PutText(expected, text, origin, e);
    }
    EXPECT_TRUE(SameBytes(picture, expected)) << at;
  }
}

TEST_P(RegionPictureMarks, BracketsStandOutsideTheRectangle) {
  const Expected& e = GetParam();
  const int far = 5 + e.stroke;  // from the corner to the bracket's middle
  const int length = 6 * e.gap;
  const cv::Rect rect(400, 300, 500, 260);
  const cv::Mat picture = CheckPicture(RegionWithoutOutline(e, rect), GrayShot(e.picture));
  const cv::Point corners[] = {{400, 300}, {899, 300}, {899, 559}, {400, 559}};
  const cv::Point outward[] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
  for (int i = 0; i < 4; ++i) {
    const cv::Point knee = corners[i] + far * outward[i];
    cv::Mat expected(e.picture, CV_8UC3, kGray);
    cv::circle(expected, corners[i], 3, cv::Scalar(0, 0, 255), 1, cv::LINE_8);
    cv::line(expected, knee, {knee.x - outward[i].x * length, knee.y}, kYellow, e.stroke);
    cv::line(expected, knee, {knee.x, knee.y - outward[i].y * length}, kYellow, e.stroke);
    // The label stands twice the gap away. Its edge and its comma reach back a little.
    const int reach = e.gap;
    const cv::Point inner = corners[i] - (length + 9) * outward[i];
    const cv::Point outer = corners[i] + reach * outward[i];
    const cv::Rect around =
        cv::boundingRect(std::vector<cv::Point>{inner, outer}) & cv::Rect({}, e.picture);
    cv::Rect free = around;
    if (e.picture == kLarge.picture) {
      // Here the sizes in the middle are wide enough to come near the brackets.
      const cv::Point near = corners[i] - 9 * outward[i];
      free = cv::boundingRect(std::vector<cv::Point>{near, outer});
    }
    EXPECT_TRUE(SameBytes(picture(free), expected(free))) << i;
  }
}

TEST_P(RegionPictureMarks, CornersThatJustTouchThePictureAreMarked) {
  const Expected& e = GetParam();
  const int width = e.picture.width;
  const int height = e.picture.height;
  // A circle of 3 pixels reaches back into the picture from 3 pixels outside.
  const auto circles = [&](const cv::Point& at) {
    const RegionOI region = RegionWithoutOutline(e, cv::Rect(at, cv::Size(1, 1)));
    const cv::Mat picture = CheckPicture(region, GrayShot(e.picture));
    return !Drawn(picture, cv::Scalar(0, 0, 255)).empty();
  };
  EXPECT_TRUE(circles({-3, height / 2}));
  EXPECT_FALSE(circles({-4, height / 2}));
  EXPECT_TRUE(circles({width / 2, -3}));
  EXPECT_FALSE(circles({width / 2, -4}));
  EXPECT_TRUE(circles({width + 2, height / 2}));
  EXPECT_TRUE(circles({width / 2, height + 2}));
}

INSTANTIATE_TEST_SUITE_P(Sizes, RegionPictureMarks, testing::Values(kSmall, kLarge));

TEST(RegionPictureText, IsNeverSmallerThanNinePixels) {
  // sqrt(100 * 400) / 1200 = 0.17, but capitals of 9 pixels need 0.45.
  const Expected e = {{400, 100}, 0.45, 1, 3, 9};
  const RegionOI region = RegionWithoutOutline(e, {20, 40, 300, 30});
  const cv::Mat picture = CheckPicture(region, GrayShot(e.picture));
  EXPECT_TRUE(Shows(picture, "TL (20, 40)", {20, 40 - 18}, e));
}

// --- pins ---

TEST(RegionPicturePins, AreFortyEightStrokesOfTwoGapsThatBeginBesideTheOutline) {
  const Expected& e = kSmall;
  RegionOI region = RegionWithoutOutline(e, {300, 200, 1, 1});
  region.mask = cv::Mat(361, 481, CV_8UC1, cv::Scalar(255));
  const cv::Mat picture = CheckPicture(region, GrayShot(e.picture));
  // The outline has 2 * (480 + 360) = 1680 pixels, so a pin stands at every 35th. On the sides,
  // away from the corners, it is at right angles to the outline.
  const auto rowsWherePinsBegin = [&](int x) {
    std::vector<int> rows;
    bool before = false;
    for (int y = 260; y < 500; ++y) {
      const bool pin = cv::Scalar(picture.at<cv::Vec3b>(y, x)) == kPinColor;
      if (pin && !before) rows.push_back(y);
      before = pin;
    }
    return rows;
  };
  for (const int side : {-1, 1}) {
    const int outline = side < 0 ? 300 : 780;
    const std::vector<int> rows = rowsWherePinsBegin(outline + side * 17);
    ASSERT_EQ(rows.size(), 7U) << side;
    for (std::size_t i = 1; i < rows.size(); ++i) EXPECT_EQ(rows[i] - rows[i - 1], 35);
    // From 5 pixels outside, which are the circle's radius and the stroke, to 29.
    EXPECT_EQ(rowsWherePinsBegin(outline + side * 5), rows);
    EXPECT_EQ(rowsWherePinsBegin(outline + side * 29), rows);
    EXPECT_TRUE(rowsWherePinsBegin(outline + side * 2).empty());
    EXPECT_TRUE(rowsWherePinsBegin(outline + side * 32).empty());
    EXPECT_TRUE(rowsWherePinsBegin(outline - side * 17).empty()) << "none inside";
  }
}

TEST(RegionPicturePins, ShortOutlineHasNone) {
  const auto pins = [](int side) {
    RegionOI region = RegionWithoutOutline(kSmall, {600, 384, 1, 1});
    region.mask = cv::Mat(side, side, CV_8UC1, cv::Scalar(255));
    cv::Mat drawn;
    cv::inRange(CheckPicture(region, GrayShot(kSmall.picture)), kPinColor, kPinColor, drawn);
    return cv::countNonZero(drawn);
  };
  EXPECT_EQ(pins(12), 0) << "44 pixels of outline for 48 pins";
  EXPECT_GT(pins(60), 0);
}

// --- outlines at the picture's border ---

TEST(RegionPictureOutline, OfAnAreaThatTouchesThePictureByOnePixelIsDrawn) {
  const cv::Size size = kSmall.picture;
  const auto green = [&](const cv::Point& at) {
    RegionOI region = RegionWithoutOutline(kSmall, cv::Rect(at, cv::Size(1, 1)));
    region.mask = cv::Mat(40, 40, CV_8UC1, cv::Scalar(255));
    const cv::Mat picture = CheckPicture(region, GrayShot(size));
    // The pins of an area beside the picture would reach into it.
    return !Drawn(picture, kPinColor).empty() || !Drawn(picture, cv::Scalar(0, 255, 0)).empty() ||
           !Drawn(picture, cv::Scalar(255, 0, 255)).empty();
  };
  EXPECT_TRUE(green({size.width - 1, 384}));
  EXPECT_FALSE(green({size.width, 384}));
  EXPECT_TRUE(green({600, size.height - 1}));
  EXPECT_FALSE(green({600, size.height}));
  EXPECT_TRUE(green({-39, 384}));
  EXPECT_FALSE(green({-40, 384}));
  EXPECT_TRUE(green({600, -39}));
  EXPECT_FALSE(green({600, -40}));
}

TEST(RegionPictureOutline, OfARegionOnePixelWideIsDrawn) {
  for (const cv::Size& size : {cv::Size(1, 200), cv::Size(200, 1), cv::Size(1, 1)}) {
    RegionOI region = RegionWithoutOutline(kSmall, cv::Rect(500, 300, 400, 300));
    region.mask = cv::Mat(size, CV_8UC1, cv::Scalar(255));
    const cv::Mat picture = CheckPicture(region, GrayShot(kSmall.picture));
    // The box of a line is the line itself, and it is drawn over the outline.
    EXPECT_EQ(cv::Scalar(picture.at<cv::Vec3b>(300 + size.height / 2, 500 + size.width / 2)),
              cv::Scalar(255, 0, 255))
        << size;
  }
}

}  // namespace
