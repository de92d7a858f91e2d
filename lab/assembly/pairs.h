/// Which results can be compared, by their placements alone.
#pragma once

#include <dravix/lab/assembly.h>

#include <cstddef>
#include <vector>

#include "lab/assembly/lattice.h"

namespace dravix::lab {

/// Two results that share LEDs: those at all columns and rows of two lattices.
struct OverlappingPair {
  std::size_t a = 0;
  std::size_t b = 0;
  Lattice columns;
  Lattice rows;
};

/// The LEDs of a part of a result.
struct Block {
  Indices columns;
  Indices rows;
};

/// Parts of two results whose means should be equal.
struct BlockPair {
  std::size_t a = 0;
  std::size_t b = 0;
  Block inA;
  Block inB;
};

/// Both stop with an incomplete list once it has `most`.
[[nodiscard]] std::vector<OverlappingPair> OverlappingPairs(
    const std::vector<Placement>& placements, std::size_t most);
/// The outermost columns or rows of results of one interval and phase at the border of their
/// partitions, and whole results of the same partition.
[[nodiscard]] std::vector<BlockPair> MeetingPairs(const std::vector<Placement>& placements,
                                                  std::size_t most);

}  // namespace dravix::lab
