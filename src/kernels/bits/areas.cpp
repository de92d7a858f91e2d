#include "kernels/bits/areas.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

namespace dravix::kernels {
namespace {

constexpr int kWordBits = BitPicture::kWordBits;

/// Pixels begin to end - 1 of a row, all white.
struct Run {
  int begin;
  int end;
  std::size_t area;
};

/// Calls `change(x)` for every x where two neighboring bits of `word` and its predecessor differ.
template <class Change>
void ForEachBit(std::uint64_t word, int first, Change&& change) {
  while (word != 0) {
    change(first + std::countr_zero(word));
    word &= word - 1;
  }
}

void RunsOf(const BitPicture& picture, int y, std::vector<Run>& runs) {
  runs.clear();
  const std::uint64_t* row = picture.Row(y);
  std::uint64_t before = 0;  // the pixel left of the word
  bool open = false;
  for (std::size_t i = 0; i < picture.Words(); ++i) {
    const std::uint64_t changes = row[i] ^ (row[i] << 1U | before);
    before = row[i] >> (kWordBits - 1);
    ForEachBit(changes, static_cast<int>(i) * kWordBits, [&](int x) {
      if (open) {
        runs.back().end = x;
      } else {
        runs.push_back({x, picture.Size().width, 0});
      }
      open = !open;
    });
  }
}

/// Disjoint sets of numbers that can be joined.
class Sets {
 public:
  std::size_t Add() {
    parents_.push_back(parents_.size());
    ++count_;
    return parents_.size() - 1;
  }
  void Join(std::size_t a, std::size_t b) {
    a = RootOf(a);
    b = RootOf(b);
    if (a == b) return;
    parents_[std::max(a, b)] = std::min(a, b);
    --count_;
  }
  [[nodiscard]] int Count() const { return count_; }
  /// The smallest number that number i is joined with.
  std::size_t RootOf(std::size_t i) {
    while (parents_[i] != i) i = parents_[i] = parents_[parents_[i]];
    return i;
  }

 private:
  std::vector<std::size_t> parents_;
  int count_ = 0;
};

/// All runs of a picture, joined to areas.
class RunAreas {
 public:
  /// Calls seen(y, run) for every run, row by row; its area is that of its first run.
  template <class Seen>
  RunAreas(const BitPicture& picture, Seen&& seen) {
    std::vector<Run> above;
    std::vector<Run> here;
    for (int y = 0; y < picture.Size().height; ++y) {
      RunsOf(picture, y, here);
      std::size_t first = 0;
      for (Run& run : here) {
        run.area = areas_.Add();
        while (first < above.size() && above[first].end < run.begin) ++first;
        for (std::size_t k = first; k < above.size() && above[k].begin <= run.end; ++k) {
          areas_.Join(run.area, above[k].area);
          ++contacts_;
        }
        seen(y, run);
      }
      runs_ += static_cast<int>(here.size());
      above.swap(here);
    }
  }

  [[nodiscard]] Topology Counts() const {
    // Runs and their contacts are the vertices and edges of a plane graph. Its faces are the holes:
    // Euler's formula counts them.
    return {areas_.Count(), areas_.Count() - runs_ + contacts_};
  }
  std::size_t AreaOf(std::size_t run) { return areas_.RootOf(run); }

 private:
  Sets areas_;
  int runs_ = 0;
  int contacts_ = 0;
};

}  // namespace

Topology TopologyOf(const BitPicture& picture) {
  return RunAreas(picture, [](int, const Run&) {}).Counts();
}

std::optional<std::vector<cv::Rect>> BoxesWithoutHoles(const BitPicture& picture) {
  std::vector<cv::Rect> runs;
  RunAreas areas(picture, [&](int y, const Run& run) {
    runs.emplace_back(run.begin, y, run.end - run.begin, 1);
  });
  if (areas.Counts().holes > 0) return std::nullopt;
  std::vector<cv::Rect> boxes = runs;
  for (std::size_t i = 0; i < runs.size(); ++i) boxes[areas.AreaOf(i)] |= runs[i];
  std::vector<cv::Rect> ordered;
  for (std::size_t i = runs.size(); i-- > 0;) {
    if (areas.AreaOf(i) == i) ordered.push_back(boxes[i]);
  }
  return ordered;
}

std::vector<Stretch> FirstStretches(const BitPicture& picture) {
  constexpr int kOpen = -1;
  std::vector<Stretch> stretches(static_cast<std::size_t>(picture.Size().width));
  const std::vector<std::uint64_t> black(picture.Words());
  for (int y = 0; y <= picture.Size().height; ++y) {
    const std::uint64_t* above = y > 0 ? picture.Row(y - 1) : black.data();
    const std::uint64_t* here = y < picture.Size().height ? picture.Row(y) : black.data();
    for (std::size_t i = 0; i < picture.Words(); ++i) {
      ForEachBit(above[i] ^ here[i], static_cast<int>(i) * kWordBits, [&](int x) {
        Stretch& stretch = stretches[static_cast<std::size_t>(x)];
        const bool white = ((here[i] >> (x % kWordBits)) & 1U) != 0;
        if (white && stretch.length == 0) {
          stretch = {y, kOpen};
        } else if (!white && stretch.length == kOpen) {
          stretch.length = y - stretch.start;
        }
      });
    }
  }
  return stretches;
}

}  // namespace dravix::kernels
