// Sampling of sub-ranges, exact values from MPFR, errors in ulps and
// relative terms, and the measurement of one kernel against its goal.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <thread>

#include "tools/accuracy/accuracy.h"

namespace orx::accuracy {
namespace {

bool is_single(char type) { return type == 's' || type == 'c'; }

// Precision and least normal exponent (2^(min_exponent - 1) is the least
// normal) of the result type.
struct Format {
  int digits;
  int min_exponent;
  double least_normal;
};
Format format_of(char type) {
  if (is_single(type)) {
    return {FLT_MANT_DIG, FLT_MIN_EXP, FLT_MIN};
  }
  return {DBL_MANT_DIG, DBL_MIN_EXP, DBL_MIN};
}

uint64_t splitmix64(uint64_t& state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

uint64_t hash_name(const std::string& text) {
  uint64_t h = 0xCBF29CE484222325ull;  // FNV-1a
  for (unsigned char c : text) h = (h ^ c) * 0x100000001B3ull;
  return h;
}

// Position of a value among the representable values of the type, ordered
// as the reals (+0 and -0 share 0), and back.
int64_t ordinal(double x, char type) {
  if (is_single(type)) {
    const uint32_t bits = std::bit_cast<uint32_t>(static_cast<float>(x));
    const int64_t magnitude = bits & 0x7FFFFFFFu;
    return (bits >> 31) ? -magnitude : magnitude;
  }
  const uint64_t bits = std::bit_cast<uint64_t>(x);
  const int64_t magnitude = static_cast<int64_t>(bits & 0x7FFFFFFFFFFFFFFFull);
  return (bits >> 63) ? -magnitude : magnitude;
}

double from_ordinal(int64_t ord, char type) {
  const uint64_t magnitude = static_cast<uint64_t>(ord < 0 ? -ord : ord);
  if (is_single(type)) {
    const uint32_t bits = static_cast<uint32_t>(magnitude) | (ord < 0 ? 0x80000000u : 0u);
    return std::bit_cast<float>(bits);
  }
  return std::bit_cast<double>(magnitude | (ord < 0 ? 0x8000000000000000ull : 0ull));
}

// Uniform integer in [0, span] from 64 random bits.
uint64_t below_or_equal(uint64_t random, uint64_t span) {
  if (span == UINT64_MAX) return random;
  return static_cast<uint64_t>((static_cast<unsigned __int128>(random) * (span + 1)) >> 64);
}

double draw(const SubRange& range, char type, bool by_ordinal, uint64_t& state) {
  if (by_ordinal) {
    const int64_t lo = ordinal(range.lo, type), hi = ordinal(range.hi, type);
    const uint64_t span = static_cast<uint64_t>(hi) - static_cast<uint64_t>(lo);
    // Unsigned arithmetic: lo + offset may pass through values an int64 cannot hold.
    const uint64_t offset = below_or_equal(splitmix64(state), span);
    return from_ordinal(static_cast<int64_t>(static_cast<uint64_t>(lo) + offset), type);
  }
  const double u = static_cast<double>(splitmix64(state) >> 11) * 0x1p-53;
  double x = range.lo * (1 - u) + range.hi * u;  // no overflow for ends of opposite sign
  if (is_single(type)) x = static_cast<float>(x);
  return std::clamp(x, range.lo, range.hi);
}

Samples sample_range(const FunctionEntry& entry, const SubRange& range, size_t count,
                     uint64_t seed) {
  Samples s{&range, {}, {}, {}};
  const bool complex = entry.binary != nullptr;
  uint64_t state = seed;
  s.re.resize(count);
  s.im.resize(complex ? count : 0);
  s.exact.resize(count);
  for (size_t i = 0; i < count; ++i) {
    const bool by_ordinal = i % 2 == 0;
    s.re[i] = draw(range, entry.type, by_ordinal, state);
    if (complex) s.im[i] = draw(range, entry.type, by_ordinal, state);
    s.exact[i] = exact_value(entry, s.re[i], complex ? s.im[i] : 0.0);
  }
  return s;
}

}  // namespace

Exact exact_value(const FunctionEntry& entry, double re, double im) {
  constexpr mpfr_prec_t kPrecision = 128;
  mpfr_t x, y, h;
  mpfr_inits2(kPrecision, x, y, h, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(x, re, MPFR_RNDN);
  mpfr_set_d(y, im, MPFR_RNDN);
  if (entry.binary != nullptr) {
    entry.binary(h, x, y, MPFR_RNDN);
  } else {
    entry.unary(h, x, MPFR_RNDN);
  }
  Exact e{Exact::kFinite, mpfr_signbit(h) != 0, false, 0, 0.0, 0.0};
  if (mpfr_nan_p(h)) {
    e.kind = Exact::kNaN;
  } else if (mpfr_inf_p(h)) {
    e.kind = Exact::kInfinite;
  } else if (mpfr_zero_p(h)) {
    e.kind = Exact::kZero;
  } else {
    e.exponent = static_cast<int32_t>(mpfr_get_exp(h));  // |h| in [2^(e-1), 2^e)
    e.rounds_to_infinity = is_single(entry.type) ? std::isinf(mpfr_get_flt(h, MPFR_RNDN))
                                                : std::isinf(mpfr_get_d(h, MPFR_RNDN));
    mpfr_mul_2si(y, h, -e.exponent, MPFR_RNDN);  // exact: in [0.5, 1)
    mpfr_abs(y, y, MPFR_RNDN);
    e.hi = mpfr_get_d(y, MPFR_RNDN);
    mpfr_sub_d(y, y, e.hi, MPFR_RNDN);
    e.lo = mpfr_get_d(y, MPFR_RNDN);
  }
  mpfr_clears(x, y, h, static_cast<mpfr_ptr>(nullptr));
  return e;
}

Error error_of(const Exact& exact, double got, char type) {
  constexpr double kInf = std::numeric_limits<double>::infinity();
  constexpr Error kMismatch{kInf, kInf};
  const Format f = format_of(type);
  if (exact.kind == Exact::kNaN) return std::isnan(got) ? Error{0, 0} : kMismatch;
  if (std::isnan(got)) return kMismatch;
  if (exact.kind == Exact::kInfinite) {
    return std::isinf(got) && std::signbit(got) == exact.negative ? Error{0, 0} : kMismatch;
  }
  if (std::isinf(got)) {
    const bool same = exact.kind == Exact::kFinite && exact.rounds_to_infinity &&
                      std::signbit(got) == exact.negative;
    return same ? Error{0, 0} : kMismatch;
  }
  const double quantum_of_subnormals = std::ldexp(1.0, f.min_exponent - 1 - (f.digits - 1));
  if (exact.kind == Exact::kZero) {
    return {std::fabs(got) / quantum_of_subnormals, std::fabs(got) / f.least_normal};
  }
  // |got - exact| / 2^exponent, exact to double rounding: got scaled by
  // 2^-exponent is exact and near hi, so the first difference is exact.
  const double scaled = std::ldexp(exact.negative ? -got : got, -exact.exponent);
  const double diff = std::fabs((scaled - exact.hi) - exact.lo);
  // ulp of the exact value: 2^(exponent - digits), or the subnormal quantum.
  const int quantum = std::max(exact.exponent, f.min_exponent) - f.digits;
  const double ulps = std::ldexp(diff, exact.exponent - quantum);
  const double relative = exact.exponent >= f.min_exponent
                              ? diff / (exact.hi + exact.lo)
                              : std::ldexp(diff, exact.exponent - (f.min_exponent - 1));
  return {ulps, relative};
}

std::vector<Samples> make_samples(const FunctionEntry& entry, size_t per_range, uint64_t seed) {
  std::vector<Samples> out(entry.ranges.size());
  const uint64_t row_seed = seed ^ hash_name(row_name(entry));
  // Sub-ranges are independent: compute their exact values in parallel when
  // MPFR keeps its state per thread.
  std::atomic<size_t> next{0};
  auto worker = [&] {
    for (size_t k; (k = next.fetch_add(1)) < out.size();) {
      uint64_t state = row_seed + k;
      out[k] = sample_range(entry, entry.ranges[k], per_range, splitmix64(state));
    }
    mpfr_free_cache();  // MPFR's constant caches are per thread: free this thread's
  };
  const unsigned threads =
      mpfr_buildopt_tls_p() ? std::max(1u, std::min<unsigned>(std::thread::hardware_concurrency(),
                                                              static_cast<unsigned>(out.size())))
                            : 1u;
  std::vector<std::thread> pool;
  for (unsigned t = 1; t < threads; ++t) pool.emplace_back(worker);
  worker();
  for (auto& t : pool) t.join();
  return out;
}

double Measurement::correct_bits() const {
  if (max_relative == 0) return 64;
  return std::min(64.0, -std::log2(max_relative));
}

Measurement measure(const FunctionEntry& entry, const void* kernel,
                    const std::vector<Samples>& samples) {
  Measurement m;
  for (const Samples& s : samples) {
    const KernelRun run = run_kernel(entry, kernel, s.re, s.im);
    for (size_t i = 0; i < s.re.size(); ++i) {
      const Error e = error_of(s.exact[i], run.results[i], entry.type);
      const double im = s.im.empty() ? 0.0 : s.im[i];
      if (e.ulps > m.max_ulp || (m.count == 0 && i == 0)) {
        m.max_ulp = e.ulps;
        m.worst_re = s.re[i];
        m.worst_im = im;
        m.worst_range = s.range->name;
      }
      if (e.relative > m.max_relative || (m.count == 0 && i == 0)) {
        m.max_relative = e.relative;
        m.worst_rel_re = s.re[i];
        m.worst_rel_im = im;
        m.worst_rel_range = s.range->name;
      }
    }
    m.count += s.re.size();
  }
  return m;
}

Goal goal_for(const FunctionEntry& entry, int slot) {
  for (const BoundOverride& o : entry.overrides) {
    if (o.slot == slot || o.slot == -1) return {false, o.max_ulp, 0, o.why};
  }
  if (slot == kSlotEP) return {true, 0, is_single(entry.type) ? 11.0 : 26.0, nullptr};
  return {false, slot == kSlotHA ? 1.0 : 4.0, 0, nullptr};
}

std::string describe(const Goal& goal) {
  char text[48];
  if (goal.relative) {
    std::snprintf(text, sizeof text, ">%g bits", goal.min_bits);
  } else {
    std::snprintf(text, sizeof text, "<%g ulp%s", goal.max_ulp, goal.why ? "*" : "");
  }
  return text;
}

bool meets(const Goal& goal, const Measurement& m) {
  if (goal.relative) return m.correct_bits() > goal.min_bits;
  return m.max_ulp < goal.max_ulp;
}

std::string format_input(const FunctionEntry& entry, double re, double im) {
  char text[128];
  const int digits = is_single(entry.type) ? 9 : 17;
  if (entry.binary != nullptr) {
    std::snprintf(text, sizeof text, "(%a, %a)", re, im);
  } else {
    std::snprintf(text, sizeof text, "%a (%.*g)", re, digits, re);
  }
  return text;
}

}  // namespace orx::accuracy
