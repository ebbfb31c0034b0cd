// Special-value checks: result class or bits and status of each special
// input of a function, at every position of a block of ordinary inputs.
#include <bit>
#include <cmath>
#include <cstdio>

#include "tools/accuracy/accuracy.h"

namespace orx::accuracy {
namespace {

// 20 positions: two blocks of 8 and a tail, for any block size up to 8.
constexpr int kPositions = 20;

// The expected value in the result type, widened back to double.
double in_result_type(double v, char type) {
  return (type == 's' || type == 'c') ? static_cast<double>(static_cast<float>(v)) : v;
}

bool matches(const Expected& expected, double got, char type) {
  if (expected.any_nan) return std::isnan(got);
  return std::bit_cast<uint64_t>(got) ==
         std::bit_cast<uint64_t>(in_result_type(expected.value, type));
}

std::string describe_case(const FunctionEntry& entry, const SpecialCase& c, int position,
                          double got, int status) {
  char text[256];
  char want[48];
  if (c.expected.any_nan) {
    std::snprintf(want, sizeof want, "NaN");
  } else {
    std::snprintf(want, sizeof want, "%a", in_result_type(c.expected.value, entry.type));
  }
  std::snprintf(text, sizeof text, "%s of %s at position %d: got %a status %d, expected %s status %d",
                row_name(entry).c_str(), format_input(entry, c.re, c.im).c_str(), position, got,
                status, want, c.status);
  return text;
}

}  // namespace

std::vector<std::string> check_specials(const FunctionEntry& entry, const void* kernel) {
  std::vector<std::string> failures;
  const bool complex = entry.binary != nullptr;
  std::vector<double> re(kPositions, entry.filler_re);
  std::vector<double> im(complex ? kPositions : 0, entry.filler_im);
  const KernelRun plain = run_kernel(entry, kernel, re, im);
  if (plain.status != 0) {
    failures.push_back(row_name(entry) + ": ordinary inputs left status " +
                       std::to_string(plain.status));
  }
  for (const SpecialCase& c : entry.specials) {
    for (int position = 0; position < kPositions; ++position) {
      std::vector<double> case_re = re, case_im = im;
      case_re[position] = c.re;
      if (complex) case_im[position] = c.im;
      const KernelRun run = run_kernel(entry, kernel, case_re, case_im);
      bool neighbours_kept = true;
      for (int i = 0; i < kPositions; ++i) {
        if (i != position && std::bit_cast<uint64_t>(run.results[i]) !=
                                 std::bit_cast<uint64_t>(plain.results[i])) {
          neighbours_kept = false;
        }
      }
      if (!matches(c.expected, run.results[position], entry.type) || run.status != c.status) {
        failures.push_back(describe_case(entry, c, position, run.results[position], run.status));
        break;  // one message per special input
      }
      if (!neighbours_kept) {
        failures.push_back(row_name(entry) + ": a special input at position " +
                           std::to_string(position) + " changed the result of an ordinary one");
        break;
      }
    }
  }
  return failures;
}

}  // namespace orx::accuracy
