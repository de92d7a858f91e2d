// Results of the detector and of ExtractPro against those of an earlier library, which used nothing
// but the matrix library's functions for pictures.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "checkerboard/random_boards.h"

namespace dravix::test {
namespace {

TEST(RecordedBoards, GiveTheRecordedResultsToTheLastBit) {
  std::ifstream file(DRAVIX_RECORDED_BOARDS);
  ASSERT_TRUE(file) << DRAVIX_RECORDED_BOARDS;
  int boards = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::uint64_t seed = 0;
    std::string recorded;
    words >> seed >> std::ws;
    std::getline(words, recorded);
    EXPECT_EQ(Fingerprint(RandomBoard(seed)), recorded) << "board " << seed;
    ++boards;
  }
  EXPECT_EQ(boards, 120);
}

}  // namespace
}  // namespace dravix::test
