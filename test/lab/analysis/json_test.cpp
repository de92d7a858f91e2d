#include <dravix/lab/analysis.h>
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/analysis/matrix.h"

namespace dravix::lab {
namespace {

using Json = nlohmann::ordered_json;
using testing::ElementsAre;

std::vector<std::string> KeysOf(const Json& json) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : json.items()) keys.push_back(key);
  return keys;
}

AnalysisOptions WithModules() {
  AnalysisOptions options;
  options.module = {2, 2};
  options.cabinet = {4, 4};
  options.at = {2, 4};
  return options;
}

TEST(AnalysisJson, KeysKeepTheirOrder) {
  const Json json = Json::parse(ToJson(Analyze(cv::Mat1f(4, 4, 1.0F), WithModules())));
  EXPECT_THAT(KeysOf(json), ElementsAre("size", "at", "level", "uniformity", "modules", "seams",
                                        "seam_rms", "defects", "counts", "counted"));
  EXPECT_THAT(KeysOf(json["level"]), ElementsAre("mean", "median", "minimum", "maximum",
                                                 "standard_deviation", "cv", "p01", "p99"));
  EXPECT_THAT(KeysOf(json["uniformity"]), ElementsAre("5", "9", "13", "25"));
  EXPECT_THAT(KeysOf(json["uniformity"]["5"]), ElementsAre("points", "min_over_max", "max_over_min",
                                                           "nonuniformity", "worst_over_center"));
  EXPECT_THAT(KeysOf(json["modules"]),
              ElementsAre("count", "first", "means", "cv", "largest_step", "between"));
}

TEST(AnalysisJson, ModulesAndSeamsComeWithTheirSizeOnly) {
  const Json json = Json::parse(ToJson(Analyze(cv::Mat1f(4, 4, 1.0F))));
  EXPECT_FALSE(json.contains("modules"));
  EXPECT_FALSE(json.contains("seams"));
  EXPECT_FALSE(json.contains("seam_rms"));
}

TEST(AnalysisJson, SizesAndPlacesArePairs) {
  const Json json = Json::parse(ToJson(Analyze(Matrix({{1, 2}, {1, 2}, {1, 9}}), WithModules())));
  EXPECT_EQ(json["size"], Json::parse("[2, 3]"));
  EXPECT_EQ(json["at"], Json::parse("[2, 4]"));
  EXPECT_EQ(json["modules"]["count"], Json::parse("[1, 2]"));
  EXPECT_EQ(json["modules"]["first"], Json::parse("[1, 2]"));
  EXPECT_EQ(json["modules"]["means"], Json::parse("[[1.5], [5.0]]"));
  EXPECT_EQ(json["modules"]["between"], Json::parse("[[1, 2], [1, 3]]"));
  EXPECT_EQ(json["seams"][0]["direction"], "horizontal");
  EXPECT_EQ(json["seams"][0]["at"], 6);
}

TEST(AnalysisJson, DefectNamesItsPlaces) {
  cv::Mat1f values(4, 4, 1.0F);
  values(1, 3) = 0.25F;
  const Json json = Json::parse(ToJson(Analyze(values, WithModules())));
  EXPECT_EQ(json["defects"],
            Json::parse(R"([{"x": 5, "y": 5, "kind": "dead", "ratio": 0.25, "module": [2, 2],
                             "cabinet": [1, 1]}])"));
  EXPECT_EQ(json["counts"], Json::parse(R"({"dead": 1, "dim": 0, "bright": 0})"));
  const Json without = Json::parse(ToJson(Analyze(values)));
  EXPECT_TRUE(without["defects"][0]["module"].is_null());
  EXPECT_TRUE(without["defects"][0]["cabinet"].is_null());
}

TEST(AnalysisJson, FiguresThatAreNotKnownAreNull) {
  const Json json = Json::parse(ToJson(Analyze(Matrix({{0, 0, kNaN}}), WithModules())));
  EXPECT_TRUE(json["level"]["cv"].is_null());
  EXPECT_TRUE(json["uniformity"]["9"]["min_over_max"].is_null());
  EXPECT_TRUE(json["uniformity"]["9"]["points"][2]["value"].is_null());
  EXPECT_TRUE(json["modules"]["means"][0][1].is_null());
  EXPECT_TRUE(json["modules"]["largest_step"].is_null());
  EXPECT_TRUE(json["modules"]["between"].is_null());
  EXPECT_TRUE(json["seams"][0]["step"].is_null());
  EXPECT_TRUE(json["seam_rms"].is_null());
}

TEST(AnalysisJson, NumbersHaveAllTheirDigits) {
  const Analysis analysis = Analyze(Matrix({{0.1F, 0.2F, 0.7F}}));
  const Json json = Json::parse(ToJson(analysis));
  EXPECT_EQ(json["level"]["mean"].get<double>(), analysis.level.mean);
  EXPECT_EQ(json["level"]["standard_deviation"].get<double>(), analysis.level.standardDeviation);
}

TEST(AnalysisJson, CopiesAreCounted) {
  AnalysisOptions options;
  options.copiedBorder = 4;
  const Json json = Json::parse(ToJson(Analyze(cv::Mat1f(10, 20, 1.0F), options)));
  EXPECT_EQ(json["copied_border"], 4);
  EXPECT_EQ(json["copied_leds"], 200 - 12 * 2);
}

}  // namespace
}  // namespace dravix::lab
