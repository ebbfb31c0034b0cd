// A console reporter that also prints, after the run, the time of each of our
// kernels relative to each peer measured on the same case.
//
// Naming convention: "<case>/<contender>/<n>", where the contender "orx" is
// ours and every other contender is a peer; ratios are orx time / peer time
// (below 1: we are faster).
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace orx::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string name = run.benchmark_name();
      const auto first = name.find('/');
      const auto last = name.rfind('/');
      if (first == std::string::npos || first == last) continue;
      const std::string key = name.substr(0, first) + "/" + name.substr(last + 1);
      const std::string contender = name.substr(first + 1, last - first - 1);
      times_[key][contender] = run.GetAdjustedRealTime();
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-28s %-22s %10s\n", "case/n", "peer", "orx/peer");
    for (const auto& [key, contenders] : times_) {
      const auto ours = contenders.find("orx");
      if (ours == contenders.end()) continue;
      for (const auto& [peer, time] : contenders) {
        if (peer == "orx" || time <= 0) continue;
        std::printf("%-28s %-22s %10.3f\n", key.c_str(), peer.c_str(), ours->second / time);
      }
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> times_;
};

// main() of every benchmark program: runs the registered benchmarks and prints
// the ratio table.
inline int run_with_ratios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace orx::bench
