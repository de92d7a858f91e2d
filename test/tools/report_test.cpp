// `dravix report` without a browser: what it takes and refuses, and what the page holds.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "support/temp_dir.h"
#include "tools/npy_bytes.h"
#include "tools/tool_runner.h"

using dravix::test::IsOneLine;
using dravix::test::NpyBytes;
using dravix::test::Outcome;
using dravix::test::RunTool;
using dravix::test::RunToolIn;
using dravix::test::Slurp;
using dravix::test::SmallScreen;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::HasSubstr;
using testing::Not;

namespace {

using Json = nlohmann::json;
using Words = std::vector<std::string>;

Words Joined(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

/// The JSON of the page's element with that id.
Json BlockOf(const std::string& page, const std::string& id) {
  const std::string begin = "<script type=\"application/json\" id=\"" + id + "\">";
  const std::size_t at = page.find(begin);
  if (at == std::string::npos) return {};
  const std::size_t from = at + begin.size();
  return Json::parse(page.substr(from, page.find("</script>", from) - from), nullptr, false);
}

/// A folder with a.npy, 40 x 30 LEDs of about 1000 with a dead one, and b.npy, 24 x 20 of about
/// 500.
class ReportedResults {
 public:
  ReportedResults() {
    Spill(A(), NpyBytes(30, 40, Values(30 * 40, 1000)));
    Spill(B(), NpyBytes(20, 24, Values(20 * 24, 500)));
  }
  [[nodiscard]] std::string File(const std::string& name) const { return folder_.File(name); }
  [[nodiscard]] std::string A() const { return File("a.npy"); }
  [[nodiscard]] std::string B() const { return File("b.npy"); }
  [[nodiscard]] std::string Page() const { return File("page.html"); }
  [[nodiscard]] const std::filesystem::path& Folder() const { return folder_.Path(); }

  /// `dravix report a.npy -o page.html` with more words.
  [[nodiscard]] Outcome Report(const Words& more = {}) const {
    return RunTool(Joined({"report", A(), "-o", Page()}, more));
  }
  /// The page that these words make.
  [[nodiscard]] std::string PageWith(const Words& more) const {
    const Outcome outcome = Report(more);
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    return Slurp(Page());
  }

 private:
  static std::vector<float> Values(std::size_t count, float level) {
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i) {
      values[i] = level + static_cast<float>(i * 7919 % 101);
    }
    values[count / 2 + 5] = 0;
    return values;
  }
  TempDir folder_;
};

/// What `analyze --json` prints, with the name that a page gives beside it.
Json AnalysisOf(const std::string& result, const Words& options = {}) {
  Json analysis = RunTool(Joined({"analyze", result, "--json"}, options)).Json();
  analysis["file"] = result;
  return analysis;
}

TEST(Report, SaysWhatItWroteAndHowLargeItIs) {
  const ReportedResults files;
  const Outcome outcome = files.Report();
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, HasSubstr(files.Page()));
  const auto bytes = std::filesystem::file_size(files.Page());
  EXPECT_THAT(outcome.out, testing::ContainsRegex("bytes +" + std::to_string(bytes) + "\n"));
}

TEST(Report, HoldsWhatAnalyzePrints) {
  const ReportedResults files;
  EXPECT_EQ(BlockOf(files.PageWith({}), "analysis"), Json::array({AnalysisOf(files.A())}));
}

TEST(Report, OptionsOfAnalyzeReachTheFiguresOfEveryResult) {
  const ReportedResults files;
  const Words options = {"--module", "8x5",    "--cabinet", "16x10", "--at", "100,50",   "--edge",
                         "2",        "--dead", "0.1",       "--dim", "0.95", "--bright", "1.05"};
  const std::string page = files.PageWith(Joined({files.B()}, options));
  const Json analyses = BlockOf(page, "analysis");
  EXPECT_EQ(analyses,
            Json::array({AnalysisOf(files.A(), options), AnalysisOf(files.B(), options)}));
  EXPECT_EQ(analyses[1]["at"], Json({100, 50}));
  EXPECT_GT(analyses[0]["counts"]["dim"], 0);
  const Json data = BlockOf(page, "report-data");
  EXPECT_EQ(data["results"][0]["module"], Json({8, 5}));
  EXPECT_EQ(data["results"][0]["edge"], 2);
}

TEST(Report, PlaceMayBeNegative) {
  const ReportedResults files;
  EXPECT_EQ(BlockOf(files.PageWith({"--at=-5,-1"}), "analysis")[0]["at"], Json({-5, -1}));
}

TEST(Report, CopiesCanBeLeftOut) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  const std::string page = screen.File("page.html");
  ASSERT_EQ(RunTool({"report", result, "-o", page, "--without-copies"}).exit, 0);
  const Json analyses = BlockOf(Slurp(page), "analysis");
  EXPECT_EQ(analyses, Json::array({AnalysisOf(result, {"--without-copies"})}));
  EXPECT_EQ(analyses[0]["counted"], 32 * 22);
}

TEST(Report, ResultsStandInTheirOrderWithTheNamesThatWereGiven) {
  const ReportedResults files;
  ASSERT_EQ(
      RunToolIn(files.Folder(), {"report", "./b.npy", "a.npy", "b.npy", "-o", "page.html"}).exit,
      0);
  const Json analyses = BlockOf(Slurp(files.Page()), "analysis");
  ASSERT_EQ(analyses.size(), 3U);
  EXPECT_EQ(analyses[0]["file"], "./b.npy");
  EXPECT_EQ(analyses[1]["file"], "a.npy");
  EXPECT_EQ(analyses[1]["size"], Json({40, 30}));
  EXPECT_EQ(analyses[2]["file"], "b.npy");
}

TEST(Report, ResultsOfOtherSizesAreShownWithAWarning) {
  const ReportedResults files;
  const Json notices = BlockOf(files.PageWith({files.B()}), "report-data")["notices"];
  ASSERT_FALSE(notices.empty());
  EXPECT_NE(notices.dump().find("a.npy has 40 x 30 LEDs"), std::string::npos) << notices;
}

TEST(Report, DoublesKeepTheirDigits) {
  const TempDir folder;
  Spill(folder.File("d.npy"), NpyBytes(1, 2, std::vector<double>{1.0000000001, 1.0000000003}));
  ASSERT_EQ(RunTool({"report", folder.File("d.npy"), "-o", folder.File("p.html")}).exit, 0);
  EXPECT_DOUBLE_EQ(BlockOf(Slurp(folder.File("p.html")), "analysis")[0]["level"]["mean"],
                   1.0000000002);
}

TEST(Report, TitleIsTextWhateverItHolds) {
  const ReportedResults files;
  const std::string title = "</title><script>alert(1)</script> & 3 < 4";
  const std::string page = files.PageWith({"--title", title});
  EXPECT_EQ(BlockOf(page, "report-data")["title"], title);
  EXPECT_THAT(page, HasSubstr("<title>&lt;/title&gt;&lt;script&gt;alert(1)"));
  EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
  EXPECT_EQ(BlockOf(files.PageWith({}), "report-data")["title"], "Measurement report");
}

TEST(Report, ScaleIsGivenOrThatOfThePercentiles) {
  const ReportedResults files;
  EXPECT_EQ(BlockOf(files.PageWith({}), "report-data")["given_scale"], nullptr);
  EXPECT_EQ(BlockOf(files.PageWith({"--scale", "100,1200.5"}), "report-data")["given_scale"],
            Json({100.0, 1200.5}));
  EXPECT_EQ(BlockOf(files.PageWith({"--scale=-3,1e3"}), "report-data")["given_scale"],
            Json({-3.0, 1000.0}));
}

TEST(Report, WrongOptionsAreNamedAndNothingIsWritten) {
  const ReportedResults files;
  const struct {
    Words words;
    std::string message;
  } cases[] = {
      {{"--scale", "5"}, "--scale: found \"5\", expected LOW,HIGH, two numbers"},
      {{"--scale", "a,b"}, "--scale: found \"a,b\""},
      {{"--scale", "5,2"}, "--scale: found \"5,2\""},
      {{"--scale", "1,1"}, "--scale: found \"1,1\""},
      {{"--scale", "1,2,3"}, "--scale: found \"1,2,3\""},
      {{"--scale", "1,2 "}, "--scale: found \"1,2 \""},
      {{"--scale", "nan,2"}, "--scale: found \"nan,2\""},
      {{"--scale", "1,inf"}, "--scale: found \"1,inf\""},
      {{"--module", "4"}, "--module: found \"4\", expected a size such as 256x128"},
      {{"--cabinet", "0x4"}, "--cabinet: found \"0x4\""},
      {{"--at", "7"}, "--at: found \"7\""},
      {{"--edge", "-1"}, "--edge: found -1, expected 0 or more"},
      {{"--dead", "-1"}, "--dead: found -1"},
      {{"--dim", "nan"}, "--dim: found nan"},
      {{"--bright", "inf"}, "--bright: found inf"},
      {{"--corners", "1,1", "9,1", "9,9", "1,9"}, "of --photo, which is missing"},
      {{"--region", "r.roi"}, "of --photo, which is missing"},
      {{"--truth", "t.json"}, "of --photo, which is missing"},
      {{"--photo", "p.shot", "--region", "r.roi", "--truth", "t.json"},
       "give one of --corners, --region and --truth"},
      {{"--photo", "p.shot", "--corners", "1,1", "9,1", "9,9"}, "--corners"},
      {{"--json"}, "--json"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = files.Report(c.words);
    EXPECT_EQ(outcome.exit, 2) << c.message;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
    EXPECT_FALSE(std::filesystem::exists(files.Page()));
  }
}

TEST(Report, NeedsAResultAndAPage) {
  const ReportedResults files;
  for (const Words& words : {Words{"report", "-o", files.Page()}, Words{"report", files.A()},
                             Words{"report", files.A(), "-o"}}) {
    const Outcome outcome = RunTool(words);
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  }
}

TEST(Report, PageEndsWithHtmlSoThatNoResultIsReplaced) {
  const ReportedResults files;
  const std::string bytes = Slurp(files.B());
  for (const std::string& name : {files.B(), files.File("page"), files.File("page.htm")}) {
    const Outcome outcome = RunTool({"report", files.A(), "-o", name});
    EXPECT_EQ(outcome.exit, 2) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("-o: found \"" + name + "\""));
    EXPECT_THAT(outcome.err, HasSubstr(".html"));
  }
  EXPECT_EQ(Slurp(files.B()), bytes);
  EXPECT_THAT(RunTool({"report", files.A(), "-o", files.File("PAGE.HTML")}).err,
              HasSubstr("in lower case"));
}

TEST(Report, PageOverAnInputIsRefusedUnderAnyOfItsNames) {
  const SmallScreen screen;
  // An input is what it holds, whatever it is called.
  const std::string named = screen.File("photo.html");
  Spill(named, Slurp(screen.Photo()));
  Spill(screen.File("a.npy"), NpyBytes(3, 3, std::vector<float>(9, 1.0F)));
  const std::string other = screen.File("sub/../photo.html");
  std::filesystem::create_directory(screen.File("sub"));
  for (const std::string& output : {named, other}) {
    const Outcome outcome =
        RunTool({"report", screen.File("a.npy"), "--photo", named, "-o", output});
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("would overwrite the input --photo"));
  }
  const Outcome outcome = RunTool({"report", named, "-o", named});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_THAT(outcome.err, HasSubstr("would overwrite the input result"));
  EXPECT_EQ(Slurp(named), Slurp(screen.Photo()));
}

TEST(Report, FilesThatHoldNoMatrixAreNamedAndTheOldPageStays) {
  const SmallScreen screen;
  const std::string good = screen.Measured();
  const std::string page = screen.File("page.html");
  Spill(page, "old");
  Spill(screen.File("bad.npy"), "nothing");
  Spill(screen.File("short.lum"), Slurp(good).substr(0, 900));
  for (const std::string& name : {screen.File("none.lum"), screen.File("bad.npy"),
                                  screen.File("short.lum"), screen.Photo()}) {
    const Outcome outcome = RunTool({"report", good, name, "-o", page});
    EXPECT_EQ(outcome.exit, 3) << name;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(std::filesystem::path(name).filename().string()));
    EXPECT_EQ(Slurp(page), "old");
  }
}

TEST(Report, WhereNothingCountsExitsWithFive) {
  const ReportedResults files;
  constexpr float kNotMeasured = std::numeric_limits<float>::quiet_NaN();
  Spill(files.File("nan.npy"), NpyBytes(2, 2, std::vector<float>(4, kNotMeasured)));
  for (const Words& more : {Words{files.File("nan.npy")}, Words{"--edge", "15"}}) {
    const Outcome outcome = files.Report(more);
    EXPECT_EQ(outcome.exit, 5);
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(".npy: found no LED that counts among "));
    EXPECT_FALSE(std::filesystem::exists(files.Page()));
  }
}

TEST(Report, PageThatCannotBeWrittenIsAnOutputError) {
  const ReportedResults files;
  const Outcome outcome = RunTool({"report", files.A(), "-o", files.File("no/page.html")});
  EXPECT_EQ(outcome.exit, 4);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
}

/// What the page says of the photograph.
Json PhotographWith(const SmallScreen& screen, const std::string& photo, const Words& more) {
  const std::string page = screen.File("page.html");
  const Outcome outcome =
      RunTool(Joined({"report", screen.File("result.lum"), "-o", page, "--photo", photo}, more));
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  return BlockOf(Slurp(page), "report-data")["photograph"];
}

TEST(Report, ShowsThePhotographWithTheOutlineThatIsGiven) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  const Json truth = Json::parse(Slurp(screen.Truth()));
  const Json photograph = PhotographWith(screen, screen.Photo(), {"--truth", screen.Truth()});
  EXPECT_EQ(photograph["file"], screen.Photo());
  EXPECT_EQ(photograph["outline"], truth["corner_pixels"]);
  EXPECT_EQ(photograph["outline_source"], screen.Truth());
  EXPECT_GT(photograph["jpeg"].get<std::string>().size(), 1000U);
  EXPECT_THAT(photograph["facts"].dump(), HasSubstr("CIE_Y"));

  Words corners = {"--corners"};
  for (const Json& corner : truth["corner_pixels"]) {
    corners.push_back(corner[0].dump() + "," + corner[1].dump());
  }
  const Json given = PhotographWith(screen, screen.Photo(), corners);
  EXPECT_EQ(given["outline"], truth["corner_pixels"]);
  EXPECT_EQ(given["outline_source"], "--corners");
}

TEST(Report, TakesTheOutlineOfARegion) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  const std::string region = screen.File("r.roi");
  ASSERT_EQ(RunTool({"region", "blur", screen.Photo(), "-o", region}).exit, 0);
  const Json photograph = PhotographWith(screen, screen.Photo(), {"--region", region});
  EXPECT_EQ(photograph["outline"].size(), 4U);
  EXPECT_EQ(photograph["outline_source"], region);
}

TEST(Report, SearchesForTheOutlineThatIsNotGivenAndSaysSo) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  const Json photograph = PhotographWith(screen, screen.Photo(), {});
  ASSERT_EQ(photograph["outline"].size(), 4U);
  EXPECT_THAT(photograph["outline_source"].get<std::string>(), HasSubstr("searched for"));
  const Json truth = Json::parse(Slurp(screen.Truth()))["corner_pixels"];
  for (std::size_t i = 0; i < 4; ++i) {
    const cv::Point off(photograph["outline"][i][0].get<int>() - truth[i][0].get<int>(),
                        photograph["outline"][i][1].get<int>() - truth[i][1].get<int>());
    EXPECT_LT(cv::norm(off), 5) << i;
  }
}

TEST(Report, PhotographWithoutAnOutlineIsShownAllTheSame) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  const SmallScreen dark({"--exposure", "0.000001"});
  const Json photograph = PhotographWith(screen, dark.Photo(), {});
  EXPECT_EQ(photograph["outline"], Json::array());
  EXPECT_THAT(photograph["outline_source"].get<std::string>(), HasSubstr("searched for"));
}

TEST(Report, PhotographMayBeAnyPicture) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  const std::string png = screen.File("p.png");
  ASSERT_EQ(RunTool({"shot", "picture", screen.Photo(), png, "--gray"}).exit, 0);
  const Json photograph = PhotographWith(screen, png, {"--truth", screen.Truth()});
  EXPECT_EQ(photograph["file"], png);
  EXPECT_EQ(photograph["outline"].size(), 4U);
}

TEST(Report, PhotographThatCannotBeUsedIsNamed) {
  const SmallScreen screen;
  const std::string result = screen.Measured();
  Spill(screen.File("bad.shot"), "nothing");
  ASSERT_EQ(RunTool({"region", "manual", "--frame", "900x700", "--corners", "30,30", "300,30",
                     "300,220", "30,220", "-o", screen.File("r.roi")})
                .exit,
            0);
  const struct {
    Words words;
    std::string message;
  } cases[] = {
      {{"--photo", screen.File("none.shot")}, "none.shot"},
      {{"--photo", screen.File("bad.shot")}, "bad.shot"},
      {{"--photo", result}, "result.lum"},
      {{"--photo", screen.Photo(), "--region", screen.File("none.roi")}, "none.roi"},
      {{"--photo", screen.Photo(), "--region", screen.File("r.roi")},
       "r.roi: refers to a frame of 900 x 700 pixels"},
      {{"--photo", screen.Photo(), "--truth", screen.File("none.json")}, "none.json"},
  };
  for (const auto& c : cases) {
    const Outcome outcome =
        RunTool(Joined({"report", result, "-o", screen.File("page.html")}, c.words));
    EXPECT_EQ(outcome.exit, 3) << outcome.err;
    EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
    EXPECT_FALSE(std::filesystem::exists(screen.File("page.html")));
  }
}

TEST(Report, CornersThatCannotBeOrderedAreWrongUsage) {
  const SmallScreen screen;
  const Outcome outcome =
      RunTool({"report", screen.Measured(), "-o", screen.File("page.html"), "--photo",
               screen.Photo(), "--corners", "1,1", "5,1", "9,1", "5,9"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_TRUE(IsOneLine(outcome)) << outcome.err;
  EXPECT_THAT(outcome.err, HasSubstr("--corners 1,1 5,1 9,1 5,9: expected two above"));
}

TEST(Report, LoadsNothingFromElsewhere) {
  const SmallScreen screen;
  static_cast<void>(screen.Measured());
  static_cast<void>(PhotographWith(screen, screen.Photo(), {}));
  const std::string page = Slurp(screen.File("page.html"));
  // The name of XML's vocabulary and a comment are no places that a browser looks at.
  const std::vector<std::string> names = {"'http://www.w3.org/2000/svg'",
                                          "! https://github.com/leeoniya/uPlot"};
  for (const char* scheme : {"http://", "https://", "ftp://", "ws://", "wss://"}) {
    for (auto at = page.find(scheme); at != std::string::npos; at = page.find(scheme, at + 1)) {
      const bool isName = std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return page.compare(at - name.find(scheme), name.size(), name) == 0;
      });
      EXPECT_TRUE(isName) << page.substr(at - 20, 80);
    }
  }
  for (const char* part : {"@import", "fetch(", "XMLHttpRequest", "import(", "rel=\"stylesheet",
                           "url(//", "src=\"//", "href=\"//"}) {
    EXPECT_THAT(page, Not(HasSubstr(part)));
  }
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
}

TEST(Report, OfALargeNoisyScreenIsSmall) {
  constexpr int kColumns = 3840;
  constexpr int kRows = 2160;
  std::vector<float> values(std::size_t{kColumns} * std::size_t{kRows});
  cv::Mat1f matrix(kRows, kColumns, values.data());
  cv::RNG(7).fill(matrix, cv::RNG::NORMAL, 1000, 30);
  for (int i = 0; i < 1000; ++i) matrix(7 + 61 * (i / 40), 11 + 95 * (i % 40)) = 0;
  const TempDir folder;
  Spill(folder.File("wall.npy"), NpyBytes(kRows, kColumns, values));
  const std::string page = folder.File("wall.html");
  const Outcome outcome =
      RunTool({"report", folder.File("wall.npy"), "-o", page, "--module", "32x32"});
  ASSERT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_LE(std::filesystem::file_size(page), 2000000U);
  const Json analysis = BlockOf(Slurp(page), "analysis")[0];
  EXPECT_EQ(analysis["counts"]["dead"], 1000);
  EXPECT_EQ(analysis["size"], Json({kColumns, kRows}));
}

}  // namespace
