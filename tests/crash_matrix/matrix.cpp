// Crashes in every way many times, and shows what came of it.
//
//   crash_matrix [FAST-RUNS [SLOW-RUNS [WAY...]]]

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "crash_matrix/CrashRunner.h"

namespace pxa::test {
namespace {

/// What may come on top of the handling: the start, and what the handling cannot bound.
constexpr double kLongestEnd = kLongestHandling + 2;

/// What came of all runs of one way.
struct Row {
  const Way* way = nullptr;
  int runs = 0;
  int delivered = 0;
  int withStacks = 0;
  int endedBySignal = 0;
  int faulty = 0;
  double longest = 0;
  bool isPermitted = true;
  std::string faults;  // of the first run that had any

  [[nodiscard]] bool isGood() const { return endedBySignal == runs && longest <= kLongestEnd; }

  void add(const Outcome& run) {
    if (run.ending.isNotPermitted()) {
      isPermitted = false;
      return;
    }
    ++runs;
    if (run.isDelivered()) ++delivered;
    if (run.hasStacks()) ++withStacks;
    if (run.ending.isBySignal(way->signal)) ++endedBySignal;
    longest = std::max(longest, run.ending.seconds);
    const std::string found = faultsOf(*way, run);
    if (!found.empty() && ++faulty == 1) faults = found;
  }
};

Row rowOf(const Way& way, int runs) {
  Row row;
  row.way = &way;
  CrashCollector collector(way.answer);
  for (int i = 0; i < runs && row.isPermitted; ++i) row.add(crash(way, collector));
  return row;
}

void show(const Row& row) {
  if (!row.isPermitted) {
    std::printf("%-34s not permitted here\n", row.way->name);
  } else {
    std::printf("%-34s %5d %9d %7d %9d %9.2f%s\n", row.way->name, row.runs, row.delivered, row.withStacks,
                row.endedBySignal, row.longest,
                row.faulty > 0 ? ("   faulty: " + std::to_string(row.faulty)).c_str() : "");
    if (!row.faults.empty()) std::fprintf(stderr, "== %s\n%s\n", row.way->name, row.faults.c_str());
  }
  std::fflush(stdout);
}

/// Goes through the ways with that many threads; whether every row was good.
bool goThrough(const std::vector<const Way*>& ways, int runs, std::size_t threadCount) {
  std::mutex mutex;
  bool isGood = true;
  std::atomic<std::size_t> next = 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < ways.size(); i = next++) {
      const Row row = rowOf(*ways[i], runs);
      const std::lock_guard lock(mutex);
      show(row);
      isGood = isGood && row.isGood();
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  return isGood;
}

int main(const std::vector<std::string>& arguments) {
  const int fastRuns = arguments.empty() ? 50 : std::atoi(arguments[0].c_str());
  const int slowRuns = arguments.size() < 2 ? 5 : std::atoi(arguments[1].c_str());
  const std::set<std::string> wanted(arguments.begin() + std::min<std::ptrdiff_t>(2, std::ssize(arguments)),
                                     arguments.end());
  std::vector<const Way*> fast;
  std::vector<const Way*> slow;
  for (const Way& way : kWays)
    if (!reasonToSkip(way) && (wanted.empty() || wanted.contains(way.name)))
      (way.speed == Speed::Fast ? fast : slow).push_back(&way);
  std::printf("%-34s %5s %9s %7s %9s %9s\n", "way", "runs", "delivered", "stacks", "by signal", "longest s");
  const bool isSlowGood = goThrough(slow, slowRuns, slow.size());
  const bool isFastGood = goThrough(fast, fastRuns, std::max(1U, std::thread::hardware_concurrency()));
  return isSlowGood && isFastGood ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace pxa::test

int main(int argc, char** argv) {
  return pxa::test::main({argv + 1, argv + argc});
}
