#include "checkerboard/pictures/partial_picture.h"

#include <gtest/gtest.h>

#include "support/mats.h"

namespace dravix::checkerboard {
namespace {

TEST(PartialPicture, HasTheCoordinatesOfTheWhole) {
  const cv::Mat whole = test::RandomMat({40, 30}, CV_16UC1, 3, 0, 65536);
  const cv::Rect stored(7, 5, 20, 15);
  const PartialPicture picture(whole(stored).clone(), stored.tl(), whole.size());
  EXPECT_EQ(picture.Size(), whole.size());
  EXPECT_EQ(picture.Type(), CV_16UC1);
  EXPECT_EQ(picture.Stored(), stored);
  for (const cv::Rect part : {stored, cv::Rect(8, 9, 3, 4), cv::Rect(26, 19, 1, 1)}) {
    EXPECT_TRUE(test::SameBytes(picture(part), whole(part))) << part;
  }
  EXPECT_THROW((void)picture(cv::Rect(6, 5, 3, 3)), cv::Exception);
  EXPECT_THROW((void)picture.Whole(), cv::Exception);
}

TEST(PartialPicture, MayBeAWholeOne) {
  const cv::Mat whole = test::RandomMat({40, 30}, CV_8UC1, 3, 0, 256);
  const PartialPicture picture = whole;
  EXPECT_EQ(picture.Stored(), cv::Rect({}, whole.size()));
  EXPECT_EQ(picture.Whole().data, whole.data);
}

}  // namespace
}  // namespace dravix::checkerboard
