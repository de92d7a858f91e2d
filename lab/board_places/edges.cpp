// Across an edge the light is averaged over squares of one pitch, in which an even screen shows no
// LEDs, and over the LEDs along the edge. Such a profile falls from the lit level to the dark one
// and crosses the middle where the edge is, whatever the spot.
#include "lab/board_places/edges.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "lab/unmix/search/cell_means.h"

namespace dravix::lab::board {
namespace {

constexpr double kStep = 0.25;          ///< LEDs between a profile's samples
constexpr double kFarthest = 4.0;       ///< LEDs from the edge that a fine profile reaches
constexpr double kOutside = 3.0;        ///< LEDs beside the screen that are dark
constexpr double kLeastContrast = 0.3;  ///< of a usual edge's

/// An edge in terms that are the same for both directions.
struct Edge {
  bool runsDown;
  int at;                ///< LED units across the edge
  int from, to;          ///< LED units along the edge
  double before, after;  ///< LEDs of the blocks, or of the dark, on both sides
  bool litBefore;

  cv::Point2d Place(double along, double off) const {
    return runsDown ? cv::Point2d(at + off, along) : cv::Point2d(along, at + off);
  }
  cv::Point2d Middle() const { return Place(0.5 * (from + to), 0); }
};

using Profile = std::vector<double>;

/// The place of the edge's own sample; profiles have an odd number of samples.
double MiddleOf(const Profile& profile) {
  const std::size_t middle = profile.size() / 2;
  return static_cast<double>(middle);
}

/// Samples from -reach to reach.
Profile ProfileOf(const cv::Mat1f& photo, const BentScreen& screen, const Edge& edge,
                  double reach) {
  const int margin = (edge.to - edge.from) / 5;  // LEDs beside other blocks
  Profile profile(2 * static_cast<std::size_t>(reach / kStep) + 1, 0.0);
  const double first = -kStep * MiddleOf(profile);
  for (int a = edge.from + margin; a < edge.to - margin; ++a) {
    for (std::size_t i = 0; i < profile.size(); ++i) {
      const cv::Point2d led = edge.Place(a + 0.5, first + kStep * static_cast<double>(i));
      profile[i] += unmix::SquareMean(photo, screen.At(led), screen.Pitch(led));
    }
  }
  const double count = edge.to - edge.from - 2 * margin;
  for (double& value : profile) value /= count;
  return profile;
}

double MeanOf(const Profile& profile, std::size_t from, std::size_t end) {
  double sum = 0;
  for (std::size_t i = from; i < end; ++i) sum += profile[i];
  return sum / static_cast<double>(end - from);
}

/// The levels on both sides: extremes where the edge may be anywhere, else means of the ends.
std::pair<double, double> LevelsOf(const Profile& profile, bool rough, bool litBefore) {
  if (rough) {
    const auto [low, high] = std::minmax_element(profile.begin(), profile.end());
    return litBefore ? std::pair(*high, *low) : std::pair(*low, *high);
  }
  const std::size_t half = profile.size() / 2;
  const std::size_t end =
      std::max<std::size_t>(1, static_cast<std::size_t>(0.4 * static_cast<double>(half)));
  return {MeanOf(profile, 0, end), MeanOf(profile, profile.size() - end, profile.size())};
}

/// The crossing of the middle level that is nearest to the profile's middle, LEDs.
std::optional<double> CrossingOf(const Profile& profile, double level, bool falls) {
  std::optional<double> nearest;
  const double first = -MiddleOf(profile);
  for (std::size_t i = 0; i + 1 < profile.size(); ++i) {
    const double here = falls ? profile[i] - level : level - profile[i];
    const double next = falls ? profile[i + 1] - level : level - profile[i + 1];
    if (!(here >= 0 && next < 0)) continue;
    const double at = kStep * (first + static_cast<double>(i) + here / (here - next));
    if (!nearest || std::abs(at) < std::abs(*nearest)) nearest = at;
  }
  return nearest;
}

std::optional<Displacement> Found(const cv::Mat1f& photo, const BentScreen& screen,
                                  const Edge& edge, double contrast, bool rough) {
  const double shorter = std::min(edge.before, edge.after);
  const double reach = rough ? 0.5 * shorter : std::min(0.5 * shorter, kFarthest);
  const Profile profile = ProfileOf(photo, screen, edge, std::max(reach, 1.0));
  const auto [before, after] = LevelsOf(profile, rough, edge.litBefore);
  const double seen = edge.litBefore ? before - after : after - before;
  if (!(seen > kLeastContrast * contrast)) return std::nullopt;
  const auto at = CrossingOf(profile, 0.5 * (before + after), edge.litBefore);
  if (!at) return std::nullopt;
  return Displacement{edge.Middle(), *at};
}

/// Edges across one axis. `lines` are those that the edges lie on, `along` the ones that part them.
std::vector<Edge> EdgesAcross(const std::vector<int>& lines, const std::vector<int>& along,
                              bool runsDown, int sign) {
  std::vector<Edge> edges;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    for (std::size_t j = 0; j + 1 < along.size(); ++j) {
      // Whether the block after the line is lit; beyond the screen nothing is.
      const bool isLit = ((i + j) % 2 == 0) == (sign > 0);
      const bool first = i == 0;
      const bool last = i + 1 == lines.size();
      if ((first && !isLit) || (last && isLit)) continue;
      edges.push_back({runsDown, lines[i], along[j], along[j + 1],
                       first ? 2 * kOutside : lines[i] - lines[i - 1],
                       last ? 2 * kOutside : lines[i + 1] - lines[i], !isLit});
    }
  }
  return edges;
}

}  // namespace

cv::Mat1d BlockLevels(const cv::Mat1f& photo, const BentScreen& screen, const Lines& lines) {
  cv::Mat1d levels(static_cast<int>(lines.down.size()) - 1,
                   static_cast<int>(lines.across.size()) - 1);
  for (int y = 0; y < levels.rows; ++y) {
    for (int x = 0; x < levels.cols; ++x) {
      const auto column = static_cast<std::size_t>(x);
      const auto row = static_cast<std::size_t>(y);
      const double width = lines.across[column + 1] - lines.across[column];
      const double height = lines.down[row + 1] - lines.down[row];
      const cv::Point2d middle(lines.across[column] + 0.5 * width, lines.down[row] + 0.5 * height);
      const double side = std::max(1.0, 0.3 * std::min(width, height)) * screen.Pitch(middle);
      levels(y, x) = unmix::SquareMean(photo, screen.At(middle), side);
    }
  }
  return levels;
}

Edges EdgesOf(const cv::Mat1f& photo, const BentScreen& screen, const Lines& lines, int sign,
              double contrast, bool rough) {
  Edges edges;
  for (const bool runsDown : {true, false}) {
    const auto wanted = runsDown ? EdgesAcross(lines.across, lines.down, true, sign)
                                 : EdgesAcross(lines.down, lines.across, false, sign);
    edges.expected += static_cast<int>(wanted.size());
    for (const Edge& edge : wanted) {
      const auto found = Found(photo, screen, edge, contrast, rough);
      if (found) (runsDown ? edges.across : edges.down).push_back(*found);
    }
  }
  return edges;
}

}  // namespace dravix::lab::board
