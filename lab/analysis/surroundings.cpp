#include "lab/analysis/surroundings.h"

#include <algorithm>
#include <limits>

#include "lab/analysis/figures.h"

namespace dravix::lab {

double MedianOf(const Neighbors& neighbors) {
  Neighbors known;
  const auto end = std::copy_if(neighbors.begin(), neighbors.end(), known.begin(), IsKnown);
  const auto count = end - known.begin();
  if (count == 0) return kNotKnown;
  const auto upper = known.begin() + count / 2;
  std::nth_element(known.begin(), upper, end);
  if (count % 2 != 0) return *upper;
  return *std::max_element(known.begin(), upper) / 2 + *upper / 2;
}

template <class T>
Surroundings<T>::Surroundings(const CountedRows& rows) : source_(&rows), y_(rows.Inner().y - 1) {
  const auto width = static_cast<std::size_t>(rows.Size().width);
  for (auto& row : rows_) {
    row.assign(kReach + width + kPadding, std::numeric_limits<T>::quiet_NaN());
  }
  // The window stands just above the first inner row: moving it there reads the last of its rows.
  for (int y = y_ - kReach; y <= y_ + kReach; ++y) ReadRow(y);
}

template <class T>
void Surroundings<T>::MoveTo(int y) {
  y_ = y;
  ReadRow(y + kReach);
}

template <class T>
Neighbors Surroundings<T>::Around(int x) const {
  Neighbors neighbors;
  auto to = neighbors.begin();
  for (int dy = -kReach; dy <= kReach; ++dy) {
    const T* row = Row(dy) + x;
    for (int dx = -kReach; dx <= kReach; ++dx) {
      if (dx != 0 || dy != 0) *to++ = static_cast<double>(row[dx]);
    }
  }
  return neighbors;
}

template class Surroundings<float>;
template class Surroundings<double>;

}  // namespace dravix::lab
