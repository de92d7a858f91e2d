/// The table that is printed, in the form that docs/performance.md shows.
#pragma once

#include <string>

namespace dravix::bench {

/// What a line is about.
struct Case {
  std::string work;
  double megapixels = 0;
  std::string details;
};

/// Prints one line for each ratio, and remembers which fell short.
class Table {
 public:
  /// Prints the machine, the compiler, the matrix library and the head of the table. Without aims
  /// only the results' bits count.
  explicit Table(bool withAims);

  /// Speed: how many times the plain way takes as long as the library's. `aim` 0: there is none.
  void Faster(const Case& what, double plainMs, double oursMs, double aim);
  /// Cost: the library's way as a multiple of another. `unit` is that of both.
  void AtMost(const Case& what, double other, double ours, double aim, const char* unit);
  /// To be told of each comparison of results.
  void Compared(const Case& what, bool same);

  /// Prints how many aims were met. False when a result had the wrong bits.
  bool Finish() const;

 private:
  void Print(const Case& what, const std::string& other, const std::string& ours, double ratio,
             const char* sign, double aim, bool met);

  bool withAims_;
  int aims_ = 0;
  int met_ = 0;
  bool same_ = true;
};

}  // namespace dravix::bench
