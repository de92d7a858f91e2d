#include <dravix/lab/check.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "lab/check/cases.h"

namespace dravix::lab {
namespace {

using test::CheckCase;
using test::IdsOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// Not the seeds with which the thresholds were chosen.
constexpr std::uint64_t kSeed = 77;

class GoodPhotographs : public testing::TestWithParam<int> {};

TEST_P(GoodPhotographs, HaveNoFindings) {
  const CheckCase c = test::GoodCase(kSeed, GetParam());
  EXPECT_THAT(IdsOf(Check(c.photo, c.Options())), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Check, GoodPhotographs, testing::Range(0, 10));

class Mistakes : public testing::TestWithParam<std::tuple<std::string, int>> {};

TEST_P(Mistakes, HaveTheirOwnFinding) {
  const auto& [id, index] = GetParam();
  const CheckCase c = test::WrongCase(id, kSeed, index);
  const std::vector<std::string> ids = IdsOf(Check(c.photo, c.Options()));
  std::vector<std::string> accepted = {id};
  if (id == "moire") accepted.emplace_back("too-sharp");
  EXPECT_THAT(ids, Contains(testing::AnyOfArray(accepted)));
  const std::vector<std::string>& beside = test::MayStandBeside(id);
  accepted.insert(accepted.end(), beside.begin(), beside.end());
  EXPECT_THAT(ids, testing::Each(testing::AnyOfArray(accepted)));
}

INSTANTIATE_TEST_SUITE_P(Check, Mistakes,
                         testing::Combine(testing::ValuesIn(test::CheckIds()),
                                          testing::Range(0, 4)));

/// A finding with that id; fails the test where there is none.
Finding Found(const std::vector<Finding>& findings, const std::string& id) {
  for (const Finding& finding : findings) {
    if (finding.id == id) return finding;
  }
  ADD_FAILURE() << "no finding " << id;
  return {};
}

Shot Plain(const cv::Mat& image) {
  Shot shot;
  shot.image = image;
  shot.type = CIE_Y;
  shot.pattern = Shot::Pattern{0, 1, 1, 0, 0, 20, 10};
  return shot;
}

TEST(Check, OfNoPixelsIsNoArea) {
  EXPECT_THAT(IdsOf(Check(Shot())), testing::UnorderedElementsAre("no-area", "pattern"));
}

TEST(Check, TakesPicturesOfAnySizeDepthAndChannels) {
  cv::RNG random(3);
  for (const int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F}) {
    for (const int channels : {1, 3, 4}) {
      for (const cv::Size size :
           {cv::Size(1, 1), cv::Size(2, 90), cv::Size(90, 2), cv::Size(9, 9), cv::Size(64, 48)}) {
        cv::Mat image(size, CV_MAKETYPE(depth, channels));
        random.fill(image, cv::RNG::UNIFORM, 0, 100);
        EXPECT_NO_THROW(static_cast<void>(Check(Plain(image))));
      }
    }
  }
}

TEST(Check, TakesWhatIsNoNumberForDark) {
  cv::Mat image(200, 300, CV_32FC1, cv::Scalar(0));
  image(cv::Rect(50, 50, 200, 100)) = 1.0F;
  image.at<float>(100, 100) = std::numeric_limits<float>::quiet_NaN();
  image.at<float>(10, 10) = std::numeric_limits<float>::infinity();
  EXPECT_THAT(IdsOf(Check(Plain(image))), testing::Not(Contains("no-area")));
}

TEST(Check, OfAnEvenPictureIsNoArea) {
  for (const int level : {0, 100, 65535}) {
    const cv::Mat image(300, 400, CV_16UC1, cv::Scalar(level));
    EXPECT_THAT(IdsOf(Check(Plain(image))), Contains("no-area")) << level;
  }
}

TEST(Check, RefusesAnotherNumberOfCorners) {
  CheckOptions options;
  options.corners = {{1, 1}, {2, 2}};
  const auto check = [&] { static_cast<void>(Check(Shot(), options)); };
  EXPECT_THAT(check, testing::ThrowsMessage<std::invalid_argument>(
                         HasSubstr("found 2 corners, expected four")));
}

TEST(Check, TakesCornersThatAreNoQuadrilateral) {
  const CheckCase c = test::GoodCase(kSeed, 0);
  CheckOptions options;
  options.corners = {{5, 5}, {5, 5}, {5, 5}, {5, 5}};
  EXPECT_THAT(IdsOf(Check(c.photo, options)), Contains("corners-off"));
}

TEST(Check, ErrorsComeFirst) {
  CheckCase c = test::WrongCase("too-dark", kSeed, 0);
  c.photo.pattern.reset();
  const std::vector<Finding> findings = Check(c.photo);
  ASSERT_THAT(findings, SizeIs(testing::Ge(2U)));
  EXPECT_EQ(findings.front().id, "pattern");
  EXPECT_EQ(findings.front().severity, Severity::kError);
  EXPECT_EQ(findings.back().severity, Severity::kWarning);
  EXPECT_FALSE(IsOk(findings));
}

TEST(Check, ThatFoundOnlyWarningsIsOk) {
  const CheckCase c = test::WrongCase("too-dark", kSeed, 1);
  const std::vector<Finding> findings = Check(c.photo);
  EXPECT_THAT(findings, Not(IsEmpty()));
  EXPECT_TRUE(IsOk(findings));
}

TEST(PatternFinding, CountsTheLitLedsOfThePartitionRoundedUp) {
  Shot shot = Plain(cv::Mat());
  shot.partition = Shot::Partition{0, 0, 41, 19, 41, 19};
  shot.pattern = Shot::Pattern{0, 2, 3, 1, 1, 20, 6};
  EXPECT_THAT(IdsOf(Check(shot)), ElementsAre("no-area"));
  shot.pattern->loc_x = 0;  // now 21 lie across
  const Finding finding = Found(Check(shot), "pattern");
  EXPECT_THAT(finding.message, HasSubstr("it lights 21 x 6"));
}

TEST(SaturatedFinding, NamesShareAndTop) {
  CheckCase c = test::WrongCase("saturated", kSeed, 0);
  const Finding finding = Found(Check(c.photo), "saturated");
  const double top = (1 << (c.photo.device->cam_type % 100)) - 1;
  EXPECT_EQ(std::get<double>(finding.values[1].second), top);
  EXPECT_GT(std::get<double>(finding.values[0].second), 0.001);
}

TEST(SaturatedFinding, IsSeenByItsPlateauWhereTheCameraIsNotKnown) {
  CheckCase c = test::WrongCase("saturated", kSeed, 1);
  c.photo.device.reset();
  EXPECT_THAT(IdsOf(Check(c.photo)), Contains("saturated"));
}

TEST(LedCountFinding, TellsWhatIsSeen) {
  // The first of these has a wrong count across and the right one down.
  const CheckCase c = test::WrongCase("led-count", kSeed, 0);
  const Finding finding = Found(Check(c.photo), "led-count");
  const auto seen = std::get<std::vector<double>>(finding.values.at(0).second);
  const auto said = std::get<std::vector<double>>(finding.values.at(1).second);
  EXPECT_NE(seen[0], said[0]);
  EXPECT_NEAR(seen[1], said[1], std::max(0.5, 0.02 * said[1]));
}

TEST(EdgeCopiedFinding, CountsTheBorder) {
  const Finding finding = EdgeCopied({40, 30}, 4);
  EXPECT_EQ(finding.severity, Severity::kWarning);
  EXPECT_EQ(finding.values[0].first, "copied");
  EXPECT_EQ(std::get<double>(finding.values[0].second), 40 * 30 - 32 * 22);
  EXPECT_EQ(std::get<double>(EdgeCopied({6, 5}, 4).values[0].second), 30);
}

TEST(FindingsJson, HasIdSeverityMessageAndValues) {
  const auto json = nlohmann::json::parse(ToJson("a \"b\".shot", {EdgeCopied({40, 30}, 4)}));
  EXPECT_EQ(json["photo"], "a \"b\".shot");
  EXPECT_EQ(json["ok"], true);
  ASSERT_EQ(json["findings"].size(), 1U);
  EXPECT_EQ(json["findings"][0]["id"], "edge-copied");
  EXPECT_EQ(json["findings"][0]["severity"], "warning");
  EXPECT_EQ(json["findings"][0]["values"]["copied"], 496);
  EXPECT_EQ(json["findings"][0]["values"]["leds"], nlohmann::json({40, 30}));
  EXPECT_EQ(nlohmann::json::parse(ToJson(std::vector<Finding>())), nlohmann::json::array());
}

}  // namespace
}  // namespace dravix::lab
