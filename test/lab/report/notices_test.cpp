#include "lab/report/notices.h"

#include <gmock/gmock.h>

#include <limits>

#include "lab/report/page_json.h"
#include "test/lab/report/screens.h"

namespace dravix::lab {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

auto Warning(const std::string& part) {
  return AllOf(Field(&Notice::isWarning, true), Field(&Notice::text, HasSubstr(part)));
}
auto Remark(const std::string& part) {
  return AllOf(Field(&Notice::isWarning, false), Field(&Notice::text, HasSubstr(part)));
}

std::vector<Notice> NoticesFor(const cv::Mat& values, const AnalysisOptions& options = {},
                               int block = 1) {
  return NoticesOf({InputOf(values, "a.lum", options)}, {block}, kAllDigits, {});
}

TEST(Notices, AGoodScreenHasNone) { EXPECT_THAT(NoticesFor(Noise({60, 40}, 1000, 20)), IsEmpty()); }

TEST(Notices, SayHowManyLedsWereNotMeasured) {
  cv::Mat1f values = Noise({60, 40}, 1000, 20);
  values(3, 4) = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THAT(NoticesFor(values), ElementsAre(Warning("1 LED of 2,400 LEDs was not measured")));
  values(3, 5) = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THAT(NoticesFor(values), ElementsAre(Warning("2 LEDs of 2,400 LEDs were not measured")));
}

TEST(Notices, CountDefectsByKind) {
  cv::Mat1f values(40, 60, 1000.0F);
  values(10, 10) = 0;
  values(20, 20) = 2000;
  values(30, 30) = 2000;
  EXPECT_THAT(NoticesFor(values), ElementsAre(Warning("Defects: 1 dead, 2 bright.")));
}

TEST(Notices, TellOfManyLedsAtTheLargestValue) {
  cv::Mat1f values = Noise({60, 40}, 1000, 20);
  values(cv::Rect(0, 0, 60, 5)) = 1200;
  EXPECT_THAT(NoticesFor(values), ElementsAre(Warning("300 LEDs (12 %) have exactly the largest")));
}

TEST(Notices, TellOfCopiesUntilTheyAreLeftOut) {
  const cv::Mat1f values = Noise({60, 40}, 1000, 20);
  AnalysisOptions options;
  options.copiedBorder = 4;
  // 60 x 40 LEDs without 52 x 32 are 736.
  EXPECT_THAT(NoticesFor(values, options), ElementsAre(Warning("736 LEDs are copies")));
  options.edge = 4;
  EXPECT_THAT(NoticesFor(values, options), ElementsAre(Remark("The figures leave them out")));
}

TEST(Notices, TellOfFewLedsAndOfDarkness) {
  EXPECT_THAT(NoticesFor(Noise({5, 4}, 1000, 20)), ElementsAre(Warning("Only 20 LEDs count")));
  EXPECT_THAT(NoticesFor(Noise({60, 40}, -5, 1)), ElementsAre(Warning("median is not above 0")));
}

TEST(Notices, RemarksFollowWarnings) {
  cv::Mat1f values(40, 60, 1000.0F);
  values(10, 10) = 0;
  values(20, 20) = 1001;
  EXPECT_THAT(NoticesFor(values, {}, 3),
              ElementsAre(Warning("1 dead"), Remark("mean of 3 x 3 LEDs")));
}

TEST(Notices, TellOfResultsOfDifferentSizes) {
  const std::vector<ReportInput> inputs = {InputOf(Noise({60, 40}, 1000, 20), "a.lum"),
                                           InputOf(Noise({50, 40}, 1000, 20), "b.lum")};
  EXPECT_THAT(NoticesOf(inputs, {1, 1}, kAllDigits, {}),
              ElementsAre(Warning("a.lum has 60 x 40 LEDs, b.lum has 50 x 40")));
}

}  // namespace
}  // namespace dravix::lab
