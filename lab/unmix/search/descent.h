/// The way from a state of the search to the best one near it.
#pragma once

#include <vector>

#include "lab/unmix/search/block.h"
#include "lab/unmix/search/search.h"

namespace dravix::lab::unmix {

/// How far the emitter's side may lie from what is expected, once the search has settled: standard
/// deviation, pitches.
constexpr double kEmitterSpread = 0.1;

/// One set of equations per block, or, without derivatives, only how well the blocks are fitted.
[[nodiscard]] std::vector<BlockEquations> ForBlocks(const Search& s, bool derivatives);

/// The degrees of freedom that are left in all blocks' pixels.
[[nodiscard]] double FreedomOf(const std::vector<BlockEquations>& equations,
                               const std::vector<Block>& blocks);

/// The standard deviation of what is left over in all blocks, or in those inside the screen alone.
[[nodiscard]] double ResidualOf(const std::vector<BlockEquations>& equations,
                                const std::vector<Block>& blocks, bool insideAlone);

/// Takes up to so many steps. Until it has settled, the emitter stays as expected: far from the
/// spot it would only make up for other errors and lead astray. Returns the equations of the best
/// state, which `s` is then.
std::vector<BlockEquations> Iterate(Search& s, int iterations);

}  // namespace dravix::lab::unmix
