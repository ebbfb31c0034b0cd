// Accuracy harness of the vector-math kernels: registry of known functions,
// MPFR measurement of a slot's kernel over sampled sub-ranges, special values.
#pragma once

#include <mpfr.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orx::accuracy {

inline constexpr int kSlotLA = 0;
inline constexpr int kSlotHA = 1;
inline constexpr int kSlotEP = 2;
inline constexpr const char* kSlotNames[3] = {"LA", "HA", "EP"};

using UnaryReference = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using BinaryReference = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

// Inputs in [lo, hi] (values of the element's real type). For the complex
// types both parts are drawn from the range, independently.
struct SubRange {
  const char* name;
  double lo, hi;
};

// Expected result of a special input: a value compared bit for bit after
// conversion to the result type (so the sign of zero counts), or any NaN.
struct Expected {
  bool any_nan;
  double value;
};

struct SpecialCase {
  double re, im;  // im is used by the complex types only
  Expected expected;
  int status;     // status the kernel must leave (0: none)
};

// A bound recorded for one row instead of the slot's goal, with the reason.
struct BoundOverride {
  int slot;  // -1: every slot
  double max_ulp;
  const char* why;
};

struct FunctionEntry {
  const char* function;  // catalogue name, e.g. "Exp"
  char type;             // 's', 'd', 'c' or 'z'
  UnaryReference unary;  // real types
  BinaryReference binary;  // complex types: f(re, im)
  double filler_re, filler_im;  // ordinary input that surrounds special ones
  std::vector<SubRange> ranges;
  std::vector<SpecialCase> specials;
  std::vector<BoundOverride> overrides;
};

const std::vector<FunctionEntry>& registry();
const FunctionEntry* find_entry(const std::string& function, char type);
std::string row_name(const FunctionEntry& entry);  // "dExp"

// ---- goals ---------------------------------------------------------------

// HA: < 1 ulp; LA: < 4 ulp; EP: relative error < 2^-26 (double) or 2^-11
// (single), i.e. more than that many correct bits. A row's override replaces
// the ulp goal of its slot.
struct Goal {
  bool relative;      // EP goal: judged on correct bits
  double max_ulp;     // ulp goal (strict)
  double min_bits;    // relative goal (strict)
  const char* why;    // non-null when the row overrides the class goal
};
Goal goal_for(const FunctionEntry& entry, int slot);
std::string describe(const Goal& goal);

// ---- kernels -------------------------------------------------------------

// Kernel in `slot` of the row's exported table, or null when the library does
// not export the row.
const void* exported_kernel(const FunctionEntry& entry, int slot);

// Runs `kernel` over the inputs (im ignored for real types) on a fresh thread
// with mode HA | ERRMODE_IGNORE, so reports only set the status. Returns the
// results widened to double and the status left by the call.
struct KernelRun {
  std::vector<double> results;
  int status;
};
KernelRun run_kernel(const FunctionEntry& entry, const void* kernel, const std::vector<double>& re,
                     const std::vector<double>& im);

// ---- exact values and errors ---------------------------------------------

// The reference value f(re, im) at 128 bits, kept as (hi + lo) * 2^exponent
// with hi + lo in [0.5, 1) so that errors in ulps need no MPFR per result.
struct Exact {
  enum Kind : uint8_t { kFinite, kZero, kInfinite, kNaN } kind;
  bool negative;
  bool rounds_to_infinity;  // finite, but beyond the largest finite value of the type
  int32_t exponent;
  double hi, lo;
};
Exact exact_value(const FunctionEntry& entry, double re, double im);

// Error of `got` against the exact value, for results of the entry's type:
// ulps are those of the exact result at the type's precision (subnormal
// results: the fixed quantum of the subnormal range); the relative error is
// measured against max(|exact|, least normal). A NaN or infinity where the
// correctly rounded result is not the same is an infinite error.
struct Error {
  double ulps;
  double relative;
};
Error error_of(const Exact& exact, double got, char type);

// ---- measurement ---------------------------------------------------------

struct Samples {
  const SubRange* range;
  std::vector<double> re, im;
  std::vector<Exact> exact;
};
// `per_range` inputs per sub-range: half uniform over the representable
// values between the ends (log-uniform magnitudes, every exponent and the
// subnormals alike), half uniform in value. Reproducible from `seed`.
std::vector<Samples> make_samples(const FunctionEntry& entry, size_t per_range, uint64_t seed);

struct Measurement {
  size_t count = 0;
  double max_ulp = 0;
  double worst_re = 0, worst_im = 0;  // input of max_ulp
  const char* worst_range = "";
  double max_relative = 0;
  double worst_rel_re = 0, worst_rel_im = 0;  // input of max_relative
  const char* worst_rel_range = "";
  double correct_bits() const;  // -log2(max_relative), capped at 64
};
// Calls the kernel once per sub-range on the whole sample array and gathers
// the largest errors.
Measurement measure(const FunctionEntry& entry, const void* kernel,
                    const std::vector<Samples>& samples);
bool meets(const Goal& goal, const Measurement& m);

// ---- special values ------------------------------------------------------

// Each special input is placed at every position of an array of filler
// inputs (so block and tail paths both meet it); the result class or bits
// and the status are checked. Returns one message per failure.
std::vector<std::string> check_specials(const FunctionEntry& entry, const void* kernel);

std::string format_input(const FunctionEntry& entry, double re, double im);

}  // namespace orx::accuracy
