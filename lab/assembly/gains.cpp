// The unknowns are the logarithms of the gains, the equations their differences. The matrix of the
// normal equations is then the Laplacian of a graph whose nodes are the results and whose edges are
// the links. Differences do not change when all logarithms of a connected group grow by the same
// number. So one result of each group is held at 0, which makes the rest of the matrix positive
// definite, the rest is solved by a sparse Cholesky factorization, and each group is moved so that
// the mean of its logarithms is 0.
#define EIGEN_MPL2_ONLY
#include "lab/assembly/gains.h"

#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>
#include <cmath>
#include <numeric>
#include <stdexcept>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

/// Which results are connected. Each group is known by one of its members.
class Groups {
 public:
  Groups(std::size_t count, const std::vector<Link>& links) : parents_(count) {
    std::iota(parents_.begin(), parents_.end(), std::size_t{0});
    for (const Link& link : links) parents_[Root(link.a)] = Root(link.b);
    for (std::size_t i = 0; i < count; ++i) parents_[i] = Root(i);
  }
  [[nodiscard]] std::size_t Of(std::size_t result) const { return parents_[result]; }

 private:
  std::size_t Root(std::size_t i) {
    while (parents_[i] != i) {
      parents_[i] = parents_[parents_[i]];
      i = parents_[i];
    }
    return i;
  }
  std::vector<std::size_t> parents_;
};

constexpr int kHeld = -1;  ///< the place among the unknowns of a result that is held at 0

/// The logarithms with the one that names its group at 0.
std::vector<double> SolvedLogs(const Groups& groups, std::size_t count,
                               const std::vector<Link>& links) {
  std::vector<int> unknown(count, kHeld);
  int unknowns = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (groups.Of(i) != i) unknown[i] = unknowns++;
  }
  std::vector<double> logs(count, 0.0);
  if (unknowns == 0) return logs;

  std::vector<Eigen::Triplet<double>> entries;
  entries.reserve(4 * links.size());
  Eigen::VectorXd right = Eigen::VectorXd::Zero(unknowns);
  const auto add = [&](std::size_t row, std::size_t column, double value) {
    if (unknown[row] == kHeld || unknown[column] == kHeld) return;
    entries.emplace_back(unknown[row], unknown[column], value);
  };
  for (const Link& link : links) {
    add(link.a, link.a, link.weight);
    add(link.b, link.b, link.weight);
    add(link.a, link.b, -link.weight);
    add(link.b, link.a, -link.weight);
    if (unknown[link.a] != kHeld) right[unknown[link.a]] += link.weight * link.ratio;
    if (unknown[link.b] != kHeld) right[unknown[link.b]] -= link.weight * link.ratio;
  }
  Eigen::SparseMatrix<double> laplacian(unknowns, unknowns);
  laplacian.setFromTriplets(entries.begin(), entries.end());
  const Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> factors(laplacian);
  if (factors.info() != Eigen::Success) {
    throw std::runtime_error("the gains' equations could not be solved");
  }
  const Eigen::VectorXd solved = factors.solve(right);
  for (std::size_t i = 0; i < count; ++i) {
    if (unknown[i] != kHeld) logs[i] = solved[unknown[i]];
  }
  return logs;
}

}  // namespace

std::vector<double> GainsOf(std::size_t count, const std::vector<Link>& links) {
  const Groups groups(count, links);
  std::vector<double> logs = SolvedLogs(groups, count, links);
  std::vector<Mean> means(count);
  for (std::size_t i = 0; i < count; ++i) means[groups.Of(i)].Add(logs[i]);
  std::vector<double> gains(count);
  for (std::size_t i = 0; i < count; ++i) {
    gains[i] = std::exp(logs[i] - means[groups.Of(i)].Value());
  }
  return gains;
}

}  // namespace dravix::lab
