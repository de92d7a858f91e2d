/// Prints how often each mistake gets its own finding and how often another one, and how often good
/// photographs get any: the table of docs/check.md.
///
///     check_confusion [SEED [GOOD [WRONG [ID]]]]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "lab/check/cases.h"

namespace {

using dravix::test::CheckCase;
using dravix::test::CheckIds;

struct Row {
  int cases = 0, right = 0, wrong = 0;
  std::map<std::string, int> ids;
};

void Tell(const std::string& what, int index, const CheckCase& c,
          const std::vector<dravix::lab::Finding>& findings) {
  std::fprintf(stderr, "%s %d, %d x %d pixels:\n", what.c_str(), index, c.photo.image.cols,
               c.photo.image.rows);
  for (const auto& f : findings)
    std::fprintf(stderr, "    %s: %s\n", f.id.c_str(), f.message.c_str());
}

Row Try(const std::string& id, std::uint64_t seed, int count) {
  Row row;
  for (int i = 0; i < count; ++i) {
    const CheckCase c =
        id.empty() ? dravix::test::GoodCase(seed, i) : dravix::test::WrongCase(id, seed, i);
    const auto findings = dravix::lab::Check(c.photo, c.Options());
    const std::vector<std::string> ids = dravix::test::IdsOf(findings);
    const auto& beside = dravix::test::MayStandBeside(id);
    const auto has = [](const std::vector<std::string>& list, const std::string& x) {
      return std::find(list.begin(), list.end(), x) != list.end();
    };
    const bool isMoire = id == "moire" && has(ids, "too-sharp");
    const bool right = id.empty() ? ids.empty() : has(ids, id) || isMoire;
    const bool wrong = std::any_of(
        ids.begin(), ids.end(), [&](const std::string& x) { return x != id && !has(beside, x); });
    ++row.cases;
    row.right += right ? 1 : 0;
    row.wrong += wrong ? 1 : 0;
    for (const std::string& x : ids) ++row.ids[x];
    if (!right || wrong) Tell(id.empty() ? "good" : id, i, c, findings);
  }
  return row;
}

void Print(const std::string& name, const Row& row) {
  std::string others;
  for (const auto& [id, count] : row.ids) {
    if (id != name) others += (others.empty() ? "" : ", ") + id + " " + std::to_string(count);
  }
  std::printf("| %-13s | %5d | %5d | %5d | %s |\n", name.c_str(), row.cases, row.right, row.wrong,
              others.c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const auto argument = [&](int i, int otherwise) {
    return argc > i ? std::atoi(argv[i]) : otherwise;
  };
  const auto seed = static_cast<std::uint64_t>(argument(1, 1));
  const int good = argument(2, 200);
  const int wrong = argument(3, 20);
  std::printf("| mistake       | cases | right | wrong | findings beside |\n");
  std::printf("| ------------- | ----- | ----- | ----- | --------------- |\n");
  if (good > 0) Print("none", Try("", seed, good));
  for (const std::string& id : CheckIds()) {
    if (argc > 4 && id != argv[4]) continue;
    Print(id, Try(id, seed, wrong));
  }
}
