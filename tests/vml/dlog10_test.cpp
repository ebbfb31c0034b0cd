// Double-precision base-10 logarithm kernels (HA in slots 0 and 1, EP in
// slot 2): special values and statuses, powers of ten, error modes, lengths
// and aliasing, the denormal field, and accuracy against MPFR.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/length_checks.h"
#include "tests/vml/vml_test_support.h"

namespace {

using Kernel = void (*)(int, const double*, double*);
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};
uint64_t bits(double x) { return std::bit_cast<uint64_t>(x); }

struct Slot {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
};
const Slot kSlots[] = {{"LA", orx_vml_kernel_dLog10_ttab[0], ORX_VML_LA},
                       {"HA", orx_vml_kernel_dLog10_ttab[1], ORX_VML_HA},
                       {"EP", orx_vml_kernel_dLog10_ttab[2], ORX_VML_EP}};

struct Error {
  double ulps, relative;
};
Error log10_error(double x, double got) {
  mpfr_t l, d;
  mpfr_inits2(200, l, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(l, x, MPFR_RNDN);
  mpfr_log10(l, l, MPFR_RNDN);
  Error err{0, 0};
  if (!mpfr_zero_p(l)) {
    const long quantum = mpfr_get_exp(l) - 53;
    mpfr_set_d(d, got, MPFR_RNDN);
    mpfr_sub(d, d, l, MPFR_RNDN);
    mpfr_abs(d, d, MPFR_RNDN);
    mpfr_div(l, d, l, MPFR_RNDN);
    err.relative = std::fabs(mpfr_get_d(l, MPFR_RNDN));
    mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
    err.ulps = mpfr_get_d(d, MPFR_RNDN);
  } else if (got != 0.0) {
    err = {INFINITY, INFINITY};
  }
  mpfr_clears(l, d, static_cast<mpfr_ptr>(nullptr));
  return err;
}
bool within_goal(const Slot& s, double x, double got) {
  const Error e = log10_error(x, got);
  return s.accuracy == ORX_VML_EP ? e.relative < 0x1p-26 : e.ulps < 1.0;
}

// ---- special values ---------------------------------------------------------------

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

enum class Expect { kValue, kPosZero, kInf, kNegInf, kQuietInput, kIndefinite };
struct Probe {
  double x;
  Expect expect;
  int status;
};
const Probe kProbes[] = {
    {1.0, Expect::kPosZero, 0},
    {D::quiet_NaN(), Expect::kQuietInput, 0},
    {-D::quiet_NaN(), Expect::kQuietInput, 0},
    {std::bit_cast<double>(0x7FF0000000000123ull), Expect::kQuietInput, 0},
    {kInf, Expect::kInf, 0},
    {-kInf, Expect::kIndefinite, 1},
    {0.0, Expect::kNegInf, 2},
    {-0.0, Expect::kNegInf, 2},
    {-1.0, Expect::kIndefinite, 1},
    {-D::denorm_min(), Expect::kIndefinite, 1},
    {-D::max(), Expect::kIndefinite, 1},
    {D::denorm_min(), Expect::kValue, 0},
    {D::min() / 3, Expect::kValue, 0},
    {std::nextafter(D::min(), 0.0), Expect::kValue, 0},
    {D::min(), Expect::kValue, 0},
    {D::max(), Expect::kValue, 0},
    {1.4990234375, Expect::kValue, 0},
    {std::nextafter(1.4990234375, 0.0), Expect::kValue, 0},
    {std::nextafter(1.0, 0.0), Expect::kValue, 0},
    {std::nextafter(1.0, kInf), Expect::kValue, 0},
    {10.0, Expect::kValue, 0},
    {0.1, Expect::kValue, 0},
};

void check_probe(const Slot& s, const Probe& p, double got) {
  SCOPED_TRACE(testing::Message() << s.name << " x=" << std::hexfloat << p.x);
  switch (p.expect) {
    case Expect::kPosZero: EXPECT_EQ(bits(got), 0u); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNegInf: EXPECT_EQ(bits(got), 0xFFF0000000000000u); break;
    case Expect::kQuietInput: EXPECT_EQ(bits(got), bits(p.x) | 0x0008000000000000u); break;
    case Expect::kIndefinite: EXPECT_EQ(bits(got), 0xFFF8000000000000u); break;
    case Expect::kValue: EXPECT_TRUE(within_goal(s, p.x, got)) << "got " << std::hexfloat << got;
  }
}

TEST(DoubleLog10, SpecialValuesAndEdgesInEverySlot) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      for (const Probe& p : kProbes) {
        double got = -1;
        g_reports = 0;
        s.kernel(1, &p.x, &got);
        check_probe(s, p, got);
        EXPECT_EQ(g_reports, p.status ? 1 : 0) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_code, p.status) << s.name << " x=" << p.x;
        }
        std::vector<double> in(12, 3.0), out(12);
        in[5] = p.x;
        g_reports = 0;
        s.kernel(12, in.data(), out.data());
        check_probe(s, p, out[5]);
        EXPECT_EQ(g_reports, p.status ? 1 : 0);
        if (p.status) {
          EXPECT_EQ(g_index, 5);
        }
      }
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

TEST(DoubleLog10, PowersOfTenWithinOneUlp) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      std::vector<double> in;
      for (int e = -307; e <= 308; ++e) in.push_back(std::stod("1e" + std::to_string(e)));
      std::vector<double> out(in.size());
      s.kernel(static_cast<int>(in.size()), in.data(), out.data());
      for (size_t i = 0; i < in.size(); ++i) {
        EXPECT_TRUE(within_goal(s, in[i], out[i])) << s.name << " x=" << in[i] << " got " << out[i];
        // Exact powers of two times five: 10^e for 0 <= e <= 22 is exact.
        if (s.accuracy != ORX_VML_EP && i >= 307 && i <= 307 + 22) {
          EXPECT_LE(std::fabs(out[i] - static_cast<double>(static_cast<int>(i) - 307)),
                    std::ldexp(1.0, std::ilogb(out[i] == 0 ? 1.0 : out[i]) - 52));
        }
      }
    });
  }
}

// ---- error modes ---------------------------------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}

TEST(DoubleLog10, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      orx_vml_kernel_SetErrorCallBack(replace_with_42);
      const double in[3] = {1.0, 0.0, -2.0};
      double out[3];
      s.kernel(3, in, out);
      EXPECT_EQ(bits(out[0]), 0u);
      EXPECT_EQ(out[1], 42.0) << s.name;
      EXPECT_EQ(out[2], 42.0) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_DOMAIN);
      orx_vml_kernel_ClearErrorCallBack();
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const double in[2] = {-2.0, 0.0};
      double out[2];
      s.kernel(2, in, out);
      EXPECT_EQ(bits(out[0]), 0xFFF8000000000000u) << s.name;
      EXPECT_EQ(out[1], -kInf) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
    });
  }
}

// ---- lengths, alignment, aliasing ----------------------------------------------------

TEST(DoubleLog10, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 2, [](int count, uint32_t seed) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> exponent(-1000.0, 1000.0);
        std::vector<double> in(count);
        for (double& x : in) x = std::exp2(exponent(rng));
        if (count > 3) in[count / 2] = 0.0;
        return in;
      });
    });
  }
}

// ---- denormal field ---------------------------------------------------------------------

TEST(DoubleLog10, DenormalFieldAndCallersMxcsr) {
  for (const Slot& s : kSlots) {
    const double in[1] = {D::denorm_min() * 5};
    double out[1];
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_ON, [&] {
      const unsigned before = _mm_getcsr();
      s.kernel(1, in, out);
      EXPECT_EQ(_mm_getcsr(), before);
      EXPECT_EQ(out[0], -kInf) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      const unsigned before = _mm_getcsr();
      _mm_setcsr(before | 0x8040);
      s.kernel(1, in, out);
      EXPECT_EQ(_mm_getcsr(), before | 0x8040);
      _mm_setcsr(before);
      EXPECT_TRUE(within_goal(s, in[0], out[0])) << s.name << " got " << out[0];
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0);
    });
  }
}

// ---- accuracy against MPFR -------------------------------------------------------------

TEST(DoubleLog10, AccuracyAgainstMpfr) {
  struct Range {
    double lo, hi;
    bool by_bits;
  };
  const Range ranges[] = {{D::denorm_min(), D::min(), true}, {D::min(), D::max(), true},
                          {0.5, 2.0, false},                 {0x1.fcp-1, 0x1.02p0, false},
                          {0x1.ffcp-1, 0x1.002p0, false},    {1.0009765, 1.0009770, false}};
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      double worst_ulps = 0, worst_rel = 0, worst_x = 0;
      uint64_t seed = 7;
      for (const Range& r : ranges) {
        std::mt19937_64 rng(seed++);
        std::uniform_int_distribution<uint64_t> any(bits(r.lo), bits(r.hi));
        std::uniform_real_distribution<double> value(r.lo, r.hi);
        std::vector<double> in(30000), out(in.size());
        for (double& x : in) x = r.by_bits ? std::bit_cast<double>(any(rng)) : value(rng);
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        for (size_t i = 0; i < in.size(); ++i) {
          EXPECT_TRUE(within_goal(s, in[i], out[i])) << s.name << " x=" << std::hexfloat << in[i];
          const Error e = log10_error(in[i], out[i]);
          if (e.ulps > worst_ulps) worst_ulps = e.ulps, worst_x = in[i];
          worst_rel = std::max(worst_rel, e.relative);
        }
      }
      std::printf("dLog10 %s: max %.4f ulp at x=%a, max relative error 2^%.2f\n", s.name,
                  worst_ulps, worst_x, std::log2(worst_rel));
    });
  }
}

}  // namespace
