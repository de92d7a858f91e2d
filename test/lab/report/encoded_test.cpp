#include "lab/report/encoded.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <vector>

namespace dravix::lab {
namespace {

std::string Base64OfText(const std::string& text) {
  return Base64(std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(Encoded, Base64IsThatOfTheStandardsExamples) {
  EXPECT_EQ(Base64OfText(""), "");
  EXPECT_EQ(Base64OfText("f"), "Zg==");
  EXPECT_EQ(Base64OfText("fo"), "Zm8=");
  EXPECT_EQ(Base64OfText("foo"), "Zm9v");
  EXPECT_EQ(Base64OfText("foobar"), "Zm9vYmFy");
}

TEST(Encoded, FloatsAreLittleEndian) {
  // 1.0 is 3F800000.
  EXPECT_EQ(Base64Floats(std::vector<float>{1.0F}), "AACAPw==");
}

TEST(Encoded, HtmlTextHoldsNoTags) {
  EXPECT_EQ(HtmlText("</title><b a=\"1\" b='2'>&"),
            "&lt;/title&gt;&lt;b a=&quot;1&quot; b=&#39;2&#39;&gt;&amp;");
}

TEST(Encoded, JsonForScriptSaysTheSameWithoutSignsOfHtml) {
  const std::string json = R"({"a":"</script><!-- & \"","b":[1,2.5,null]})";
  const std::string safe = JsonForScript(json);
  EXPECT_EQ(safe.find_first_of("<>&"), std::string::npos);
  EXPECT_EQ(nlohmann::json::parse(safe), nlohmann::json::parse(json));
}

TEST(Deflater, SaysWhenTheOutputGrowsTooLarge) {
  std::vector<std::uint8_t> noise(1 << 18);
  std::uint32_t state = 1;
  for (auto& byte : noise) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<std::uint8_t>(state >> 24U);
  }
  Deflater narrow(1000);
  EXPECT_FALSE(narrow.Add(noise));
  EXPECT_FALSE(narrow.Finish());

  Deflater wide(1 << 20);
  EXPECT_TRUE(wide.Add(noise));
  EXPECT_TRUE(wide.Finish());
}

}  // namespace
}  // namespace dravix::lab
