// Checks shared by the unary kernel tests, for float and double: a probe
// table (special values, thresholds one ulp either side, the status and
// element index each reports, alone and at every lane of a block), error
// modes, lengths and aliasing, the denormal field with the caller's MXCSR
// (check_unary runs them all on a kernel's table of cases, in every slot),
// and accuracy sweeps against a reference.
#pragma once

#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"

namespace orx::test {

template <class T>
using Kernel = void (*)(int, const T*, T*);
template <class T>
using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
using MpfrFunction = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
// Float kernels are judged against double libm (within 2^-52 of the exact
// value, far below a float ulp), double kernels against MPFR.
template <class T>
using Reference = std::conditional_t<sizeof(T) == 4, double (*)(double), MpfrFunction>;

template <class T>
Bits<T> bits(T x) {
  return std::bit_cast<Bits<T>>(x);
}
template <class T>
T with_bits(Bits<T> b) {
  return std::bit_cast<T>(b);
}
// The negative quiet NaN that invalid operations produce.
template <class T>
T indefinite() {
  if constexpr (sizeof(T) == 4)
    return with_bits<float>(0xFFC00000u);
  else
    return with_bits<double>(0xFFF8000000000000u);
}
template <class T>
T toward_zero(T x) {
  return std::nextafter(x, T(0));
}
template <class T>
T away_from_zero(T x) {
  return std::nextafter(x, 2 * x);
}

// One slot of a kernel table. Goal: error below max_ulps ulps, or relative
// error below max_relative.
template <class T>
struct Slot {
  std::string name;
  Kernel<T> kernel;
  unsigned accuracy;  // the mode's accuracy field that selects the slot
  Reference<T> reference;
  double max_ulps, max_relative;
};
struct Goal {
  double max_ulps, max_relative = 0;
};
// The LA, HA and EP slots of `table`, named after `function`.
template <class T>
std::vector<Slot<T>> slots_of(const char* function, Kernel<T> const (&table)[3],
                              Reference<T> reference, const Goal (&goals)[3]) {
  const char* names[] = {" LA", " HA", " EP"};
  const unsigned accuracy[] = {ORX_VML_LA, ORX_VML_HA, ORX_VML_EP};
  std::vector<Slot<T>> slots;
  for (int i = 0; i < 3; ++i) {
    slots.push_back({std::string(function) + names[i], table[i], accuracy[i], reference,
                     goals[i].max_ulps, goals[i].max_relative});
  }
  return slots;
}

struct Error {
  double ulps, relative;
};
inline constexpr Error kInfiniteError{INFINITY, INFINITY};

// Ulps are those of the result's binade, or the fixed quantum below the least
// normal. A zero, infinite or NaN exact value must be matched exactly.
inline Error error_of(double (*reference)(double), float x, float got) {
  const double want = reference(x);
  if (want == 0 || !std::isfinite(want)) {
    return got == want || (std::isnan(got) && std::isnan(want)) ? Error{0, 0} : kInfiniteError;
  }
  if (std::isnan(got)) return kInfiniteError;
  int e = 0;
  std::frexp(want, &e);
  const double diff = std::fabs(static_cast<double>(got) - want);
  return {diff / std::ldexp(1.0, std::max(e - 1, -126) - 23), diff / std::fabs(want)};
}

inline Error error_of(MpfrFunction reference, double x, double got) {
  struct ReleaseAtThreadExit {
    ~ReleaseAtThreadExit() { mpfr_free_cache(); }
  };
  static thread_local const ReleaseAtThreadExit release;
  mpfr_t e, d;
  mpfr_inits2(200, e, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(e, x, MPFR_RNDN);
  reference(e, e, MPFR_RNDN);
  Error err{0, 0};
  if (mpfr_zero_p(e) || !mpfr_number_p(e)) {
    const double want = mpfr_get_d(e, MPFR_RNDN);
    if (!(got == want || (std::isnan(got) && std::isnan(want)))) err = kInfiniteError;
  } else if (std::isnan(got)) {
    err = kInfiniteError;
  } else {
    const long quantum = std::max<long>(mpfr_get_exp(e), -1021) - 53;
    mpfr_set_d(d, got, MPFR_RNDN);
    mpfr_sub(d, d, e, MPFR_RNDN);
    mpfr_abs(d, d, MPFR_RNDN);
    mpfr_div(e, d, e, MPFR_RNDN);
    err.relative = std::fabs(mpfr_get_d(e, MPFR_RNDN));
    mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
    err.ulps = mpfr_get_d(d, MPFR_RNDN);
  }
  mpfr_clears(e, d, static_cast<mpfr_ptr>(nullptr));
  return err;
}

template <class T>
bool within_goal(const Slot<T>& s, T x, T got) {
  const Error e = error_of(s.reference, x, got);
  return e.ulps < s.max_ulps || e.relative < s.max_relative;
}

// ---- probes -------------------------------------------------------------------

enum class Expect { kAccurate, kExact, kQuietedInput };
template <class T>
struct Probe {
  T x;
  Expect expect;
  T value;  // kExact: the result, bit for bit
  int status;
};
template <class T>
Probe<T> accurate(T x, int status = 0) {
  return {x, Expect::kAccurate, 0, status};
}
template <class T>
Probe<T> exact(T x, T value, int status = 0) {
  return {x, Expect::kExact, value, status};
}
template <class T>
Probe<T> quieted(T x) {  // a NaN input comes back with its quiet bit set
  return {x, Expect::kQuietedInput, 0, 0};
}
// Quiet and signalling NaNs of both signs, with a payload.
template <class T>
std::vector<Probe<T>> nan_probes() {
  const Bits<T> nan = bits(std::numeric_limits<T>::infinity()) | 0x123;
  const Bits<T> sign = Bits<T>{1} << (8 * sizeof(T) - 1);
  return {quieted(std::numeric_limits<T>::quiet_NaN()),
          quieted(-std::numeric_limits<T>::quiet_NaN()), quieted(with_bits<T>(nan)),
          quieted(with_bits<T>(nan | sign))};
}
// The value next to `edge` toward zero, `edge` and the next away from zero,
// each within the goal, with the statuses inside and from the edge on.
template <class T>
void add_edge(std::vector<Probe<T>>& p, T edge, int inner_status = 0, int outer_status = 0) {
  p.push_back(accurate(toward_zero(edge), inner_status));
  p.push_back(accurate(edge, outer_status));
  p.push_back(accurate(away_from_zero(edge), outer_status));
}

template <class T>
void check_value(const Slot<T>& s, const Probe<T>& p, T got) {
  switch (p.expect) {
    case Expect::kExact:
      EXPECT_EQ(bits(got), bits(p.value)) << "got " << got;
      break;
    case Expect::kQuietedInput:
      EXPECT_EQ(bits(got), bits(p.x) | (Bits<T>{1} << (std::numeric_limits<T>::digits - 2)));
      break;
    case Expect::kAccurate:
      EXPECT_TRUE(std::isfinite(got) && within_goal(s, p.x, got)) << "got " << got;
      // An underflow report goes with a result below the least normal.
      if (p.status == ORX_VML_STATUS_UNDERFLOW) {
        EXPECT_LT(std::fabs(got), std::numeric_limits<T>::min()) << "got " << got;
      } else if (got != 0) {
        EXPECT_GE(std::fabs(got), std::numeric_limits<T>::min()) << "got " << got;
      }
  }
}

using Reports = std::vector<std::pair<int, int>>;  // (index, code) of each callback
inline Reports g_reports;
inline int record_and_keep(VmlErrorContext* ctx) {
  g_reports.emplace_back(ctx->index, ctx->code);
  return 1;
}

// Every probe alone (the tail path) and at each position among 19 ordinary
// inputs (blocks of 4 or 8 and a tail): its value, exactly one callback with
// its status and index (none for status 0), and the other elements' bits as
// computed alone.
template <class T>
void check_probes(const Slot<T>& s, const std::vector<Probe<T>>& probes,
                  const std::vector<T>& pool) {
  with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
    orx_vml_kernel_SetErrorCallBack(record_and_keep);
    std::vector<T> ordinary(19);  // `pool` values, none raising a status
    for (size_t i = 0; i < ordinary.size(); ++i) ordinary[i] = pool[(i * 7 + 3) % pool.size()];
    std::vector<T> alone(ordinary.size());
    for (size_t i = 0; i < ordinary.size(); ++i) s.kernel(1, &ordinary[i], &alone[i]);
    for (const Probe<T>& p : probes) {
      for (int at = -1; at < static_cast<int>(ordinary.size()); ++at) {
        std::vector<T> in = at < 0 ? std::vector<T>{p.x} : ordinary;
        const int k = std::max(at, 0);
        in[k] = p.x;
        std::vector<T> out(in.size());
        g_reports.clear();
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        SCOPED_TRACE(testing::Message()
                     << s.name << " x=" << p.x << " (" << std::hexfloat << p.x << ") at " << at);
        check_value(s, p, out[k]);
        const Reports want = p.status ? Reports{{k, p.status}} : Reports{};
        EXPECT_EQ(g_reports, want);
        for (int i = 0; at >= 0 && i < static_cast<int>(in.size()); ++i) {
          if (i != k) {
            EXPECT_EQ(bits(out[i]), bits(alone[i])) << "element " << i;
          }
        }
      }
    }
    orx_vml_kernel_ClearErrorCallBack();
  });
}

// ---- error modes ------------------------------------------------------------------

inline int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
inline int g_calls;
inline int count_call(VmlErrorContext*) { return ++g_calls, 0; }

// `bad` holds (input, kernel value) pairs that raise statuses, the last one
// `last_status`; they alternate with `good`.
template <class T>
struct ErrorModeCase {
  T good;
  std::vector<std::pair<T, T>> bad;
  int last_status;
};

// A callback returning 0 replaces exactly the bad results; under IGNORE an
// installed callback is not called and the kernel values stay. Either way the
// status is the last one.
template <class T>
void check_error_modes(const Slot<T>& s, const ErrorModeCase<T>& c) {
  const auto& [good, bad, last_status] = c;
  std::vector<T> in = {good};
  for (const auto& b : bad) in.insert(in.end(), {b.first, good});
  const int n = static_cast<int>(in.size());
  for (const bool ignore : {false, true}) {
    with_mode(s.accuracy | (ignore ? ORX_VML_ERRMODE_IGNORE : ORX_VML_ERRMODE_CALLBACK), [&] {
      orx_vml_kernel_SetErrorCallBack(ignore ? count_call : replace_with_42);
      if (ignore) orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);
      g_calls = 0;
      T expected_good;
      s.kernel(1, &good, &expected_good);
      std::vector<T> out(n);
      s.kernel(n, in.data(), out.data());
      for (int i = 0; i < n; ++i) {
        const T want = i % 2 == 0 ? expected_good : ignore ? bad[i / 2].second : T(42);
        EXPECT_EQ(bits(out[i]), bits(want)) << s.name << (ignore ? " ignore" : " callback")
                                            << " element " << i << " got " << out[i];
      }
      EXPECT_EQ(g_calls, 0);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), last_status) << s.name;
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- lengths, alignment, aliasing ----------------------------------------------------

// Lengths 0..40 at element offsets 0..3 (leaving the arrays off their 16-byte
// alignment), with `special` planted among inputs drawn from `pool`: each
// result has the bits of its element computed alone, nothing is written
// outside [0, n), in place gives the same bits, and n <= 0 writes nothing.
// The input array has exactly n + offset elements, so an over-read shows
// under AddressSanitizer.
template <class T>
void check_lengths(const Slot<T>& s, const std::vector<T>& pool, T special) {
  constexpr int kGuard = 9;
  const T sentinel = static_cast<T>(-12345.5);
  with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
    for (int n = 0; n <= 40; ++n) {
      for (int offset = 0; offset < 4; ++offset) {
        std::vector<T> in(n + offset);
        for (size_t i = 0; i < in.size(); ++i)
          in[i] = pool[(i * 7 + 31 * n + offset) % pool.size()];
        if (n > 3) in[offset + n / 2] = special;
        std::vector<T> out(in.size() + kGuard, sentinel);
        s.kernel(n, in.data() + offset, out.data() + offset);
        std::vector<T> inplace(in);
        s.kernel(n, inplace.data() + offset, inplace.data() + offset);
        for (int i = 0; i < offset; ++i) EXPECT_EQ(out[i], sentinel) << s.name;
        for (int i = 0; i < n; ++i) {
          T alone;
          s.kernel(1, &in[offset + i], &alone);
          EXPECT_EQ(bits(out[offset + i]), bits(alone)) << s.name << " n=" << n << " i=" << i;
          EXPECT_EQ(bits(inplace[offset + i]), bits(alone)) << s.name << " n=" << n << " in place";
        }
        for (size_t i = offset + n; i < out.size(); ++i)
          EXPECT_EQ(out[i], sentinel) << s.name << " n=" << n << " wrote past the end";
      }
    }
    T untouched = sentinel;
    const T one = 1;
    for (int n : {0, -3}) {
      s.kernel(n, &one, &untouched);
      EXPECT_EQ(untouched, sentinel) << s.name << " n=" << n;
    }
  });
}

// ---- denormal field -------------------------------------------------------------

template <class T>
struct DenormalCase {
  T x;
  T flushed;  // the result, bit for bit, when subnormals are read and written as 0
  int flushed_status, plain_status;
};

// 0x280000 reads subnormal inputs as 0 and flushes subnormal results,
// 0x140000 does neither (results within the goal); the caller's MXCSR
// control bits come back unchanged whether it flushes or not.
template <class T>
void check_denormal_field(const Slot<T>& s, const std::vector<DenormalCase<T>>& cases) {
  for (const bool ftz : {true, false}) {
    with_mode(
        s.accuracy | ORX_VML_ERRMODE_IGNORE | (ftz ? ORX_VML_FTZDAZ_ON : ORX_VML_FTZDAZ_OFF), [&] {
          for (const DenormalCase<T>& c : cases) {
            for (const unsigned caller : {0x1F80u, 0x9FC0u}) {
              SCOPED_TRACE(testing::Message() << s.name << " x=" << c.x << " flush " << ftz
                                              << " caller MXCSR " << std::hex << caller);
              const unsigned saved = _mm_getcsr();
              _mm_setcsr(caller);
              orx_vml_kernel_ClearErrStatus();
              T got;
              s.kernel(1, &c.x, &got);
              const unsigned after = _mm_getcsr();
              _mm_setcsr(saved);
              EXPECT_EQ(after & 0xFFC0u, caller & 0xFFC0u);
              if (ftz) {
                EXPECT_EQ(bits(got), bits(c.flushed)) << "got " << got;
              } else {
                EXPECT_TRUE(within_goal(s, c.x, got)) << "got " << got;
              }
              EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ftz ? c.flushed_status : c.plain_status);
            }
          }
        });
  }
}

// ---- every check, on a kernel's table of cases --------------------------------------

// A kernel's table of cases for the shared checks.
template <class T>
struct UnaryCases {
  std::vector<T> pool;  // ordinary inputs of every range, none raising a status
  std::vector<Probe<T>> probes;
  std::vector<ErrorModeCase<T>> error_modes;
  T length_special;  // planted among the pool in the length check
  std::vector<DenormalCase<T>> denormal;
};

// ln and log10: poles at +-0, domain errors below 0, and a subnormal input
// read as 0 under the denormal field.
template <class T>
UnaryCases<T> log_cases(const std::vector<T>& pool, const std::vector<Probe<T>>& more) {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = indefinite<T>();
  UnaryCases<T> c{pool,
                  nan_probes<T>(),
                  {{1, {{0, -inf}, {-2, nan}}, 1}, {3, {{-2, nan}, {-0.0, -inf}}, 2}},
                  T(-1),
                  {{5 * L::denorm_min(), -inf, 2, 0}}};
  c.probes.insert(c.probes.end(),
                  {exact(T(1), T(0)), exact(inf, inf), exact(T(0), -inf, 2),
                   exact(T(-0.0), -inf, 2), exact(-inf, nan, 1), exact(T(-1), nan, 1),
                   exact(-L::denorm_min(), nan, 1), exact(-L::max(), nan, 1)});
  c.probes.insert(c.probes.end(), more.begin(), more.end());
  return c;
}

// Every check above in every slot.
template <class T>
void check_unary(const std::vector<Slot<T>>& slots, const UnaryCases<T>& c) {
  for (const Slot<T>& s : slots) {
    check_lengths(s, c.pool, c.length_special);  // first: its guards catch stray writes
    check_probes(s, c.probes, c.pool);
    for (const ErrorModeCase<T>& e : c.error_modes) check_error_modes(s, e);
    check_denormal_field(s, c.denormal);
  }
}

// ---- accuracy sweeps ---------------------------------------------------------------

// Runs the kernel on `in` (IGNORE mode): every error within the goal; prints
// the largest error in ulps and, over normal results, the largest relative one.
template <class T>
void check_accuracy(const Slot<T>& s, const std::vector<T>& in, const char* label) {
  with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
    std::vector<T> out(in.size());
    s.kernel(static_cast<int>(in.size()), in.data(), out.data());
    double worst_ulps = 0, worst_relative = 0;
    T worst_x = 0;
    int failures = 0;
    for (size_t i = 0; i < in.size(); ++i) {
      const Error e = error_of(s.reference, in[i], out[i]);
      if (!(e.ulps < s.max_ulps || e.relative < s.max_relative) && ++failures <= 5)
        ADD_FAILURE() << s.name << " x=" << std::hexfloat << in[i] << " got " << out[i];
      if (!(e.ulps <= worst_ulps)) worst_ulps = e.ulps, worst_x = in[i];
      if (std::fabs(out[i]) >= std::numeric_limits<T>::min())
        worst_relative = std::max(worst_relative, e.relative);
    }
    EXPECT_EQ(failures, 0) << s.name << " " << label;
    std::printf("%s %s: %zu inputs, max %.4f ulp at x=%a, max relative error 2^%.2f\n",
                s.name.c_str(), label, in.size(), worst_ulps, static_cast<double>(worst_x),
                std::log2(worst_relative));
  });
}

// Every stride-th float bit pattern in [lo, hi], and hi.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr uint32_t kSweepStride = 4099;  // coarser under the sanitizers
#else
inline constexpr uint32_t kSweepStride = 61;
#endif
inline void check_sweep(const Slot<float>& s, uint32_t lo, uint32_t hi, const char* label) {
  std::vector<float> in;
  for (uint64_t b = lo; b <= hi; b += kSweepStride) in.push_back(with_bits<float>(b));
  in.push_back(with_bits<float>(hi));
  check_accuracy(s, in, label);
}

// `count` random doubles in each range, uniform in value or in bit pattern
// (for ranges of one sign spanning many binades).
struct Range {
  double lo, hi;
  bool by_bits;
};
inline void check_random(const Slot<double>& s, const std::vector<Range>& ranges, int count) {
  std::vector<double> in;
  std::mt19937_64 rng(1);
  for (const Range& r : ranges) {
    const uint64_t a = bits(r.lo), b = bits(r.hi);
    std::uniform_int_distribution<uint64_t> any(std::min(a, b), std::max(a, b));
    std::uniform_real_distribution<double> value(r.lo, r.hi);
    for (int i = 0; i < count; ++i)
      in.push_back(r.by_bits ? with_bits<double>(any(rng)) : value(rng));
  }
  check_accuracy(s, in, "random");
}

}  // namespace orx::test
