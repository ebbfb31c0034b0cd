// Double-precision natural logarithm kernels (HA in slots 0 and 1, EP in slot
// 2): the generated reciprocal table against its rule in MPFR, the HA kernel
// bit for bit against a plain scalar transcription of its algorithm, special
// values and statuses, error modes, lengths and aliasing, the denormal field,
// and EP accuracy against MPFR.
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
#include "vml/kernels/ln/dln_table.h"

namespace {

using Kernel = void (*)(int, const double*, double*);
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};

uint64_t bits(double x) { return std::bit_cast<uint64_t>(x); }
double from_bits(uint64_t b) { return std::bit_cast<double>(b); }

// ---- the table's rule, computed here independently -------------------------

struct Entry {
  double c, t_hi, t_lo;
};

// c_k = 512 / (512 + k) rounded to nearest at 23 significant bits; T = -ln c_k
// (minus ln 2 from k = 256 on); T_hi = T rounded to a multiple of 2^-42;
// T_lo = T - T_hi rounded.
Entry rule_entry(int k) {
  mpfr_t c, t, h;
  mpfr_init2(c, 23);
  mpfr_inits2(300, t, h, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_ui(t, 512, MPFR_RNDN);
  mpfr_div_ui(t, t, 512 + k, MPFR_RNDN);
  mpfr_set(c, t, MPFR_RNDN);
  Entry e;
  e.c = mpfr_get_d(c, MPFR_RNDN);
  mpfr_set(t, c, MPFR_RNDN);
  mpfr_log(t, t, MPFR_RNDN);
  mpfr_neg(t, t, MPFR_RNDN);
  if (k >= 256) {
    mpfr_const_log2(h, MPFR_RNDN);
    mpfr_sub(t, t, h, MPFR_RNDN);
  }
  mpfr_mul_2si(h, t, 42, MPFR_RNDN);
  mpfr_round(h, h);
  mpfr_mul_2si(h, h, -42, MPFR_RNDN);
  e.t_hi = mpfr_get_d(h, MPFR_RNDN) + 0.0;  // +0.0: -0 becomes +0
  mpfr_sub(t, t, h, MPFR_RNDN);
  e.t_lo = mpfr_get_d(t, MPFR_RNDN) + 0.0;
  mpfr_clears(c, t, h, static_cast<mpfr_ptr>(nullptr));
  return e;
}

const std::vector<Entry>& rule_table() {
  static const std::vector<Entry> table = [] {
    std::vector<Entry> t;
    for (int k = 0; k <= 512; ++k) t.push_back(rule_entry(k));
    mpfr_free_cache();
    return t;
  }();
  return table;
}

TEST(DoubleLnTable, GivenReciprocalsBitForBit) {
  using orx::vml::dln::BT_Tbl;
  EXPECT_EQ(bits(BT_Tbl[0][0]), bits(1.0));
  EXPECT_EQ(bits(BT_Tbl[1][0]), 0x3FEFF00800000000u);
  EXPECT_EQ(bits(BT_Tbl[256][0]), 0x3FE5555540000000u);
  EXPECT_EQ(bits(BT_Tbl[512][0]), bits(0.5));
  for (int k : {0, 512}) {
    EXPECT_EQ(bits(BT_Tbl[k][2]), 0u) << k;
    EXPECT_EQ(bits(BT_Tbl[k][3]), 0u) << k;
  }
}

TEST(DoubleLnTable, EveryEntryFollowsItsRule) {
  using orx::vml::dln::BT_Tbl;
  const MpfrThreadCache cache;
  mpfr_t t, s;
  mpfr_inits2(300, t, s, static_cast<mpfr_ptr>(nullptr));
  for (int k = 0; k <= 512; ++k) {
    const Entry e = rule_entry(k);
    EXPECT_EQ(bits(BT_Tbl[k][0]), bits(e.c)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][1]), bits(e.c)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][2]), bits(e.t_hi)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][3]), bits(e.t_lo)) << k;
    // Properties the kernel relies on: 23-bit c, T_hi on the 2^-42 grid,
    // T_hi + T_lo = T to 2^-95.
    EXPECT_EQ(bits(BT_Tbl[k][0]) & ((uint64_t{1} << 30) - 1), 0u) << k;
    EXPECT_EQ(std::fmod(BT_Tbl[k][2], 0x1p-42), 0.0) << k;
    EXPECT_LE(std::fabs(BT_Tbl[k][3]), 0x1p-43) << k;
    mpfr_set_d(t, BT_Tbl[k][0], MPFR_RNDN);
    mpfr_log(t, t, MPFR_RNDN);
    mpfr_neg(t, t, MPFR_RNDN);
    if (k >= 256) {
      mpfr_const_log2(s, MPFR_RNDN);
      mpfr_sub(t, t, s, MPFR_RNDN);
    }
    mpfr_sub_d(t, t, BT_Tbl[k][2], MPFR_RNDN);
    mpfr_sub_d(t, t, BT_Tbl[k][3], MPFR_RNDN);
    EXPECT_LE(std::fabs(mpfr_get_d(t, MPFR_RNDN)), 0x1p-95) << k;
  }
  mpfr_clears(t, s, static_cast<mpfr_ptr>(nullptr));
}

// ---- plain scalar transcription of the HA algorithm ------------------------

double reference_core(double x) {
  const std::vector<Entry>& table = rule_table();
  const uint64_t b = bits(x);
  const uint32_t h = static_cast<uint32_t>(b >> 32);
  const uint32_t k = (((h & 0xFFC00u) + 0x400u) & 0x1FF800u) >> 11;
  const int32_t n = static_cast<int32_t>(h - 0x3FE7FC00u) >> 20;
  const double y = from_bits((b & 0x000FFFFFFFFFFFFFu) | 0x3FF0000000000000u);
  const double y_hi = from_bits(bits(y) & 0xFFFFFFFF00000000u);
  const double y_lo = y - y_hi;
  const Entry& e = table[k];
  const double r = (y_hi * e.c - 1.0) + y_lo * e.c;
  const double p1 = from_bits(0xBFDFFFFFFFFFFCA9), p2 = from_bits(0x3FD555555555512A);
  const double p3 = from_bits(0xBFD00000D588D052), p4 = from_bits(0x3FC9999B39037E04);
  const double q = r * r * (((p4 * r + p3) * r + p2) * r + p1);
  const double ln2hi = from_bits(0x3FE62E42FEFA3800), ln2lo = from_bits(0x3D2EF35793C76730);
  const double dn = static_cast<double>(n);
  return (dn * ln2hi + e.t_hi + r) + (q + dn * ln2lo + e.t_lo);
}

double reference_ha(double x) {
  if (x > 0 && x < D::min()) return reference_core(x * 0x1p52) - from_bits(0x404205966F2B4F12);
  return reference_core(x);
}

std::vector<double> random_positive(size_t count, uint64_t seed, double lo, double hi, bool by_bits) {
  std::mt19937_64 rng(seed);
  std::uniform_int_distribution<uint64_t> any(bits(lo), bits(hi));
  std::uniform_real_distribution<double> value(lo, hi);
  std::vector<double> v(count);
  for (double& x : v) x = by_bits ? from_bits(any(rng)) : value(rng);
  return v;
}

TEST(DoubleLnHA, BitExactAgainstScalarTranscription) {
  struct Range {
    double lo, hi;
    bool by_bits;
  };
  const Range ranges[] = {{D::min(), D::max(), true},   {0.5, 2.0, false},
                          {0x1.fcp-1, 0x1.02p0, false}, {0x1.ff8p0, 0x1.004p1, false},
                          {1.45, 1.55, false},          {D::denorm_min(), D::min(), true},
                          {D::denorm_min(), 0x1p-1060, true}};
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [&] {
    const MpfrThreadCache cache;
    uint64_t seed = 11;
    for (const Range& range : ranges) {
      const std::vector<double> in = random_positive(200003, seed++, range.lo, range.hi, range.by_bits);
      std::vector<double> out(in.size());
      orx_vml_kernel_dLn_ttab[1](static_cast<int>(in.size()), in.data(), out.data());
      int mismatches = 0;
      for (size_t i = 0; i < in.size() && mismatches < 10; ++i) {
        if (bits(out[i]) != bits(reference_ha(in[i]))) {
          ++mismatches;
          ADD_FAILURE() << "x=" << std::hexfloat << in[i] << " got " << out[i] << " reference "
                        << reference_ha(in[i]);
        }
      }
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0);
    }
  });
  EXPECT_EQ(orx_vml_kernel_dLn_ttab[0], orx_vml_kernel_dLn_ttab[1]);
}

// ---- MPFR error ---------------------------------------------------------------

struct Error {
  double ulps, relative;
};
Error ln_error(double x, double got) {
  mpfr_t l, d;
  mpfr_inits2(200, l, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(l, x, MPFR_RNDN);
  mpfr_log(l, l, MPFR_RNDN);
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

// ---- special values and edges ----------------------------------------------------

struct Slot {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
};
const Slot kSlots[] = {{"LA", orx_vml_kernel_dLn_ttab[0], ORX_VML_LA},
                       {"HA", orx_vml_kernel_dLn_ttab[1], ORX_VML_HA},
                       {"EP", orx_vml_kernel_dLn_ttab[2], ORX_VML_EP}};

bool within_goal(const Slot& s, double x, double got) {
  const Error e = ln_error(x, got);
  // HA (slots 0, 1): its fixed algorithm's measured bound; EP: 26 bits.
  return s.accuracy == ORX_VML_EP ? e.relative < 0x1p-26 : e.ulps < 2.1;
}

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

enum class Expect { kValue, kPosZero, kInf, kNegInf, kQuietInput, kIndefinite, kExact };
struct Probe {
  double x;
  Expect expect;
  int status;
  double exact = 0;  // kExact: the result, bit for bit
};

std::vector<Probe> probes() {
  const double ln2 = from_bits(0x3FE62E42FEFA39EF);  // ln 2 rounded to nearest
  std::vector<Probe> p = {
      {1.0, Expect::kPosZero, 0},
      {2.0, Expect::kExact, 0, ln2},
      {0.5, Expect::kExact, 0, -ln2},
      {D::quiet_NaN(), Expect::kQuietInput, 0},
      {-D::quiet_NaN(), Expect::kQuietInput, 0},
      {from_bits(0x7FF0000000000123), Expect::kQuietInput, 0},  // signalling
      {kInf, Expect::kInf, 0},
      {-kInf, Expect::kIndefinite, 1},
      {0.0, Expect::kNegInf, 2},
      {-0.0, Expect::kNegInf, 2},
      {-1.0, Expect::kIndefinite, 1},
      {-D::denorm_min(), Expect::kIndefinite, 1},
      {-D::min(), Expect::kIndefinite, 1},
      {-D::max(), Expect::kIndefinite, 1},
      {D::denorm_min(), Expect::kValue, 0},
      {D::min() / 3, Expect::kValue, 0},
      {std::nextafter(D::min(), 0.0), Expect::kValue, 0},
      {D::min(), Expect::kValue, 0},
      {std::nextafter(D::min(), kInf), Expect::kValue, 0},
      {D::max(), Expect::kValue, 0},
      {1.4990234375, Expect::kValue, 0},
      {std::nextafter(1.4990234375, 0.0), Expect::kValue, 0},
      {std::nextafter(1.0, 0.0), Expect::kValue, 0},
      {std::nextafter(1.0, kInf), Expect::kValue, 0},
      {std::nextafter(2.0, 0.0), Expect::kValue, 0},
  };
  return p;
}

void check_probe(const Slot& s, const Probe& p, double got) {
  SCOPED_TRACE(testing::Message() << s.name << " x=" << std::hexfloat << p.x);
  switch (p.expect) {
    case Expect::kPosZero: EXPECT_EQ(bits(got), 0u); break;
    case Expect::kInf: EXPECT_EQ(got, kInf); break;
    case Expect::kNegInf: EXPECT_EQ(bits(got), 0xFFF0000000000000u); break;
    case Expect::kQuietInput: EXPECT_EQ(bits(got), bits(p.x) | 0x0008000000000000u); break;
    case Expect::kIndefinite: EXPECT_EQ(bits(got), 0xFFF8000000000000u); break;
    case Expect::kExact:
      if (s.accuracy != ORX_VML_EP) {
        EXPECT_EQ(bits(got), bits(p.exact)) << std::hexfloat << got;
      } else {
        EXPECT_TRUE(within_goal(s, p.x, got)) << std::hexfloat << got;
      }
      break;
    case Expect::kValue:
      EXPECT_TRUE(within_goal(s, p.x, got)) << "got " << std::hexfloat << got;
      if (s.accuracy != ORX_VML_EP) {
        EXPECT_EQ(bits(got), bits(reference_ha(p.x)));
      }
  }
}

TEST(DoubleLn, SpecialValuesAndEdgesInEverySlot) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      for (const Probe& p : probes()) {
        double got = -1;
        g_reports = 0;
        s.kernel(1, &p.x, &got);
        check_probe(s, p, got);
        EXPECT_EQ(g_reports, p.status ? 1 : 0) << s.name << " x=" << p.x;
        if (p.status) {
          EXPECT_EQ(g_code, p.status) << s.name << " x=" << p.x;
        }
        // In the middle of a block of 4 among ordinary elements.
        std::vector<double> in(12, 3.0), out(12);
        in[6] = p.x;
        g_reports = 0;
        s.kernel(12, in.data(), out.data());
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

TEST(DoubleLn, LeastSubnormalGivesItsLogarithmWithoutStatus) {
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
    const double x = D::denorm_min();
    double got = 0;
    orx_vml_kernel_dLn_ttab[1](1, &x, &got);
    EXPECT_NEAR(got, -744.44007192138126, 1e-12);
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0);
  });
}

// ---- error modes -----------------------------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
int g_calls;
int count_call(VmlErrorContext*) { return ++g_calls, 0; }

TEST(DoubleLn, CallbackChangesResultIgnoreKeepsKernelValue) {
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
      orx_vml_kernel_SetErrorCallBack(count_call);
      orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);
      g_calls = 0;
      const double in[2] = {-2.0, 0.0};
      double out[2];
      s.kernel(2, in, out);
      EXPECT_EQ(bits(out[0]), 0xFFF8000000000000u) << s.name;
      EXPECT_EQ(out[1], -kInf) << s.name;
      EXPECT_EQ(g_calls, 0);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_SINGULARITY);
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

// ---- lengths, alignment, aliasing, mixed blocks --------------------------------

std::vector<double> log_spaced(int n, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> exponent(-1000.0, 1000.0);
  std::vector<double> v(n);
  for (double& x : v) x = std::exp2(exponent(rng));
  return v;
}

TEST(DoubleLn, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 2, [](int count, uint32_t seed) {
        std::vector<double> in = log_spaced(count, seed);
        if (count > 3) in[count / 2] = -1.0;
        return in;
      });
    });
  }
}

TEST(DoubleLn, OneSpecialElementLeavesOthersOnFastPathBits) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const std::vector<double> base = log_spaced(16, 5);
      std::vector<double> ref(16);
      s.kernel(16, base.data(), ref.data());
      for (double special : {D::quiet_NaN(), kInf, -kInf, 0.0, -3.0, D::denorm_min()}) {
        for (int lane = 0; lane < 4; ++lane) {
          std::vector<double> in(base), out(16);
          in[8 + lane] = special;
          s.kernel(16, in.data(), out.data());
          for (int i = 0; i < 16; ++i) {
            if (i != 8 + lane) {
              EXPECT_EQ(bits(out[i]), bits(ref[i])) << s.name << " lane " << lane << " i=" << i;
            }
          }
        }
      }
    });
  }
}

// ---- denormal field and the caller's MXCSR ----------------------------------------------

TEST(DoubleLn, DenormalFieldTreatsSubnormalInputAsZero) {
  for (const Slot& s : kSlots) {
    const double in[2] = {D::denorm_min() * 5, -D::denorm_min()};
    double out[2];
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
      _mm_setcsr(before | 0x8040);  // the caller flushes; the mode says not to
      s.kernel(2, in, out);
      EXPECT_EQ(_mm_getcsr(), before | 0x8040);
      _mm_setcsr(before);
      EXPECT_TRUE(within_goal(s, in[0], out[0])) << s.name << " got " << out[0];
      EXPECT_EQ(bits(out[1]), 0xFFF8000000000000u);
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_DOMAIN);
    });
  }
}

// ---- accuracy against MPFR ----------------------------------------------------------------

TEST(DoubleLn, AccuracyAgainstMpfr) {
  struct Range {
    double lo, hi;
    bool by_bits;
  };
  const Range ranges[] = {{D::denorm_min(), D::min(), true}, {D::min(), D::max(), true},
                          {0.5, 2.0, false},                 {0x1.fcp-1, 0x1.02p0, false},
                          {0x1p-20, 0x1p20, true}};
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      const MpfrThreadCache cache;
      double worst_ulps = 0, worst_rel = 0, worst_x = 0;
      uint64_t seed = 3;
      for (const Range& r : ranges) {
        const std::vector<double> in = random_positive(30000, seed++, r.lo, r.hi, r.by_bits);
        std::vector<double> out(in.size());
        s.kernel(static_cast<int>(in.size()), in.data(), out.data());
        for (size_t i = 0; i < in.size(); ++i) {
          EXPECT_TRUE(within_goal(s, in[i], out[i])) << s.name << " x=" << in[i];
          const Error e = ln_error(in[i], out[i]);
          if (e.ulps > worst_ulps) worst_ulps = e.ulps, worst_x = in[i];
          worst_rel = std::max(worst_rel, e.relative);
        }
      }
      std::printf("dLn %s: max %.4f ulp at x=%a, max relative error 2^%.2f\n", s.name, worst_ulps,
                  worst_x, std::log2(worst_rel));
    });
  }
}

}  // namespace
