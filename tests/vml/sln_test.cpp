// Single-precision natural logarithm kernels (LA, HA, EP): Annex F special
// values and the edges of the fast path one ulp either side with their
// statuses, error-mode handling, lengths and aliasing, mixed blocks, the
// denormal field, and accuracy against MPFR over every sub-range.
#include <gtest/gtest.h>
#include <mpfr.h>

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

using Kernel = void (*)(int, const float*, float*);
using F = std::numeric_limits<float>;
constexpr float kInf = F::infinity();

struct Slot {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
  double max_ulps;  // 0: judged by relative error 2^-11 instead
};
const Slot kSlots[] = {{"LA", orx_vml_kernel_sLn_ttab[0], ORX_VML_LA, 4.0},
                       {"HA", orx_vml_kernel_sLn_ttab[1], ORX_VML_HA, 1.0},
                       {"EP", orx_vml_kernel_sLn_ttab[2], ORX_VML_EP, 0.0}};

// MPFR keeps per-thread constant caches; each test thread frees its own.
struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};

struct Error {
  double ulps;
  double relative;
};
// Error of `got` against ln x, in ulps of the float result and relative,
// computed in MPFR. ln 1 = 0 exactly: any other result counts as infinite.
Error ln_error(float x, float got) {
  if (x == 1.0f) return got == 0.0f ? Error{0, 0} : Error{INFINITY, INFINITY};
  mpfr_t l, d;
  mpfr_inits2(128, l, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_flt(l, x, MPFR_RNDN);
  mpfr_log(l, l, MPFR_RNDN);
  const long quantum = std::max<long>(mpfr_get_exp(l), -125) - 24;
  mpfr_set_flt(d, got, MPFR_RNDN);
  mpfr_sub(d, d, l, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  Error err;
  mpfr_div(l, d, l, MPFR_RNDN);
  err.relative = std::fabs(mpfr_get_d(l, MPFR_RNDN));
  mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
  err.ulps = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clears(l, d, static_cast<mpfr_ptr>(nullptr));
  return err;
}

bool within_goal(const Slot& s, float x, float got) {
  const Error err = ln_error(x, got);
  return s.max_ulps > 0 ? err.ulps < s.max_ulps : err.relative < 0x1p-11;
}

// ---- special values and edges -------------------------------------------------

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

enum class Expect { kValue, kPosZero, kInf, kNegInf, kNaN, kIndefinite };
struct Probe {
  float x;
  Expect expect;
  int status;
};

std::vector<Probe> probes() {
  std::vector<Probe> p = {
      {1.0f, Expect::kPosZero, 0},
      {F::quiet_NaN(), Expect::kNaN, 0},
      {-F::quiet_NaN(), Expect::kNaN, 0},
      {F::signaling_NaN(), Expect::kNaN, 0},
      {kInf, Expect::kInf, 0},
      {-kInf, Expect::kIndefinite, 1},
      {0.0f, Expect::kNegInf, 2},
      {-0.0f, Expect::kNegInf, 2},
      {-1.0f, Expect::kIndefinite, 1},
      {-F::denorm_min(), Expect::kIndefinite, 1},
      {-F::min(), Expect::kIndefinite, 1},
      {-F::max(), Expect::kIndefinite, 1},
      {F::denorm_min(), Expect::kValue, 0},
      {2 * F::denorm_min(), Expect::kValue, 0},
      {F::min() / 3, Expect::kValue, 0},
      {std::nextafter(F::min(), 0.0f), Expect::kValue, 0},
      {F::min(), Expect::kValue, 0},
      {std::nextafter(F::min(), kInf), Expect::kValue, 0},
      {F::max(), Expect::kValue, 0},
      {std::nextafter(F::max(), 0.0f), Expect::kValue, 0},
      {2.0f, Expect::kValue, 0},
      {0.5f, Expect::kValue, 0},
  };
  // Either side of 1 and of the split point sqrt(2)/2 (0x3F3504F3) of the
  // mantissa, where the exponent changes by one.
  for (float edge : {1.0f, std::bit_cast<float>(0x3F3504F3u), std::bit_cast<float>(0x3FB504F3u)}) {
    for (float x : {std::nextafter(edge, 0.0f), std::nextafter(edge, kInf)})
      p.push_back({x, Expect::kValue, 0});
  }
  p.push_back({std::bit_cast<float>(0x3F3504F3u), Expect::kValue, 0});
  return p;
}

void check_probe(const Slot& s, const Probe& p, float got) {
  SCOPED_TRACE(testing::Message() << s.name << " x=" << p.x << " (" << std::hex
                                  << std::bit_cast<uint32_t>(p.x) << ")");
  switch (p.expect) {
    case Expect::kPosZero: EXPECT_EQ(std::bit_cast<uint32_t>(got), 0u); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNegInf: EXPECT_EQ(got, -kInf); break;
    case Expect::kNaN: EXPECT_TRUE(std::isnan(got)); break;
    case Expect::kIndefinite: EXPECT_EQ(std::bit_cast<uint32_t>(got), 0xFFC00000u); break;
    case Expect::kValue: EXPECT_TRUE(within_goal(s, p.x, got)) << "got " << got;
  }
}

TEST(SingleLn, SpecialValuesAndEdgesInEverySlot) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      for (const Probe& p : probes()) {
        float got = -1;
        g_reports = 0;
        s.kernel(1, &p.x, &got);
        check_probe(s, p, got);
        EXPECT_EQ(g_reports, p.status ? 1 : 0) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_code, p.status) << s.name << " x=" << p.x;
        }
        std::vector<float> in(16, 3.0f), out(16);
        in[6] = p.x;
        g_reports = 0;
        s.kernel(16, in.data(), out.data());
        check_probe(s, p, out[6]);
        EXPECT_EQ(g_reports, p.status ? 1 : 0);
        if (p.status) {
          EXPECT_EQ(g_index, 6);
        }
      }
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- error modes -----------------------------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
int g_calls;
int count_call(VmlErrorContext*) { return ++g_calls, 0; }

TEST(SingleLn, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(replace_with_42);
      const float in[3] = {1.0f, 0.0f, -2.0f};
      float out[3];
      s.kernel(3, in, out);
      EXPECT_EQ(out[0], 0.0f);
      EXPECT_EQ(out[1], 42.0f) << s.name;
      EXPECT_EQ(out[2], 42.0f) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_DOMAIN);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(count_call);
      orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);
      g_calls = 0;
      const float in[2] = {-2.0f, 0.0f};
      float out[2];
      s.kernel(2, in, out);
      EXPECT_EQ(std::bit_cast<uint32_t>(out[0]), 0xFFC00000u) << s.name;
      EXPECT_EQ(out[1], -kInf) << s.name;
      EXPECT_EQ(g_calls, 0);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- lengths, alignment, aliasing, mixed blocks --------------------------------

std::vector<float> positive_inputs(int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> exponent(-120.0f, 120.0f);
  std::vector<float> v(n);
  for (auto& x : v) x = std::exp2(exponent(rng));
  return v;
}

TEST(SingleLn, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 4, [](int count, uint32_t seed) {
        std::vector<float> in = positive_inputs(count, seed);
        if (count > 3) in[count / 2] = -1.0f;
        return in;
      });
    });
  }
}

TEST(SingleLn, OneSpecialElementLeavesOthersOnFastPathBits) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      const std::vector<float> base = positive_inputs(32, 5);
      std::vector<float> ref(32);
      s.kernel(32, base.data(), ref.data());
      for (float special : {F::quiet_NaN(), kInf, -kInf, 0.0f, -3.0f, F::denorm_min()}) {
        for (int lane = 0; lane < 8; ++lane) {
          std::vector<float> in(base), out(32);
          in[16 + lane] = special;
          s.kernel(32, in.data(), out.data());
          for (int i = 0; i < 32; ++i) {
            if (i != 16 + lane) {
              EXPECT_EQ(std::bit_cast<uint32_t>(out[i]), std::bit_cast<uint32_t>(ref[i]))
                  << s.name << " special " << special << " lane " << lane << " i=" << i;
            }
          }
        }
      }
    });
  }
}

// ---- denormal field ------------------------------------------------------------------

TEST(SingleLn, DenormalFieldTreatsSubnormalInputAsZero) {
  for (const Slot& s : kSlots) {
    const float in[2] = {F::denorm_min() * 5, -F::denorm_min()};
    float out[2];
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_ON, [&] {
      const MpfrThreadCache cache;
      s.kernel(1, in, out);
      EXPECT_EQ(out[0], -kInf) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      s.kernel(2, in, out);
      EXPECT_TRUE(within_goal(s, in[0], out[0])) << s.name << " got " << out[0];
      EXPECT_EQ(std::bit_cast<uint32_t>(out[1]), 0xFFC00000u);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_DOMAIN);
    });
  }
}

// ---- accuracy against MPFR -----------------------------------------------------------

struct Range {
  float lo, hi;
  bool log_spaced;
};

TEST(SingleLn, AccuracyAgainstMpfrOverEverySubRange) {
  const Range ranges[] = {
      {0x1p-149f, 0x1p-126f, true}, {0x1p-126f, 0x1p-60f, true}, {0x1p-60f, 0.5f, true},
      {0.5f, 0.70710677f, false},   {0.70710677f, 0.999f, false}, {0.999f, 1.001f, false},
      {1.001f, 1.4142135f, false},  {1.4142135f, 2.0f, false},    {2.0f, 0x1p60f, true},
      {0x1p60f, F::max(), true},
  };
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      double worst_ulps = 0, worst_rel = 0;
      float worst_x = 0;
      for (const Range& r : ranges) {
        std::mt19937 rng(static_cast<uint32_t>(std::log2(r.lo) * 1000 + 7));
        std::uniform_real_distribution<double> linear(r.lo, r.hi);
        std::uniform_real_distribution<double> exponent(std::log2(r.lo), std::log2(r.hi));
        std::vector<float> in(30000), out(in.size());
        for (auto& x : in) {
          x = static_cast<float>(r.log_spaced ? std::exp2(exponent(rng)) : linear(rng));
          x = std::clamp(x, r.lo, r.hi);
        }
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        for (size_t i = 0; i < in.size(); ++i) {
          EXPECT_TRUE(within_goal(s, in[i], out[i])) << s.name << " x=" << in[i] << " got " << out[i];
          const Error e = ln_error(in[i], out[i]);
          if (e.ulps > worst_ulps) worst_ulps = e.ulps, worst_x = in[i];
          worst_rel = std::max(worst_rel, e.relative);
        }
      }
      std::printf("sLn %s: max %.4f ulp at x=%a, max relative error 2^%.2f\n", s.name, worst_ulps,
                  worst_x, std::log2(worst_rel));
    });
  }
}

}  // namespace
