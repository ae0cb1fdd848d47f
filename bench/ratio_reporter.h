// The console reporter of every benchmark program here, which also keeps each benchmark's time (the
// median when repeated) so the program can print its figures as ratios measured in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  explicit RatioReporter(bool cpuTime = false) : m_cpuTime(cpuTime) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const auto& run : runs)
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")
        m_time[run.benchmark_name()] = m_cpuTime ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
  }

  // The time of a benchmark ("name_median" first); 0 when it did not run.
  double Time(const std::string& name) const {
    auto found = m_time.find(name + "_median");
    if (found == m_time.end()) found = m_time.find(name);
    return found == m_time.end() ? 0.0 : found->second;
  }

  // "what  a/b x", with the goal's verdict when a goal is given.
  void PrintRatio(const char* what, const std::string& a, const std::string& b, double goal = 0) const {
    if (Time(a) == 0 || Time(b) == 0) return;
    const double r = Time(a) / Time(b);
    if (goal > 0)
      std::printf("  %-46s %6.2fx  (goal <= %.2fx: %s)\n", what, r, goal, r <= goal ? "met" : "NOT met");
    else
      std::printf("  %-46s %6.2fx\n", what, r);
  }

 private:
  bool m_cpuTime;
  std::map<std::string, double> m_time;
};
