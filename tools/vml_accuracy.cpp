// Measures every exported vector-math kernel the accuracy harness knows
// against MPFR, prints one line per function x type x slot, and exits
// non-zero when a goal or a special value is missed.
//
//   orx_vml_accuracy [--samples N] [--function Exp] [--type d] [--seed S]
//
// --samples is the count per sub-range (default 1e6 for single, 2e5 for
// double); --function and --type restrict the rows.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "tools/accuracy/accuracy.h"

namespace {

using namespace orx::accuracy;

struct Options {
  size_t samples = 0;  // 0: the default of the type
  std::string function;
  char type = 0;
  uint64_t seed = 20240601;
};

bool parse(int argc, char** argv, Options& o) {
  for (int i = 1; i < argc; ++i) {
    const bool has_value = i + 1 < argc;
    if (std::strcmp(argv[i], "--samples") == 0 && has_value) {
      o.samples = static_cast<size_t>(std::strtod(argv[++i], nullptr));
    } else if (std::strcmp(argv[i], "--function") == 0 && has_value) {
      o.function = argv[++i];
    } else if (std::strcmp(argv[i], "--type") == 0 && has_value) {
      o.type = argv[++i][0];
    } else if (std::strcmp(argv[i], "--seed") == 0 && has_value) {
      o.seed = std::strtoull(argv[++i], nullptr, 0);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, options)) {
    std::fprintf(stderr,
                 "usage: %s [--samples N] [--function Exp] [--type s|d|c|z] [--seed S]\n",
                 argv[0]);
    return 2;
  }
  int missed = 0, measured = 0;
  std::printf("%-9s %-4s %-4s %-10s %-7s %-52s %-24s %-10s %s\n", "function", "type", "slot",
              "max ulp", "bits", "worst input", "sub-range", "goal", "verdict");
  for (const FunctionEntry& entry : registry()) {
    if (!options.function.empty() && options.function != entry.function) continue;
    if (options.type != 0 && options.type != entry.type) continue;
    if (exported_kernel(entry, kSlotHA) == nullptr) {
      std::printf("%-9s %-4c -    not exported\n", entry.function, entry.type);
      continue;
    }
    const bool single = entry.type == 's' || entry.type == 'c';
    const size_t n = options.samples != 0 ? options.samples : (single ? 1000000 : 200000);
    const std::vector<Samples> samples = make_samples(entry, n, options.seed);
    // Slots sharing a kernel share its measurement and special-value checks.
    std::map<const void*, std::pair<Measurement, std::vector<std::string>>> by_kernel;
    for (int slot = 0; slot < 3; ++slot) {
      const void* kernel = exported_kernel(entry, slot);
      auto it = by_kernel.find(kernel);
      if (it == by_kernel.end()) {
        it = by_kernel.emplace(kernel, std::make_pair(measure(entry, kernel, samples),
                                                      check_specials(entry, kernel)))
                 .first;
      }
      const Measurement& m = it->second.first;
      const std::vector<std::string>& special_failures = it->second.second;
      const Goal goal = goal_for(entry, slot);
      const bool ok = meets(goal, m) && special_failures.empty();
      missed += !ok;
      ++measured;
      const bool relative = goal.relative;
      std::printf("%-9s %-4c %-4s %-10.4f %-7.2f %-52s %-24s %-10s %s\n", entry.function,
                  entry.type, kSlotNames[slot], m.max_ulp, m.correct_bits(),
                  format_input(entry, relative ? m.worst_rel_re : m.worst_re,
                               relative ? m.worst_rel_im : m.worst_im)
                      .c_str(),
                  relative ? m.worst_rel_range : m.worst_range, describe(goal).c_str(),
                  ok ? "ok" : (special_failures.empty() ? "MISSED" : "SPECIALS"));
      if (goal.why != nullptr) std::printf("%24s* %s\n", "", goal.why);
      for (const std::string& f : special_failures) std::printf("%24s! %s\n", "", f.c_str());
    }
  }
  std::printf("%d slot(s) measured, %d missed\n", measured, missed);
  return missed == 0 ? 0 : 1;
}
