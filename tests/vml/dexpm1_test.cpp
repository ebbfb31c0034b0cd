// Double-precision e^x - 1 kernels (vector LA kernel in slots 0 and 2, x87
// element-by-element HA kernel in slot 1): Annex F special values, tiny and
// subnormal inputs, every threshold one ulp either side with its status,
// error modes, lengths and aliasing, the denormal field, MXCSR and the x87
// control word of the caller, and accuracy against MPFR over every range.
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
#include <utility>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/length_checks.h"
#include "tests/vml/vml_test_support.h"

namespace {

using Kernel = void (*)(int, const double*, double*);
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

double from_bits(uint64_t b) { return std::bit_cast<double>(b); }
uint64_t to_bits(double d) { return std::bit_cast<uint64_t>(d); }

struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};

struct Slot {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
  double max_ulps;
};
const Slot kSlots[] = {{"LA", orx_vml_kernel_dExpm1_ttab[0], ORX_VML_LA, 4.0},
                       {"HA", orx_vml_kernel_dExpm1_ttab[1], ORX_VML_HA, 1.0},
                       {"EP", orx_vml_kernel_dExpm1_ttab[2], ORX_VML_EP, 4.0}};

TEST(DoubleExpm1, TableHoldsTheCatalogueKernels) {
  EXPECT_EQ(kSlots[0].kernel, &orx_vml_kernel_dExpm1_E7LAynn);
  EXPECT_EQ(kSlots[1].kernel, &orx_vml_kernel_dExpm1_EXHAynn);
  EXPECT_EQ(kSlots[2].kernel, &orx_vml_kernel_dExpm1_E7LAynn);
}

// Error of `got` against e^x - 1 in ulps of the double result (below the
// least normal: the quantum 2^-1074), computed in MPFR.
double expm1_ulps(double x, double got) {
  mpfr_t e, d;
  mpfr_inits2(200, e, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(e, x, MPFR_RNDN);
  mpfr_expm1(e, e, MPFR_RNDN);
  const long quantum = std::max<long>(mpfr_get_exp(e), -1021) - 53;
  mpfr_set_d(d, got, MPFR_RNDN);
  mpfr_sub(d, d, e, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
  const double ulps = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clears(e, d, static_cast<mpfr_ptr>(nullptr));
  return ulps;
}

// ---- special values and thresholds -----------------------------------------------

std::vector<std::pair<int, int>> g_reports;  // (index, code)
int record_and_keep(VmlErrorContext* ctx) {
  g_reports.emplace_back(ctx->index, ctx->code);
  return 1;
}

enum class Expect { kValue, kSame, kMinusOne, kInf, kNaN };
struct Probe {
  double x;
  Expect expect;
  int status;
};

std::vector<Probe> probes() {
  std::vector<Probe> p = {
      {0.0, Expect::kSame, 0},
      {-0.0, Expect::kSame, 0},
      {D::quiet_NaN(), Expect::kNaN, 0},
      {-D::quiet_NaN(), Expect::kNaN, 0},
      {D::signaling_NaN(), Expect::kNaN, 0},
      {kInf, Expect::kInf, 0},
      {-kInf, Expect::kMinusOne, 0},
      {D::max(), Expect::kInf, 3},
      {-D::max(), Expect::kMinusOne, 0},
      {1000.0, Expect::kInf, 3},
      {-1000.0, Expect::kMinusOne, 0},
      {D::denorm_min(), Expect::kSame, 0},
      {-D::denorm_min(), Expect::kSame, 0},
      {D::min() - D::denorm_min(), Expect::kSame, 0},
      {D::min(), Expect::kSame, 0},
      {-D::min(), Expect::kSame, 0},
      {0x1p-60, Expect::kSame, 0},
      {-0x1p-60, Expect::kSame, 0},
      {709.78, Expect::kValue, 0},
      {709.79, Expect::kInf, 3},
  };
  // Overflow: 0x40862E42FEFA39EF is the largest x with a finite result.
  for (uint64_t b : {0x40862E42FEFA39EEull, 0x40862E42FEFA39EFull})
    p.push_back({from_bits(b), Expect::kValue, 0});
  for (uint64_t b : {0x40862E42FEFA39F0ull, 0x40862E42FEFA39F1ull})
    p.push_back({from_bits(b), Expect::kInf, 3});
  // Ends of the vector path (2^-54 and 708.39599609375, both signs), of the
  // element kernel's -1 (below -40) and of m = 1024: one ulp either side.
  for (double edge : {0x1p-54, -0x1p-54, 708.39599609375, -708.39599609375, -40.0,
                      709.7772976810359}) {
    for (double x : {std::nextafter(edge, -kInf), edge, std::nextafter(edge, kInf)})
      p.push_back({x, x < -700 ? Expect::kMinusOne : Expect::kValue, 0});
  }
  return p;
}

void check_probe(const Slot& s, const Probe& p, double got) {
  SCOPED_TRACE(testing::Message() << s.name << " x=" << std::hexfloat << p.x << " got " << got);
  switch (p.expect) {
    case Expect::kSame: EXPECT_EQ(to_bits(got), to_bits(p.x)); break;
    case Expect::kMinusOne: EXPECT_EQ(got, -1.0); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNaN: EXPECT_TRUE(std::isnan(got)); break;
    case Expect::kValue:
      EXPECT_TRUE(std::isfinite(got));
      EXPECT_LT(expm1_ulps(p.x, got), s.max_ulps);
  }
}

TEST(DoubleExpm1, SpecialValuesAndThresholdsInEverySlot) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      for (const Probe& p : probes()) {
        // Alone, then at lane 5 of a vector of ordinary values.
        double got = -7;
        g_reports.clear();
        s.kernel(1, &p.x, &got);
        check_probe(s, p, got);
        EXPECT_EQ(g_reports.size(), p.status ? 1u : 0u) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_reports[0], std::make_pair(0, p.status));
        }
        std::vector<double> in(16, 0.5), out(16);
        in[5] = p.x;
        g_reports.clear();
        s.kernel(16, in.data(), out.data());
        check_probe(s, p, out[5]);
        EXPECT_EQ(g_reports.size(), p.status ? 1u : 0u) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_reports[0], std::make_pair(5, p.status));
        }
      }
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- error modes ----------------------------------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
int g_calls;
int count_call(VmlErrorContext*) { return ++g_calls, 0; }

TEST(DoubleExpm1, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      orx_vml_kernel_SetErrorCallBack(replace_with_42);
      const double in[6] = {1.0, 800.0, -800.0, 2.0, 3.0, 710.0};
      double out[6];
      s.kernel(6, in, out);
      EXPECT_EQ(out[1], 42.0) << s.name;
      EXPECT_EQ(out[5], 42.0) << s.name;
      EXPECT_EQ(out[2], -1.0) << s.name;  // no status below -708
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_OVERFLOW);
      orx_vml_kernel_ClearErrorCallBack();
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      orx_vml_kernel_SetErrorCallBack(count_call);
      orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);  // callback set, but ignored
      g_calls = 0;
      const double in[2] = {800.0, 1.0};
      double out[2];
      s.kernel(2, in, out);
      EXPECT_EQ(out[0], kInf) << s.name;
      EXPECT_EQ(g_calls, 0);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_OVERFLOW);
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- lengths, alignment, aliasing -----------------------------------------------------

TEST(DoubleExpm1, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 3, [](int count, uint32_t seed) {
        std::mt19937_64 rng(seed);
        std::uniform_real_distribution<double> value(-3.0, 3.0);
        std::vector<double> in(count);
        for (auto& x : in) x = value(rng);
        if (count > 3) in[count / 2] = 800.0;
        if (count > 9) in[count - 3] = -0.0;
        return in;
      });
    });
  }
}

// ---- floating-point environment ---------------------------------------------------------

uint16_t x87_control() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
void set_x87_control(uint16_t cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }

TEST(DoubleExpm1, DenormalFieldAndCallerMxcsrRestored) {
  const double sub = from_bits(0x000123456789ABCD);
  for (const Slot& s : kSlots) {
    for (unsigned field : {ORX_VML_FTZDAZ_ON, ORX_VML_FTZDAZ_OFF}) {
      orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | field, [&] {
        const MpfrThreadCache cache;
        const double in[3] = {sub, -sub, 0.25};
        double out[3];
        const unsigned caller = _mm_getcsr();
        const unsigned opposite = field == ORX_VML_FTZDAZ_ON ? (caller & ~0x8040u) : (caller | 0x8040u);
        _mm_setcsr(opposite);
        s.kernel(3, in, out);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(caller);
        EXPECT_EQ(after, opposite) << s.name;
        if (field == ORX_VML_FTZDAZ_ON) {
          EXPECT_EQ(to_bits(out[0]), to_bits(0.0)) << s.name;
          EXPECT_EQ(to_bits(out[1]), to_bits(-0.0)) << s.name;
        } else {
          EXPECT_EQ(out[0], sub) << s.name;
          EXPECT_EQ(out[1], -sub) << s.name;
        }
        EXPECT_LT(expm1_ulps(in[2], out[2]), s.max_ulps) << s.name;
      });
    }
  }
}

// The element kernel computes in extended precision whatever the caller's x87
// precision, and gives the caller its control word back.
TEST(DoubleExpm1, ElementKernelSetsAndRestoresX87ControlWord) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [] {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> value(-2.0, 2.0);
    std::vector<double> in(2000), extended(in.size()), from_double(in.size());
    for (auto& x : in) x = value(rng);
    const uint16_t caller = x87_control();
    orx_vml_kernel_dExpm1_EXHAynn(static_cast<int>(in.size()), in.data(), extended.data());
    EXPECT_EQ(x87_control(), caller);
    const uint16_t double_precision = static_cast<uint16_t>((caller & ~0x0F00) | 0x0200);
    set_x87_control(double_precision);
    orx_vml_kernel_dExpm1_EXHAynn(static_cast<int>(in.size()), in.data(), from_double.data());
    const uint16_t after = x87_control();
    set_x87_control(caller);
    EXPECT_EQ(after, double_precision);
    for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(to_bits(extended[i]), to_bits(from_double[i]));
  });
}

// ---- accuracy against MPFR ------------------------------------------------------------------

TEST(DoubleExpm1, AccuracyAgainstMpfrOverEveryRange) {
  struct Range {
    double lo, hi;
  };
  const Range ranges[] = {{-0x1p-30, 0x1p-30}, {-0.0055, 0.0055}, {-0.02, 0.02},
                          {-1.0, 1.0},         {-40.0, 40.0},     {-745.0, 709.78},
                          {700.0, 709.7827},   {-1000.0, -40.0}};
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      double worst = 0, worst_x = 0;
      for (const Range& r : ranges) {
        std::mt19937_64 rng(static_cast<uint64_t>(r.hi * 1e6));
        std::uniform_real_distribution<double> value(r.lo, r.hi);
        std::vector<double> in(20000), out(in.size());
        for (auto& x : in) x = value(rng);
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        for (size_t i = 0; i < in.size(); ++i) {
          const double e = expm1_ulps(in[i], out[i]);
          EXPECT_LT(e, s.max_ulps) << s.name << " x=" << std::hexfloat << in[i] << " got " << out[i];
          if (e > worst) worst = e, worst_x = in[i];
        }
      }
      std::printf("dExpm1 %s: max %.4f ulp at x=%a\n", s.name, worst, worst_x);
    });
  }
}

}  // namespace
