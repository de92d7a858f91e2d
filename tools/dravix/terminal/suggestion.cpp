#include "terminal/suggestion.h"

#include <algorithm>
#include <cstddef>

namespace dravix::tool {
namespace {

/// Optimal string alignment: the edit distance in which swapping two neighbors is one step. Row by
/// row, distances[i][j] is the distance of the first i letters of `a` from the first j of `b`.
std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> distances(a.size() + 1,
                                                  std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& best = distances[i][j];
      if (i == 0 || j == 0) {
        best = i + j;
        continue;
      }
      const std::size_t replaced = distances[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      best = std::min({distances[i - 1][j] + 1, distances[i][j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) best = std::min(best, distances[i - 2][j - 2] + 1);
    }
  }
  return distances[a.size()][b.size()];
}

}  // namespace

std::optional<std::string> NearestName(std::string_view word,
                                       const std::vector<std::string>& names) {
  constexpr std::size_t kLongestName = 64;  // nobody mistypes more, and the table stays small
  if (word.size() > kLongestName) return std::nullopt;
  constexpr std::size_t kFewestLetters = 3;
  std::optional<std::string> nearest;
  std::size_t least = 0;
  for (const std::string& name : names) {
    const bool begun = word.size() >= kFewestLetters && name.starts_with(word);
    const std::size_t distance = begun ? 1 : EditDistance(word, name);
    const std::size_t allowed = std::max<std::size_t>(1, std::max(word.size(), name.size()) / 3);
    if (distance > allowed || (nearest && distance >= least)) continue;
    nearest = name;
    least = distance;
  }
  return nearest;
}

}  // namespace dravix::tool
