#include "lab/pictures/ticks.h"

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <vector>

namespace dravix::lab {
namespace {

using testing::ElementsAre;

std::vector<std::string> TextsOf(double low, double high, int count) {
  std::vector<std::string> texts;
  for (const Tick& tick : TicksOf(low, high, count)) texts.push_back(tick.text);
  return texts;
}

TEST(Ticks, StandAtRoundNumbers) {
  EXPECT_THAT(TextsOf(0.93, 1.41, 5), ElementsAre("1.0", "1.1", "1.2", "1.3", "1.4"));
  EXPECT_THAT(TextsOf(3, 61, 3), ElementsAre("20", "40", "60"));
}

TEST(Ticks, EndsOfTheScaleMayHaveOne) {
  EXPECT_THAT(TextsOf(-0.2, 0.2, 4), ElementsAre("-0.2", "-0.1", "0.0", "0.1", "0.2"));
}

TEST(Ticks, SharesRunFromTheLowEndToTheHighOne) {
  const std::vector<Tick> ticks = TicksOf(10, 20, 2);
  ASSERT_EQ(ticks.size(), 3U);
  EXPECT_DOUBLE_EQ(ticks[0].share, 0);
  EXPECT_DOUBLE_EQ(ticks[1].share, 0.5);
  EXPECT_DOUBLE_EQ(ticks[2].share, 1);
}

TEST(Ticks, LongNumbersHaveAnExponent) {
  EXPECT_THAT(TextsOf(9.8e-8, 1.03e-7, 3), ElementsAre("9.80e-08", "1.00e-07", "1.02e-07"));
  EXPECT_THAT(TextsOf(2.9e9, 3.1e9, 2), ElementsAre("2.9e+09", "3.0e+09", "3.1e+09"));
}

TEST(Ticks, AreToldApartAtEveryScale) {
  for (double level = 1e-12; level < 1e12; level *= 7) {
    for (const double share : {1e-6, 1e-3, 0.02, 0.5, 10.0}) {
      const std::vector<std::string> texts = TextsOf(level * (1 - share), level, 7);
      EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), texts.size())
          << level << ", " << share << ": " << testing::PrintToString(texts);
      EXPECT_GE(texts.size(), 2U);
      for (const std::string& text : texts) {
        EXPECT_LE(text.size(), 14U) << text;
        EXPECT_FALSE(text.front() == '-' && std::stod(text) == 0) << text;
      }
    }
  }
}

}  // namespace
}  // namespace dravix::lab
