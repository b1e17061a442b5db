#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace pxa::bench {

/// What one thing cost, run by run.
class Samples {
 public:
  void add(double value) { values_.push_back(value); }
  [[nodiscard]] double median() const { return quantile(0.5); }
  /// The value that this share of the samples does not exceed; 0 to 1.
  [[nodiscard]] double quantile(double share) const;
  [[nodiscard]] double least() const { return quantile(0.0); }
  [[nodiscard]] double most() const { return quantile(1.0); }

 private:
  std::vector<double> values_;
};

/// A run that gives what one thing cost in it.
using Run = std::function<double()>;

inline constexpr int kRuns = 9;

/// Does each run once to warm up, then each in turn, `rounds` times: what disturbs one disturbs its peers too.
std::vector<Samples> inTurn(std::initializer_list<Run> runs, int rounds = kRuns);

inline constexpr double kNoGoal = std::numeric_limits<double>::infinity();

/// One line of the table of costs.
struct Cost {
  std::string name;
  std::string unit;
  Samples measured;
  /// The most that the median may be.
  double most = kNoGoal;
  /// Whom it is measured beside, if anyone, and the most that the ratio of the medians may be.
  std::string peer{};
  Samples peerMeasured{};
  double mostRatio = kNoGoal;
};

/// Prints the line, and adds it as a JSON object to the file that PXALOG_BENCH_RESULTS names.
void report(const Cost& cost);
/// Prints what stands above the lines.
void reportHeading();

/// The nanoseconds that the work takes.
double nanosecondsOf(const std::function<void()>& work);

}  // namespace pxa::bench
