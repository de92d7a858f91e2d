#include <dravix/lab/report.h>
#include <gmock/gmock.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "test/lab/report/screens.h"

namespace dravix::lab {
namespace {

using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::ordered_json;

constexpr std::size_t kMostBytes = 2000000;

/// The text between the first `begin` and the `end` that follows.
std::string Between(const std::string& page, const std::string& begin, const std::string& end) {
  const std::size_t from = page.find(begin) + begin.size();
  return page.substr(from, page.find(end, from) - from);
}

Json JsonOf(const std::string& page, const std::string& id) {
  return Json::parse(
      Between(page, "<script type=\"application/json\" id=\"" + id + "\">", "</script>"));
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

AnalysisOptions WithModules() {
  AnalysisOptions options;
  options.module = {16, 8};
  options.cabinet = {32, 16};
  return options;
}

TEST(Page, HoldsTheAnalysesAsTheToolPrintsThem) {
  cv::Mat1f values = Noise({64, 48}, 1000, 20);
  values(5, 6) = 0;
  const std::vector<ReportInput> inputs = {InputOf(values, "a.lum", WithModules()),
                                           InputOf(Noise({64, 48}, 900, 20), "b.npy")};
  const Json analyses = JsonOf(ReportPage(inputs), "analysis");
  ASSERT_EQ(analyses.size(), 2U);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    Json expected = Json::parse(ToJson(inputs[i].analysis));
    EXPECT_EQ(analyses[i]["file"], inputs[i].file);
    Json found = analyses[i];
    found.erase("file");
    EXPECT_EQ(found, expected);
  }
}

TEST(Page, TextsStayTextsWhateverTheyHold) {
  const std::string wild = "</script><!--<script>alert(1)</script> & \"'\xE2\x80\xA8 \xFF.lum";
  ReportOptions options;
  options.title = "</title>" + wild;
  const std::string plain = ReportPage({InputOf(Noise({30, 20}, 10, 1), "a.lum")});
  const std::string page = ReportPage({InputOf(Noise({30, 20}, 10, 1), wild)}, options);
  for (const char* tag : {"<script", "</script", "<!--", "</title", "alert(1)</"}) {
    EXPECT_EQ(CountOf(page, tag), CountOf(plain, tag)) << tag;
  }
  // Bytes that are no UTF-8 become replacement characters; all else is kept.
  const std::string readable = wild.substr(0, wild.size() - 5) + "\xEF\xBF\xBD.lum";
  EXPECT_EQ(JsonOf(page, "analysis")[0]["file"], readable);
  EXPECT_EQ(JsonOf(page, "report-data")["title"], "</title>" + readable);
  EXPECT_THAT(page, HasSubstr("<title>&lt;/title&gt;&lt;/script&gt;"));
}

TEST(Page, AsksNothingOfANetwork) {
  const std::string page = ReportPage({InputOf(Noise({30, 20}, 10, 1))});
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  for (const char* part : {"src=\"http", "href=\"http", "url(http", "@import", "fetch("}) {
    EXPECT_THAT(page, Not(HasSubstr(part)));
  }
  EXPECT_THAT(page, HasSubstr("The MIT License"));
  EXPECT_THAT(page, HasSubstr("Leon Sorokin"));
}

TEST(Page, EveryMarkOfTheTemplateIsFilledIn) {
  const std::string page = ReportPage({InputOf(Noise({30, 20}, 10, 1))});
  for (const char* mark : {"@TITLE@", "@ANALYSIS@", "@DATA@", "@STYLE@", "@SCRIPT@", "@UPLOT_"}) {
    EXPECT_THAT(page, Not(HasSubstr(mark)));
  }
}

TEST(Page, MarksInTextsAreLeftAlone) {
  const std::string page = ReportPage({InputOf(Noise({30, 20}, 10, 1), "@DATA@@ANALYSIS@.lum")});
  EXPECT_EQ(JsonOf(page, "analysis")[0]["file"], "@DATA@@ANALYSIS@.lum");
}

/// A 3840 x 2160 screen with noise of that share of the level, and 1000 defects.
cv::Mat1f LargeScreen(double noise) {
  cv::Mat1f values = Noise({3840, 2160}, 1000, 1000 * noise);
  for (int i = 0; i < 1000; ++i) values(7 + 61 * (i / 40), 11 + 95 * (i % 40)) = 0;
  return values;
}

TEST(Page, OfALargeScreenIsSmall) {
  for (const double noise : {0.0, 0.005, 0.03}) {
    AnalysisOptions options;
    options.module = {32, 32};
    options.cabinet = {160, 160};
    const ReportInput input = InputOf(LargeScreen(noise), "wall.lum", options);
    EXPECT_EQ(input.analysis.defects.size(), 1000U);
    const std::string page = ReportPage({input});
    EXPECT_LE(page.size(), kMostBytes);
    const Json map = JsonOf(page, "report-data")["results"][0]["map"];
    // One that is coarser than it must be would be small as well.
    EXPECT_LE(map["block"].get<int>(), 4);
    EXPECT_GE(page.size(), noise > 0 ? kMostBytes / 2 : 0);
  }
}

TEST(Page, OfALargeScreenWithAPhotographIsSmall) {
  ReportOptions options;
  ReportPhotograph photograph;
  photograph.file = "wall.shot";
  photograph.image.create(4000, 6000, CV_16UC1);
  cv::RNG(3).fill(photograph.image, cv::RNG::UNIFORM, 0, 65536);
  photograph.outline = {{10, 10}, {5990, 10}, {5990, 3990}, {10, 3990}};
  options.photograph = photograph;
  const std::vector<ReportInput> inputs = {InputOf(LargeScreen(0.04), "a.lum"),
                                           InputOf(LargeScreen(0.04), "b.lum")};
  EXPECT_LE(ReportPage(inputs, options).size(), kMostBytes);
}

struct LargeCase {
  const char* name;
  double noise;
  cv::Size module;
  int results;
};

class LargePages : public testing::TestWithParam<LargeCase> {};

TEST_P(LargePages, AreSmallWithAnyOptions) {
  const LargeCase& c = GetParam();
  AnalysisOptions options;
  options.module = c.module;
  options.cabinet = {c.module.width * 4, c.module.height * 2};
  const std::vector<ReportInput> inputs(static_cast<std::size_t>(c.results),
                                        InputOf(LargeScreen(c.noise), "wall.lum", options));
  const std::string page = ReportPage(inputs);
  EXPECT_LE(page.size(), kMostBytes);
  const Json found = JsonOf(page, "analysis")[0];
  Json expected = Json::parse(ToJson(inputs[0].analysis));
  EXPECT_EQ(found["seams"], expected["seams"]);
  EXPECT_EQ(found["defects"], expected["defects"]);
  EXPECT_EQ(found["modules"]["largest_step"], expected["modules"]["largest_step"]);
}

INSTANTIATE_TEST_SUITE_P(
    Page, LargePages,
    testing::Values(LargeCase{"even8", 0, {8, 8}, 1}, LargeCase{"noisy8", 0.03, {8, 8}, 1},
                    LargeCase{"noisy16", 0.03, {16, 16}, 1},
                    LargeCase{"noisy16x8", 0.04, {16, 8}, 1},
                    LargeCase{"narrow", 0.03, {3840, 1}, 1}, LargeCase{"noisy4", 0.03, {4, 4}, 1},
                    LargeCase{"two8", 0.03, {8, 8}, 2}, LargeCase{"three32", 0.04, {32, 32}, 3}),
    [](const auto& c) { return c.param.name; });

TEST(Page, KeepsTenDigitsOfTheMeansOfSmallModules) {
  AnalysisOptions options;
  options.module = {8, 8};
  const ReportInput input = InputOf(LargeScreen(0.03), "wall.lum", options);
  const std::string page = ReportPage({input});
  const Json means = JsonOf(page, "analysis")[0]["modules"]["means"];
  for (int y = 0; y < 270; y += 7) {
    for (int x = 0; x < 480; x += 7) {
      const double expected = input.analysis.modules->means(y, x);
      const Json& found = means.at(static_cast<std::size_t>(y)).at(static_cast<std::size_t>(x));
      EXPECT_NEAR(found.get<double>(), expected, 1e-9 * expected);
    }
  }
  EXPECT_THAT(page, HasSubstr("digits, so that they fit into this page"));
}

TEST(Page, LeavesOutTheMeansOfTinyModulesAndSaysSo) {
  AnalysisOptions options;
  options.module = {2, 2};
  const ReportInput input = InputOf(Noise({1920, 1080}, 1000, 1), "wall.lum", options);
  const std::string page = ReportPage({input});
  EXPECT_LE(page.size(), kMostBytes);
  EXPECT_TRUE(JsonOf(page, "analysis")[0]["modules"]["means"].is_null());
  EXPECT_THAT(page, HasSubstr("they are left out"));
}

TEST(Page, NamesTheScaleThatWasGiven) {
  ReportOptions options;
  EXPECT_EQ(JsonOf(ReportPage({InputOf(Noise({30, 20}, 10, 1))}), "report-data")["given_scale"],
            nullptr);
  options.scale = ReportScale{2.5, 17};
  const std::string page = ReportPage({InputOf(Noise({30, 20}, 10, 1))}, options);
  EXPECT_EQ(JsonOf(page, "report-data")["given_scale"], Json::array({2.5, 17.0}));
}

TEST(Page, IsTheSameEveryTime) {
  const std::vector<ReportInput> inputs = {InputOf(Noise({30, 20}, 10, 1))};
  EXPECT_EQ(ReportPage(inputs), ReportPage(inputs));
}

TEST(Page, RefusesWhatIsNoReport) {
  EXPECT_THROW(static_cast<void>(ReportPage({})), std::invalid_argument);

  ReportInput input = InputOf(Noise({30, 20}, 10, 1));
  ReportOptions options;
  options.scale = ReportScale{2, 2};
  EXPECT_THROW(static_cast<void>(ReportPage({input}, options)), std::invalid_argument);
  options.scale = ReportScale{std::numeric_limits<double>::quiet_NaN(), 2};
  EXPECT_THROW(static_cast<void>(ReportPage({input}, options)), std::invalid_argument);
  options.scale.reset();
  options.photograph.emplace();
  EXPECT_THROW(static_cast<void>(ReportPage({input}, options)), std::invalid_argument);

  input.values = Noise({31, 20}, 10, 1);
  EXPECT_THROW(static_cast<void>(ReportPage({input})), std::invalid_argument);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_THROW(static_cast<void>(ReportPage({InputOf(cv::Mat1f(3, 3, nan))})),
               std::invalid_argument);
}

}  // namespace
}  // namespace dravix::lab
