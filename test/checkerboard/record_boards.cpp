// Prints what recorded_test compares with: one line for each random board. It is to be run on a
// library whose results are known to be right, and never to make the test pass:
//
//   build/dev/test/checkerboard/record_boards > test/checkerboard/recorded_boards.txt
#include <iostream>

#include "checkerboard/random_boards.h"

int main() {
  constexpr std::uint64_t kBoards = 120;
  std::cout << "# seed, codes of detection and measurement, hashes of mask, rectified, blocks,\n"
               "# rejected, outlineExcess, cells, lum, resultImage; made by record_boards\n";
  for (std::uint64_t seed = 0; seed < kBoards; ++seed) {
    std::cout << seed << ' ' << dravix::test::Fingerprint(dravix::test::RandomBoard(seed)) << '\n';
  }
}
