// Double-precision ln(1 + x) kernel (HA, every slot): special values and
// statuses, the edges of its paths one ulp either side, error modes, lengths
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

using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();
const auto kKernel = orx_vml_kernel_dLog1p_ttab[1];

struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};
uint64_t bits(double x) { return std::bit_cast<uint64_t>(x); }

// Error in ulps of the double result (subnormal results: ulps of 2^-1074).
double log1p_ulps(double x, double got) {
  mpfr_t l, d;
  mpfr_inits2(200, l, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(l, x, MPFR_RNDN);
  mpfr_log1p(l, l, MPFR_RNDN);
  double ulps = 0;
  if (!mpfr_zero_p(l)) {
    const long quantum = std::max<long>(mpfr_get_exp(l) - 53, -1074);
    mpfr_set_d(d, got, MPFR_RNDN);
    mpfr_sub(d, d, l, MPFR_RNDN);
    mpfr_abs(d, d, MPFR_RNDN);
    mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
    ulps = mpfr_get_d(d, MPFR_RNDN);
  } else if (got != 0.0) {
    ulps = INFINITY;
  }
  mpfr_clears(l, d, static_cast<mpfr_ptr>(nullptr));
  return ulps;
}

TEST(DoubleLog1p, OneKernelInEverySlot) {
  EXPECT_EQ(orx_vml_kernel_dLog1p_ttab[0], kKernel);
  EXPECT_EQ(orx_vml_kernel_dLog1p_ttab[2], kKernel);
}

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

enum class Expect { kValue, kSame, kInf, kNegInf, kQuietInput, kIndefinite };
struct Probe {
  double x;
  Expect expect;
  int status;
};

std::vector<Probe> probes() {
  std::vector<Probe> p = {
      {0.0, Expect::kSame, 0},
      {-0.0, Expect::kSame, 0},
      {D::denorm_min(), Expect::kSame, 0},
      {-D::denorm_min(), Expect::kSame, 0},
      {D::min(), Expect::kSame, 0},
      {0x1p-61, Expect::kSame, 0},
      {-0x1p-61, Expect::kSame, 0},
      {D::quiet_NaN(), Expect::kQuietInput, 0},
      {-D::quiet_NaN(), Expect::kQuietInput, 0},
      {std::bit_cast<double>(0x7FF0000000000123ull), Expect::kQuietInput, 0},
      {kInf, Expect::kInf, 0},
      {-kInf, Expect::kIndefinite, 1},
      {-1.0, Expect::kNegInf, 2},
      {std::nextafter(-1.0, -kInf), Expect::kIndefinite, 1},
      {-2.0, Expect::kIndefinite, 1},
      {-D::max(), Expect::kIndefinite, 1},
      {std::nextafter(-1.0, 0.0), Expect::kValue, 0},
      {D::max(), Expect::kValue, 0},
      {1.0, Expect::kValue, 0},
      {-0.5, Expect::kValue, 0},
      {0x1p53, Expect::kValue, 0},
      {0x1p-40 + 0x1p-90, Expect::kValue, 0},
  };
  // Either side of the switches between the paths: 2^-60 (fast path) and
  // 2^-30 (series), both signs.
  for (double edge : {0x1p-60, 0x1p-30, -0x1p-60, -0x1p-30}) {
    for (double x : {std::nextafter(edge, 0.0), edge, std::nextafter(edge, 2 * edge)})
      p.push_back({x, Expect::kValue, 0});
  }
  return p;
}

void check_probe(const Probe& p, double got) {
  SCOPED_TRACE(testing::Message() << "x=" << std::hexfloat << p.x);
  switch (p.expect) {
    case Expect::kSame: EXPECT_EQ(bits(got), bits(p.x)); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNegInf: EXPECT_EQ(bits(got), 0xFFF0000000000000u); break;
    case Expect::kQuietInput: EXPECT_EQ(bits(got), bits(p.x) | 0x0008000000000000u); break;
    case Expect::kIndefinite: EXPECT_EQ(bits(got), 0xFFF8000000000000u); break;
    case Expect::kValue: EXPECT_LT(log1p_ulps(p.x, got), 1.0) << "got " << std::hexfloat << got;
  }
}

TEST(DoubleLog1p, SpecialValuesAndEdges) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK | ORX_VML_FTZDAZ_OFF, [&] {
    const MpfrThreadCache cache;
    orx_vml_kernel_SetErrorCallBack(record_and_keep);
    for (const Probe& p : probes()) {
      double got = -1;
      g_reports = 0;
      kKernel(1, &p.x, &got);
      check_probe(p, got);
      EXPECT_EQ(g_reports, p.status ? 1 : 0) << " x=" << p.x;
      if (p.status) {
        EXPECT_EQ(g_code, p.status) << " x=" << p.x;
      }
      std::vector<double> in(12, 0.75), out(12);
      in[9] = p.x;
      g_reports = 0;
      kKernel(12, in.data(), out.data());
      check_probe(p, out[9]);
      EXPECT_EQ(g_reports, p.status ? 1 : 0);
      if (p.status) {
        EXPECT_EQ(g_index, 9);
      }
    }
    orx_vml_kernel_ClearErrorCallBack();
  });
}

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}

TEST(DoubleLog1p, CallbackChangesResultIgnoreKeepsKernelValue) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [&] {
    orx_vml_kernel_SetErrorCallBack(replace_with_42);
    const double in[3] = {0.0, -1.0, -2.0};
    double out[3];
    kKernel(3, in, out);
    EXPECT_EQ(bits(out[0]), 0u);
    EXPECT_EQ(out[1], 42.0);
    EXPECT_EQ(out[2], 42.0);
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_DOMAIN);
    orx_vml_kernel_ClearErrorCallBack();
  });
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [&] {
    const double in[2] = {-2.0, -1.0};
    double out[2];
    kKernel(2, in, out);
    EXPECT_EQ(bits(out[0]), 0xFFF8000000000000u);
    EXPECT_EQ(out[1], -kInf);
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
  });
}

TEST(DoubleLog1p, EveryLengthUnalignedAndInPlace) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [&] {
    orx::test::check_lengths_and_aliasing(kKernel, "dLog1p", 2, [](int count, uint32_t seed) {
      std::mt19937 rng(seed);
      std::uniform_real_distribution<double> value(-0.9, 40.0);
      std::vector<double> in(count);
      for (double& x : in) x = value(rng);
      if (count > 3) in[count / 2] = -1.0;
      return in;
    });
  });
}

TEST(DoubleLog1p, DenormalFieldAndCallersMxcsr) {
  const double in[2] = {D::denorm_min() * 5, -D::denorm_min() * 3};
  double out[2];
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_ON, [&] {
    const unsigned before = _mm_getcsr();
    kKernel(2, in, out);
    EXPECT_EQ(_mm_getcsr(), before);
    EXPECT_EQ(bits(out[0]), bits(0.0));
    EXPECT_EQ(bits(out[1]), bits(-0.0));
  });
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
    const unsigned before = _mm_getcsr();
    _mm_setcsr(before | 0x8040);
    kKernel(2, in, out);
    EXPECT_EQ(_mm_getcsr(), before | 0x8040);
    _mm_setcsr(before);
    EXPECT_EQ(bits(out[0]), bits(in[0]));
    EXPECT_EQ(bits(out[1]), bits(in[1]));
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0);
  });
}

TEST(DoubleLog1p, AccuracyAgainstMpfr) {
  struct Range {
    double lo, hi;
    bool by_bits;
  };
  const Range ranges[] = {{0x1p-70, 0x1p-20, true},      {-0x1p-20, -0x1p-70, true},
                          {-0.25, 0.25, false},          {-0x1.fffffffffffffp-1, -0.5, false},
                          {-0x1p-29, 0x1p-29, false},    {0.5, 0x1p20, true},
                          {0x1p20, D::max(), true}};
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [&] {
    const MpfrThreadCache cache;
    double worst = 0, worst_x = 0;
    uint64_t seed = 5;
    for (const Range& r : ranges) {
      std::mt19937_64 rng(seed++);
      std::uniform_int_distribution<uint64_t> any(std::min(bits(r.lo), bits(r.hi)),
                                                  std::max(bits(r.lo), bits(r.hi)));
      std::uniform_real_distribution<double> value(r.lo, r.hi);
      std::vector<double> in(30000), out(in.size());
      for (double& x : in) x = r.by_bits ? std::bit_cast<double>(any(rng)) : value(rng);
      kKernel(static_cast<int>(in.size()), in.data(), out.data());
      for (size_t i = 0; i < in.size(); ++i) {
        const double e = log1p_ulps(in[i], out[i]);
        EXPECT_LT(e, 1.0) << " x=" << std::hexfloat << in[i];
        if (e > worst) worst = e, worst_x = in[i];
      }
    }
    std::printf("dLog1p HA: max %.4f ulp at x=%a\n", worst, worst_x);
  });
}

}  // namespace
