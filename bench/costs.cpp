#include "costs.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace pxa::bench {

namespace {

constexpr const char* kLine = "%-58s %11s %17s %17s %-24s %12s %6s  %s\n";

std::string inShort(double value) {
  char text[32];
  std::snprintf(text, sizeof text, value >= 1000 ? "%.0f" : "%.3g", value);
  return text;
}

bool hasPeer(const Cost& cost) {
  return !cost.peer.empty();
}

double ratioOf(const Cost& cost) {
  return cost.measured.median() / cost.peerMeasured.median();
}

bool isMet(const Cost& cost) {
  return cost.measured.median() <= cost.most && (!hasPeer(cost) || ratioOf(cost) <= cost.mostRatio);
}

bool hasGoal(const Cost& cost) {
  return cost.most != kNoGoal || cost.mostRatio != kNoGoal;
}

std::string goalOf(const Cost& cost) {
  if (cost.mostRatio != kNoGoal) return "<= " + inShort(cost.mostRatio) + " x";
  if (cost.most != kNoGoal) return "<= " + inShort(cost.most) + " " + cost.unit;
  return "-";
}

void print(const Cost& cost) {
  const Samples& measured = cost.measured;
  const bool isBeside = hasPeer(cost);
  std::printf(kLine, cost.name.c_str(), goalOf(cost).c_str(),
              (inShort(measured.median()) + " " + cost.unit).c_str(),
              (inShort(measured.least()) + " to " + inShort(measured.most())).c_str(),
              isBeside ? cost.peer.c_str() : "-",
              isBeside ? (inShort(cost.peerMeasured.median()) + " " + cost.unit).c_str() : "-",
              isBeside ? inShort(ratioOf(cost)).c_str() : "-",
              !hasGoal(cost) ? "-"
              : isMet(cost)  ? "met"
                             : "NOT MET");
  std::fflush(stdout);
}

nlohmann::json jsonOf(const Samples& samples) {
  return {{"median", samples.median()}, {"least", samples.least()}, {"most", samples.most()}};
}

nlohmann::json jsonOf(const Cost& cost) {
  nlohmann::json json{{"cost", cost.name}, {"unit", cost.unit}, {"measured", jsonOf(cost.measured)}};
  if (cost.most != kNoGoal) json["most"] = cost.most;
  if (cost.mostRatio != kNoGoal) json["mostRatio"] = cost.mostRatio;
  if (hasPeer(cost)) {
    json["peer"] = cost.peer;
    json["peerMeasured"] = jsonOf(cost.peerMeasured);
    json["ratio"] = ratioOf(cost);
  }
  if (hasGoal(cost)) json["met"] = isMet(cost);
  return json;
}

}  // namespace

double Samples::quantile(double share) const {
  std::vector<double> sorted = values_;
  std::sort(sorted.begin(), sorted.end());
  return sorted.at(static_cast<std::size_t>(std::lround(share * static_cast<double>(sorted.size() - 1))));
}

std::vector<Samples> inTurn(std::initializer_list<Run> runs, int rounds) {
  std::vector<Samples> samples(runs.size());
  for (const Run& run : runs) run();
  for (int round = 0; round < rounds; ++round) {
    auto sample = samples.begin();
    for (const Run& run : runs) (sample++)->add(run());
  }
  return samples;
}

void report(const Cost& cost) {
  print(cost);
  if (const char* path = std::getenv("PXALOG_BENCH_RESULTS"))
    std::ofstream(path, std::ios::app) << jsonOf(cost).dump() << '\n';
}

void reportHeading() {
  std::printf(kLine, "cost", "goal", "measured", "least to most", "peer", "peer's", "ratio", "goal met?");
  std::fflush(stdout);
}

double nanosecondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace pxa::bench
