#include "kernels/quotient.h"

#include <gtest/gtest.h>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

TEST(Quotients, EqualTheMatrixLibraryAlsoWhereTheyAreTooLarge) {
  cv::RNG random(5);
  for (const int type : {CV_8UC1, CV_16UC1}) {
    for (const double scale : {0.0, 1e-3, 0.7, 13.3, 80.0 * 4095, 5e6}) {
      const double high = type == CV_8UC1 ? 256 : 65536;
      const cv::Size size(192, 50);
      const cv::Mat above = RandomMat(size, type, random.next(), 0, high);
      cv::Mat below = RandomMat(size, type, random.next(), 0, scale > 1e4 ? high : high / 20);
      below.setTo(0, RandomMat(size, CV_8UC1, random.next(), 0, 8) == 0);
      cv::Mat expected;
      cv::divide(above, below, expected, scale, CV_8U);
      cv::Mat wideAbove;
      cv::Mat wideBelow;
      above.convertTo(wideAbove, CV_16U);
      below.convertTo(wideBelow, CV_16U);
      OnEachTarget([&] {
        cv::Mat quotients(size, CV_8UC1);
        kernels::Quotients(wideAbove.ptr<std::uint16_t>(), wideBelow.ptr<std::uint16_t>(),
                           quotients.total(), static_cast<float>(scale), quotients.data);
        EXPECT_TRUE(SameBytes(quotients, expected)) << type << ' ' << scale;
      });
    }
  }
}

}  // namespace
}  // namespace dravix::test
