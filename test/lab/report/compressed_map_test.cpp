#include "lab/report/compressed_map.h"

#include <gmock/gmock.h>
#include <zlib.h>

#include <bit>
#include <cmath>
#include <limits>
#include <tuple>

#include "test/lab/report/screens.h"

namespace dravix::lab {
namespace {

constexpr std::size_t kMuch = 1 << 26;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<std::uint8_t> Inflated(const CompressedMap& map) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(map.cells.area() * map.planes));
  auto size = static_cast<uLongf>(bytes.size());
  EXPECT_EQ(uncompress(bytes.data(), &size, map.bytes.data(), static_cast<uLong>(map.bytes.size())),
            Z_OK);
  EXPECT_EQ(size, bytes.size());
  return bytes;
}

/// The codes, read as the comment of CompressedMap says.
cv::Mat1i Codes(const CompressedMap& map) {
  const std::vector<std::uint8_t> bytes = Inflated(map);
  cv::Mat1i codes(map.cells);
  const auto width = map.cells.width;
  for (int y = 0; y < codes.rows; ++y) {
    const int top = y / map.bandRows * map.bandRows;
    const int rows = std::min(map.bandRows, codes.rows - top);
    for (int x = 0; x < width; ++x) {
      std::uint32_t zigzag = 0;
      for (int plane = 0; plane < map.planes; ++plane) {
        const int at = top * width * map.planes + (plane * rows + y - top) * width + x;
        zigzag = zigzag << 8U | bytes[static_cast<std::size_t>(at)];
      }
      std::int64_t predicted = 0;
      if (y == 0) {
        predicted = x == 0 ? 0 : codes(0, x - 1);
      } else {
        const std::int64_t n = codes(y - 1, x);
        const std::int64_t w = x > 0 ? codes(y, x - 1) : n;
        const std::int64_t nw = x > 0 ? codes(y - 1, x - 1) : n;
        const std::int64_t ne = x + 1 < width ? codes(y - 1, x + 1) : n;
        predicted = static_cast<std::int64_t>(std::floor(static_cast<double>(w + nw + n + ne) / 4));
      }
      const std::int64_t difference =
          zigzag % 2 == 0 ? std::int64_t{zigzag / 2} : -(std::int64_t{zigzag} + 1) / 2;
      codes(y, x) = static_cast<std::int32_t>(static_cast<std::uint32_t>(predicted + difference));
    }
  }
  return codes;
}

float ValueOf(const CompressedMap& map, std::int32_t code) {
  if (!map.exact) return code == 0 ? kNaN : static_cast<float>(map.low + (code - 1) * map.step);
  if (code == std::numeric_limits<std::int32_t>::min()) return kNaN;
  return std::bit_cast<float>(code < 0 ? code ^ std::numeric_limits<std::int32_t>::max() : code);
}

cv::Mat1f Values(const CompressedMap& map) {
  const cv::Mat1i codes = Codes(map);
  cv::Mat1f values(codes.size());
  for (int y = 0; y < codes.rows; ++y) {
    for (int x = 0; x < codes.cols; ++x) values(y, x) = ValueOf(map, codes(y, x));
  }
  return values;
}

/// Where both have NaN, they are equal.
void ExpectNear(const cv::Mat1f& found, const cv::Mat1f& expected, double tolerance) {
  ASSERT_EQ(found.size(), expected.size());
  for (int y = 0; y < found.rows; ++y) {
    for (int x = 0; x < found.cols; ++x) {
      if (std::isnan(expected(y, x)) && std::isnan(found(y, x))) continue;
      ASSERT_NEAR(found(y, x), expected(y, x), tolerance) << "at " << x << ", " << y;
    }
  }
}

TEST(CompressedMap, IsExactWhereThereIsRoom) {
  for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 7), cv::Size(7, 1), cv::Size(300, 431)}) {
    const cv::Mat1f values = Noise(size, 1000, 50);
    const CompressedMap map = Compress(values, 200, kMuch);
    EXPECT_TRUE(map.exact);
    EXPECT_EQ(map.block, 1);
    ExpectNear(Values(map), values, 0);
  }
}

TEST(CompressedMap, KeepsEveryKindOfFloat) {
  const float huge = std::numeric_limits<float>::max();
  const float tiny = std::numeric_limits<float>::denorm_min();
  const float infinity = std::numeric_limits<float>::infinity();
  const cv::Mat1f values =
      (cv::Mat1f(3, 4) << 0, -0.0F, huge, -huge, tiny, -tiny, kNaN, 1, -1, infinity, -infinity, 2);
  cv::Mat1f expected = values.clone();
  expected(2, 1) = kNaN;  // what is not finite was not measured
  expected(2, 2) = kNaN;
  ExpectNear(Values(Compress(values, 1, kMuch)), expected, 0);
}

TEST(CompressedMap, WithLessRoomValuesAreStepsApart) {
  cv::Mat1f values = Noise({400, 300}, 1000, 50);
  values(10, 20) = kNaN;
  values(11, 20) = 0;  // far outside the spread, but kept
  const CompressedMap map = Compress(values, 200, 200000);
  EXPECT_FALSE(map.exact);
  EXPECT_EQ(map.block, 1);
  EXPECT_LE(map.bytes.size(), 200000U);
  EXPECT_LE(map.step, 200.0 / 400);
  ExpectNear(Values(map), values, map.step / 2 * 1.001);
}

TEST(CompressedMap, WithLittleRoomCellsAreMeansOfLeds) {
  const cv::Mat1f values = Noise({401, 303}, 1000, 50);
  const CompressedMap map = Compress(values, 200, 30000);
  EXPECT_GT(map.block, 1);
  EXPECT_LE(map.bytes.size(), 30000U);
  ExpectNear(Values(map), BlockMeans(values, map.block), map.step / 2 * 1.001);
}

TEST(CompressedMap, OneValueEverywhereTakesNearlyNothing) {
  const CompressedMap map = Compress(cv::Mat1f(2160, 3840, 7.0F), 0, 100000);
  EXPECT_TRUE(map.exact);
}

TEST(CompressedMap, NothingMeasuredIsStillAMap) {
  for (const std::size_t most : {kMuch, std::size_t{1}}) {
    const CompressedMap map = Compress(cv::Mat1f(5, 6, kNaN), 0, most);
    EXPECT_TRUE(std::isnan(Values(map)(0, 0)));
  }
}

TEST(BlockMeans, LeaveOutWhatIsNotFinite) {
  const cv::Mat1f values = (cv::Mat1f(2, 5) << 1, 2, kNaN, kNaN, 9, 3, kNaN, kNaN, kNaN, 11);
  ExpectNear(BlockMeans(values, 2), (cv::Mat1f(1, 3) << 2, kNaN, 10), 0);
}

}  // namespace
}  // namespace dravix::lab
