// Single-precision exponential kernels (HA in slots 0 and 1, EP in slot 2):
// Annex F special values and every threshold one ulp either side with its
// status, error-mode handling, lengths and aliasing, mixed blocks, the
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
  bool ep;  // judged by relative error 2^-11 instead of ulps
};
const Slot kSlots[] = {{"LA slot (HA kernel)", orx_vml_kernel_sExp_ttab[0], ORX_VML_LA, false},
                       {"HA", orx_vml_kernel_sExp_ttab[1], ORX_VML_HA, false},
                       {"EP", orx_vml_kernel_sExp_ttab[2], ORX_VML_EP, true}};

float from_bits(uint32_t b) { return std::bit_cast<float>(b); }

// Error of `got` against e^x in ulps of the float result (subnormal results:
// the fixed quantum 2^-149), and the relative error, both computed in MPFR.
// MPFR keeps per-thread constant caches; each test thread frees its own.
struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};

struct Error {
  double ulps;
  double relative;
};
Error exp_error(float x, float got) {
  mpfr_t e, d;
  mpfr_inits2(128, e, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_flt(e, x, MPFR_RNDN);
  mpfr_exp(e, e, MPFR_RNDN);
  const long quantum = std::max<long>(mpfr_get_exp(e), -125) - 24;
  mpfr_set_flt(d, got, MPFR_RNDN);
  mpfr_sub(d, d, e, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  Error err;
  mpfr_div(e, d, e, MPFR_RNDN);
  err.relative = mpfr_get_d(e, MPFR_RNDN);
  mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
  err.ulps = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clears(e, d, static_cast<mpfr_ptr>(nullptr));
  return err;
}

// The accuracy goal of a slot: HA below 1 ulp; EP 11 correct bits, or within
// one subnormal quantum where the result is subnormal.
bool within_goal(const Slot& s, float x, float got) {
  const Error err = exp_error(x, got);
  if (!s.ep) return err.ulps < 1.0;
  return err.relative < 0x1p-11 || err.ulps < 1.0;
}

// ---- special values and thresholds ----------------------------------------

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;  // keep the kernel's own result
}

enum class Expect { kValue, kOne, kPosZero, kInf, kNaN };
struct Probe {
  float x;
  Expect expect;
  int status;
};

std::vector<Probe> probes() {
  const float overflow_last = from_bits(0x42B17217);  // largest x with finite e^x
  const float underflow_first = from_bits(0xC2AEAC50);  // largest x with e^x < 2^-126
  const float zero_first = from_bits(0xC2CFF1B5);  // largest x whose e^x rounds to 0
  std::vector<Probe> p = {
      {0.0f, Expect::kOne, 0},
      {-0.0f, Expect::kOne, 0},
      {F::quiet_NaN(), Expect::kNaN, 0},
      {-F::quiet_NaN(), Expect::kNaN, 0},
      {F::signaling_NaN(), Expect::kNaN, 0},
      {kInf, Expect::kInf, 0},
      {-kInf, Expect::kPosZero, 0},
      {F::max(), Expect::kInf, 3},
      {-F::max(), Expect::kPosZero, 4},
      {F::denorm_min(), Expect::kOne, 0},
      {-F::denorm_min(), Expect::kOne, 0},
      {overflow_last, Expect::kValue, 0},
      {std::nextafter(overflow_last, 0.0f), Expect::kValue, 0},
      {std::nextafter(overflow_last, kInf), Expect::kInf, 3},
      {std::nextafter(underflow_first, 0.0f), Expect::kValue, 0},
      {underflow_first, Expect::kValue, 4},
      {std::nextafter(underflow_first, -kInf), Expect::kValue, 4},
      {std::nextafter(zero_first, 0.0f), Expect::kValue, 4},
      {zero_first, Expect::kPosZero, 4},
      {std::nextafter(zero_first, -kInf), Expect::kPosZero, 4},
      {-120.0f, Expect::kPosZero, 4},
  };
  // Ends of the block path (|x| < 87), of the single scale (n = 128 from
  // 127.5 ln 2 = 88.376 up) and of the direct zero (-104): one ulp either side.
  for (float edge : {87.0f, -87.0f, 88.3762626647950f, -104.0f}) {
    const int status = edge < -87.4f ? 4 : 0;
    for (float x : {std::nextafter(edge, -kInf), edge, std::nextafter(edge, kInf)})
      p.push_back({x, Expect::kValue, status});
  }
  return p;
}

void check_probe(const Slot& s, const Probe& p, float got) {
  SCOPED_TRACE(testing::Message() << s.name << " x=" << p.x << " (" << std::hex
                                  << std::bit_cast<uint32_t>(p.x) << ")");
  switch (p.expect) {
    case Expect::kOne: EXPECT_EQ(got, 1.0f); break;
    case Expect::kPosZero: EXPECT_EQ(std::bit_cast<uint32_t>(got), 0u); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNaN: EXPECT_TRUE(std::isnan(got)); break;
    case Expect::kValue:
      EXPECT_TRUE(std::isfinite(got));
      EXPECT_TRUE(within_goal(s, p.x, got)) << "got " << got;
      if (p.status == 0) {
        EXPECT_GE(got, F::min());
      } else {
        EXPECT_LT(got, F::min());
      }
  }
}

TEST(SingleExp, SpecialValuesAndThresholdsInEverySlot) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      for (const Probe& p : probes()) {
        // Alone (tail path), then at lane 5 of a block of ordinary values.
        float got = -1;
        g_reports = 0;
        s.kernel(1, &p.x, &got);
        check_probe(s, p, got);
        EXPECT_EQ(g_reports, p.status ? 1 : 0) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_code, p.status) << s.name << " x=" << p.x;
        }
        std::vector<float> in(16, 0.5f), out(16);
        in[5] = p.x;
        g_reports = 0;
        s.kernel(16, in.data(), out.data());
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

// ---- error modes -----------------------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
int g_calls;
int count_call(VmlErrorContext*) { return ++g_calls, 0; }

TEST(SingleExp, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(replace_with_42);
      const float in[3] = {1.0f, 100.0f, -100.0f};
      float out[3];
      s.kernel(3, in, out);
      EXPECT_EQ(out[1], 42.0f) << s.name;
      EXPECT_EQ(out[2], 42.0f) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_UNDERFLOW);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(count_call);
      orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);  // callback set, but ignored
      g_calls = 0;
      const float in[2] = {100.0f, -110.0f};
      float out[2];
      s.kernel(2, in, out);
      EXPECT_EQ(out[0], kInf) << s.name;
      EXPECT_EQ(out[1], 0.0f) << s.name;
      EXPECT_EQ(g_calls, 0);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_UNDERFLOW);
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- lengths, alignment, aliasing, mixed blocks ------------------------------

std::vector<float> mixed_inputs(int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> value(-86.0f, 86.0f);
  std::vector<float> v(n);
  for (auto& x : v) x = value(rng);
  return v;
}

TEST(SingleExp, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 4, [](int count, uint32_t seed) {
        std::vector<float> in = mixed_inputs(count, seed);
        if (count > 3) in[count / 2] = 200.0f;  // one special element somewhere
        return in;
      });
    });
  }
}

TEST(SingleExp, OneSpecialElementLeavesOthersOnFastPathBits) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      const std::vector<float> base = mixed_inputs(32, 99);
      std::vector<float> ref(32);
      s.kernel(32, base.data(), ref.data());
      for (float special : {F::quiet_NaN(), kInf, -kInf, 95.0f, -95.0f, 87.5f, -110.0f}) {
        for (int lane = 0; lane < 8; ++lane) {
          std::vector<float> in(base), out(32);
          in[8 + lane] = special;
          s.kernel(32, in.data(), out.data());
          for (int i = 0; i < 32; ++i) {
            if (i != 8 + lane) {
              EXPECT_EQ(std::bit_cast<uint32_t>(out[i]), std::bit_cast<uint32_t>(ref[i]))
                  << s.name << " special " << special << " lane " << lane << " i=" << i;
            }
          }
        }
      }
    });
  }
}

// ---- denormal field -----------------------------------------------------------

TEST(SingleExp, DenormalFieldFlushesSubnormalResults) {
  for (const Slot& s : kSlots) {
    const float in[2] = {-95.0f, -F::denorm_min()};
    float out[2];
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_ON, [&] {
      const MpfrThreadCache cache;
      s.kernel(2, in, out);
      EXPECT_EQ(out[0], 0.0f) << s.name;
      EXPECT_EQ(out[1], 1.0f) << s.name;  // subnormal input read as 0
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_UNDERFLOW);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      s.kernel(2, in, out);
      EXPECT_GT(out[0], 0.0f) << s.name;
      EXPECT_LT(out[0], F::min());
      EXPECT_TRUE(within_goal(s, in[0], out[0]));
      EXPECT_EQ(out[1], 1.0f) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_UNDERFLOW);
    });
  }
}

// ---- accuracy against MPFR ------------------------------------------------------

struct Range {
  float lo, hi;
};

TEST(SingleExp, AccuracyAgainstMpfrOverEverySubRange) {
  const Range ranges[] = {
      {-0x1p-20f, 0x1p-20f}, {-0.35f, 0.35f}, {-1.0f, 1.0f},     {1.0f, 10.0f},
      {-10.0f, -1.0f},       {10.0f, 86.99f}, {-86.99f, -10.0f}, {86.99f, 88.7228317f},
      {-87.3365f, -86.99f},  // normal results at the bottom of the range
      {-103.97f, -87.3366f},  // subnormal results
  };
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      double worst_ulps = 0, worst_rel = 0;
      float worst_x = 0;
      for (const Range& r : ranges) {
        std::mt19937 rng(static_cast<uint32_t>(r.lo * 1000));
        std::uniform_real_distribution<float> value(r.lo, r.hi);
        std::vector<float> in(30000), out(in.size());
        for (auto& x : in) x = value(rng);
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        for (size_t i = 0; i < in.size(); ++i) {
          EXPECT_TRUE(within_goal(s, in[i], out[i]))
              << s.name << " x=" << in[i] << " got " << out[i];
          const Error e = exp_error(in[i], out[i]);
          if (e.ulps > worst_ulps) worst_ulps = e.ulps, worst_x = in[i];
          if (out[i] >= F::min()) worst_rel = std::max(worst_rel, e.relative);
        }
      }
      std::printf("sExp %s: max %.4f ulp at x=%a, max relative error 2^%.2f (normal results)\n",
                  s.name, worst_ulps, worst_x, std::log2(worst_rel));
    });
  }
}

}  // namespace
