// A console reporter that also prints, after the run, the time of each of our
// kernels relative to each peer measured on the same case.
//
// Naming convention: "<case>/<contender>/<n>", where n is the element count
// and the contender is "<who>" or "<who>@<class>[.<class>...]". Contenders
// whose <who> is "orx" are ours, every other one is a peer. The optional
// classes are accuracy classes (e.g. "orx@LA.HA" is one of our kernels serving
// the LA and HA slots, "sleef_u10@HA" a peer of HA class): a peer is compared
// with one of our contenders when either carries no class or they share one.
// Ratios are our time / peer time (below 1: we are faster). Times are ns per
// element of wall-clock time, or of CPU time when constructed with
// Clock::kCpu (single-threaded code on a shared machine: time spent
// descheduled is not counted); with --benchmark_repetitions the median is used.
#pragma once

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace orx::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  enum class Clock { kReal, kCpu };
  // Colours only on a terminal (--benchmark_color applies to the library's
  // own reporter, not to this one).
  explicit RatioReporter(Clock clock = Clock::kReal)
      : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular), clock_(clock) {}

  // Adds a line "<label>/<n>  a  b  a/b" to a section printed after the ratio
  // table, for every n at which both "<case>/<contender>" a and b were timed.
  void add_comparison(const std::string& section, const std::string& label, const std::string& a,
                      const std::string& b) {
    comparisons_[section].push_back({label, a, b});
  }

  // A speed goal printed last: ours/peer ("<case>/<contender>" names) at most
  // `bound` at every n where both were timed, marked met or not.
  void add_goal(const std::string& ours, const std::string& peer, double bound) {
    goals_.push_back({ours, peer, bound});
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median) continue;
      std::string name = run.benchmark_name();
      if (median) name = name.substr(0, name.rfind('_'));  // drops "_median"
      const auto first = name.find('/');
      const auto last = name.rfind('/');
      if (first == std::string::npos || first == last) continue;
      const long n = std::strtol(name.c_str() + last + 1, nullptr, 10);
      if (n <= 0 || run.iterations <= 0) continue;
      // Aggregates keep the iteration count of the runs they summarize.
      const double accumulated =
          clock_ == Clock::kCpu ? run.cpu_accumulated_time : run.real_accumulated_time;
      const double seconds = accumulated / static_cast<double>(run.iterations);
      Sample& slot = times_[name.substr(0, last)][n];
      if (median || !slot.from_median) slot = {seconds * 1e9 / static_cast<double>(n), median};
      const std::string c = name.substr(0, first);
      const std::string contender = name.substr(first + 1, last - first - 1);
      if (contenders_.find(c) == contenders_.end()) cases_.push_back(c);
      auto& list = contenders_[c];
      if (std::find(list.begin(), list.end(), contender) == list.end()) list.push_back(contender);
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%s time per element\n", clock_ == Clock::kCpu ? "CPU" : "Wall-clock");
    std::printf("%-18s %-18s %8s   %-22s %8s %9s\n", "case/n", "ours", "ns/el", "peer", "ns/el",
                "ours/peer");
    for (const std::string& c : cases_) print_case(c);
    for (const auto& [section, lines] : comparisons_) {
      std::printf("\n%s\n%-46s %9s %9s %9s\n", section.c_str(), "comparison/n", "a ns/el",
                  "b ns/el", "a/b");
      for (const Comparison& line : lines) {
        const auto a = times_.find(line.a);
        const auto b = times_.find(line.b);
        if (a == times_.end() || b == times_.end()) continue;
        for (const auto& [n, ta] : a->second) {
          const auto tb = b->second.find(n);
          if (tb == b->second.end()) continue;
          const std::string label = line.label + "/" + std::to_string(n);
          std::printf("%-46s %9.3f %9.3f %9.3f\n", label.c_str(), ta.ns_per_element,
                      tb->second.ns_per_element, ta.ns_per_element / tb->second.ns_per_element);
        }
      }
    }
    print_goals();
  }

 private:
  struct Sample {
    double ns_per_element = 0;
    bool from_median = false;
  };
  struct Comparison {
    std::string label, a, b;
  };
  struct Goal {
    std::string ours, peer;
    double bound;
  };

  void print_goals() const {
    if (goals_.empty()) return;
    std::printf("\nSpeed goals (ours/peer at most the bound)\n%-40s %9s %9s %9s %6s  %s\n",
                "ours vs peer/n", "ours ns", "peer ns", "ours/peer", "bound", "goal");
    for (const Goal& g : goals_) {
      const auto a = times_.find(g.ours);
      const auto b = times_.find(g.peer);
      const std::string label = g.ours + " vs " + g.peer.substr(g.peer.find('/') + 1);
      if (a == times_.end() || b == times_.end()) {
        std::printf("%-40s %9s %9s %9s %6.3f  not timed\n", label.c_str(), "-", "-", "-", g.bound);
        continue;
      }
      for (const auto& [n, ta] : a->second) {
        const auto tb = b->second.find(n);
        if (tb == b->second.end()) continue;
        const double ratio = ta.ns_per_element / tb->second.ns_per_element;
        const std::string row = label + "/" + std::to_string(n);
        std::printf("%-40s %9.3f %9.3f %9.3f %6.3f  %s\n", row.c_str(), ta.ns_per_element,
                    tb->second.ns_per_element, ratio, g.bound, ratio <= g.bound ? "met" : "NOT MET");
      }
    }
  }

  static std::string who(const std::string& contender) {
    return contender.substr(0, contender.find('@'));
  }

  static std::set<std::string> classes(const std::string& contender) {
    std::set<std::string> out;
    const auto at = contender.find('@');
    if (at == std::string::npos) return out;
    std::stringstream list(contender.substr(at + 1));
    for (std::string c; std::getline(list, c, '.');) out.insert(c);
    return out;
  }

  static bool comparable(const std::string& ours, const std::string& peer) {
    const auto a = classes(ours);
    const auto b = classes(peer);
    if (a.empty() || b.empty()) return true;
    for (const std::string& c : a)
      if (b.count(c)) return true;
    return false;
  }

  // One block per (case, n): each of our contenders, then its comparable peers.
  void print_case(const std::string& c) {
    std::map<long, std::vector<std::pair<std::string, double>>> by_n;
    for (const std::string& contender : contenders_[c])
      for (const auto& [n, s] : times_[c + "/" + contender])
        by_n[n].push_back({contender, s.ns_per_element});
    for (const auto& [n, contenders] : by_n) {
      const std::string row = c + "/" + std::to_string(n);
      for (const auto& [ours, t_ours] : contenders) {
        if (who(ours) != "orx") continue;
        bool any = false;
        for (const auto& [peer, t_peer] : contenders) {
          if (who(peer) == "orx" || t_peer <= 0 || !comparable(ours, peer)) continue;
          std::printf("%-18s %-18s %8.3f   %-22s %8.3f %9.3f\n", row.c_str(), ours.c_str(), t_ours,
                      peer.c_str(), t_peer, t_ours / t_peer);
          any = true;
        }
        if (!any) std::printf("%-18s %-18s %8.3f   %-22s\n", row.c_str(), ours.c_str(), t_ours, "(no peer)");
      }
    }
  }

  Clock clock_;
  // "<case>/<contender>" -> n -> time; cases and contenders in run order.
  std::map<std::string, std::map<long, Sample>> times_;
  std::vector<std::string> cases_;
  std::map<std::string, std::vector<std::string>> contenders_;
  std::map<std::string, std::vector<Comparison>> comparisons_;
  std::vector<Goal> goals_;
};

// main() of a benchmark program: runs the registered benchmarks and prints
// the ratio table; `reporter` may carry extra comparisons.
inline int run_with_ratios(int argc, char** argv, RatioReporter& reporter) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

inline int run_with_ratios(int argc, char** argv) {
  RatioReporter reporter;
  return run_with_ratios(argc, argv, reporter);
}

}  // namespace orx::bench
