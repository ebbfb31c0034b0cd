// Double-precision exponential kernels: the generated tables against MPFR,
// the HA kernel to the bit against a plain transcription of its algorithm,
// every threshold of the special path one ulp either side with its status in
// every slot, error modes, lengths and aliasing, and the denormal field.
#include <gtest/gtest.h>
#include <mpfr.h>
#include <xmmintrin.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/length_checks.h"
#include "tests/vml/vml_test_support.h"

namespace generated {
#include "orx/exp_tables.inc"
}

namespace {

using Kernel = void (*)(int, const double*, double*);
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();

double bits_to_double(uint64_t b) { return std::bit_cast<double>(b); }
uint64_t double_bits(double d) { return std::bit_cast<uint64_t>(d); }

struct MpfrThreadCache {
  ~MpfrThreadCache() { mpfr_free_cache(); }
};

// ---- tables --------------------------------------------------------------------

// 2^(j/den) at 200 bits.
struct Exact2 {
  mpfr_t v;
  Exact2(int j, int den) {
    mpfr_init2(v, 200);
    mpfr_set_si(v, j, MPFR_RNDN);
    mpfr_div_si(v, v, den, MPFR_RNDN);
    mpfr_exp2(v, v, MPFR_RNDN);
  }
  ~Exact2() { mpfr_clear(v); }
};

// The HA table as its rule says, recomputed here: hi is 2^(j/64) truncated to
// 44 fraction bits, lo the remainder rounded to nearest.
struct HiLo {
  double hi, lo;
};
HiLo table_entry(int j) {
  const Exact2 e(j, 64);
  mpfr_t h;
  mpfr_init2(h, 200);
  mpfr_mul_2si(h, e.v, 44, MPFR_RNDN);
  mpfr_floor(h, h);
  mpfr_div_2si(h, h, 44, MPFR_RNDN);
  const double hi = mpfr_get_d(h, MPFR_RNDN);
  mpfr_sub(h, e.v, h, MPFR_RNDN);
  const double lo = mpfr_get_d(h, MPFR_RNDN);
  mpfr_clear(h);
  return {hi, lo};
}

TEST(DoubleExpTables, EntriesFollowTheirRule) {
  EXPECT_EQ(generated::kExp2HiLo[0][0], double_bits(1.0));
  EXPECT_EQ(generated::kExp2HiLo[0][1], 0u);
  EXPECT_EQ(bits_to_double(generated::kExp2HiLo[32][0]), 1.4142135623730496);
  EXPECT_EQ(bits_to_double(generated::kExp2HiLo[32][1]), 4.542247107649689e-14);
  for (int j = 0; j < 64; ++j) {
    const HiLo want = table_entry(j);
    EXPECT_EQ(generated::kExp2HiLo[j][0], double_bits(want.hi)) << j;
    EXPECT_EQ(generated::kExp2HiLo[j][1], double_bits(want.lo)) << j;
    EXPECT_EQ(generated::kExp2HiLo[j][0] & 0xFF, 0u) << j;  // n * hi products stay short
  }
  for (int j = 0; j < 128; ++j) {
    const Exact2 e(j, 128);
    const uint64_t want = double_bits(mpfr_get_d(e.v, MPFR_RNDN));
    EXPECT_EQ(generated::kExp2Frac128[j], want & 0x000FFFFFFFFFFFFFull) << j;
  }
  mpfr_free_cache();
}

// ---- HA to the bit -----------------------------------------------------------------

// The HA algorithm written out plainly, with its own copy of the table.
struct HaReference {
  HiLo table[64];
  HaReference() {
    for (int j = 0; j < 64; ++j) table[j] = table_entry(j);
  }
  double unscaled(double x, long& n) const {
    const double shifter = 6755399441055744.0;
    const double t = x * bits_to_double(0x40571547652B82FE) + shifter;
    const double k = t - shifter;
    n = static_cast<long>(k);
    const double r = (x - k * bits_to_double(0x3F862E42FEF00000)) - k * bits_to_double(0x3D7473DE6AF278ED);
    const HiLo e = table[((n % 64) + 64) % 64];
    const double poly = ((bits_to_double(0x3F81111276409C2C) * r + bits_to_double(0x3FA555574BC3A1BE)) * r +
                         bits_to_double(0x3FC55555555542A1)) * r + bits_to_double(0x3FDFFFFFFFFFD97C);
    const double p = r + r * r * poly;
    return e.hi + (e.lo + p * (e.hi + e.lo));
  }
  // Returns the result and the status the element reports.
  double operator()(double x, int& status) const {
    status = 0;
    if (std::isnan(x)) return bits_to_double(~0ull);
    if (x == kInf) return kInf;
    if (x == -kInf) return 0.0;
    if (x <= -745.1332191019412) return status = 4, 0.0;
    long n;
    const double u = unscaled(x, n);
    const long m = static_cast<long>(std::floor(n / 64.0));
    if (x <= -708.3964185322642) return status = 4, std::ldexp(u, static_cast<int>(m + 1022)) * 0x1p-1022;
    if (x >= 709.7827128933841) return status = 3, kInf;
    if (x >= 709.7772976810359) return u * 0x1p1023 * 2.0;
    return u * std::ldexp(1.0, static_cast<int>(m));
  }
};

std::vector<double> random_inputs(size_t count, uint32_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> wide(-750.0, 712.0), mid(-5.0, 5.0);
  std::uniform_int_distribution<int> kind(0, 9);
  std::vector<double> v(count);
  for (double& x : v) {
    switch (kind(rng)) {
      case 0: x = bits_to_double(rng()); break;  // any bit pattern: NaNs, huge, tiny
      case 1: x = mid(rng) * 1e-12; break;
      case 2: x = 708.0 + std::ldexp(static_cast<double>(rng() >> 11), -52) * 2; break;
      case 3: x = -745.5 + std::ldexp(static_cast<double>(rng() >> 11), -53) * 38; break;
      case 4: x = mid(rng); break;
      default: x = wide(rng);
    }
  }
  return v;
}

TEST(DoubleExpHA, AgreesToTheBitWithTheAlgorithmWrittenOut) {
  const HaReference reference;
  orx::test::with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
    std::mt19937 lengths(7);
    for (int round = 0; round < 40; ++round) {
      const int n = 1 + static_cast<int>(lengths() % 3000);
      const std::vector<double> in = random_inputs(n, round);
      std::vector<double> out(n);
      orx_vml_kernel_dExp_E7HAynn(n, in.data(), out.data());
      for (int i = 0; i < n; ++i) {
        int status;
        const double want = reference(in[i], status);
        ASSERT_EQ(double_bits(out[i]), double_bits(want))
            << "x=" << std::hexfloat << in[i] << " n=" << n << " i=" << i;
      }
    }
  });
}

// ---- thresholds and statuses in every slot ---------------------------------------------

struct Slot {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
  double max_ulp;
};
const Slot kSlots[] = {{"LA", orx_vml_kernel_dExp_ttab[0], ORX_VML_LA, 4},
                       {"HA", orx_vml_kernel_dExp_ttab[1], ORX_VML_HA, 1},
                       {"EP", orx_vml_kernel_dExp_ttab[2], ORX_VML_EP, 1 << 27}};

// |got - e^x| in ulps of the result (subnormal results: quantum 2^-1074).
double ulp_error(double x, double got) {
  mpfr_t e, d;
  mpfr_inits2(160, e, d, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(e, x, MPFR_RNDN);
  mpfr_exp(e, e, MPFR_RNDN);
  const long quantum = std::max<long>(mpfr_get_exp(e), -1021) - 53;
  mpfr_set_d(d, got, MPFR_RNDN);
  mpfr_sub(d, d, e, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  mpfr_mul_2si(d, d, -quantum, MPFR_RNDN);
  const double u = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clears(e, d, static_cast<mpfr_ptr>(nullptr));
  return u;
}

int g_reports, g_code, g_index;
int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

struct Edge {
  uint64_t bits;    // the threshold itself
  int status_at;    // status at and beyond the threshold (away from 0)
  int status_before;
};

TEST(DoubleExp, ThresholdsOneUlpEitherSideInEverySlot) {
  const Edge edges[] = {
      {0xC0874910D52D3052, 4, 4},  // -745.1332191019412: +0 from here on
      {0xC086232BDD7ABCD3, 4, 0},  // -708.3964185322642: subnormal results from here on
      {0x40862E42FEFA39F0, 3, 0},  // 709.7827128933841: overflow
      {0x40862E37E7D8BA72, 0, 0},  // 709.7772976810359: m = 1024
      {0x4086232B00000000, 0, 0},  // 708.39599609375: end of the block path
      {0xC086232B00000000, 0, 0},
  };
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      orx_vml_kernel_SetErrorCallBack(record_and_keep);
      const double q = 0.25;
      double quarter;
      s.kernel(1, &q, &quarter);
      for (const Edge& e : edges) {
        for (int step = -1; step <= 1; ++step) {
          const double x = bits_to_double(e.bits + step);  // away from 0 for step > 0
          const int status = step >= 0 ? e.status_at : e.status_before;
          std::vector<double> in(19, 0.25), out(19);
          in[13] = x;  // in a block for n = 19 under LA/EP, in the tail for HA
          for (int at : {13, 3}) {
            std::swap(in[at], in[13]);
            g_reports = 0;
            s.kernel(19, in.data(), out.data());
            SCOPED_TRACE(testing::Message() << s.name << " x=" << std::hexfloat << x << " at " << at);
            EXPECT_EQ(g_reports, status ? 1 : 0);
            if (status) {
              EXPECT_EQ(g_code, status);
              EXPECT_EQ(g_index, at);
            }
            if (status == 3) {
              EXPECT_EQ(out[at], kInf);
            } else {
              EXPECT_LT(ulp_error(x, out[at]), s.max_ulp) << out[at];
            }
            if (status == 4) {
              EXPECT_LT(out[at], D::min());
            } else if (status == 0) {
              EXPECT_GE(out[at], D::min());
            }
            EXPECT_EQ(double_bits(out[at == 13 ? 3 : 13]), double_bits(quarter));  // neighbour untouched
            std::swap(in[at], in[13]);
          }
        }
      }
      orx_vml_kernel_ClearErrorCallBack();
    });
  }
}

TEST(DoubleExp, SpecialValuesInEverySlot) {
  struct Case {
    double x;
    uint64_t want;
    int status;
  };
  const Case cases[] = {
      {0.0, double_bits(1.0), 0},          {-0.0, double_bits(1.0), 0},
      {kInf, double_bits(kInf), 0},         {-kInf, 0, 0},
      {D::quiet_NaN(), ~0ull, 0},           {-D::quiet_NaN(), ~0ull, 0},
      {D::signaling_NaN(), ~0ull, 0},       {-746.0, 0, 4},
      {709.79, double_bits(kInf), 3},       {D::max(), double_bits(kInf), 3},
      {-D::max(), 0, 4},                    {D::denorm_min(), double_bits(1.0), 0},
  };
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      for (const Case& c : cases) {
        for (int n : {1, 8, 17}) {  // tail, block, block + tail
          std::vector<double> in(n, 1.0), out(n);
          in[n - 1] = c.x;
          orx_vml_kernel_ClearErrStatus();
          s.kernel(n, in.data(), out.data());
          EXPECT_EQ(double_bits(out[n - 1]), c.want) << s.name << " x=" << c.x << " n=" << n;
          EXPECT_EQ(orx_vml_kernel_GetErrStatus(), c.status) << s.name << " x=" << c.x;
        }
      }
      double finite;
      const double x = 709.78;
      s.kernel(1, &x, &finite);
      EXPECT_TRUE(std::isfinite(finite)) << s.name;
    });
  }
}

// ---- error modes, lengths, denormal field ----------------------------------------------

int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}

TEST(DoubleExp, CallbackChangesResultIgnoreKeepsKernelValue) {
  for (const Slot& s : kSlots) {
    const double in[3] = {1.0, 800.0, -720.0};
    double out[3];
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
      orx_vml_kernel_SetErrorCallBack(replace_with_42);
      s.kernel(3, in, out);
      EXPECT_EQ(out[1], 42.0) << s.name;
      EXPECT_EQ(out[2], 42.0) << s.name;
      EXPECT_LT(ulp_error(1.0, out[0]), s.max_ulp) << s.name;  // ordinary element untouched
      mpfr_free_cache();
      orx_vml_kernel_ClearErrorCallBack();
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
      s.kernel(3, in, out);
      EXPECT_EQ(out[1], kInf) << s.name;
      EXPECT_GT(out[2], 0.0) << s.name;
      EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_UNDERFLOW);
    });
  }
}

TEST(DoubleExp, EveryLengthUnalignedAndInPlace) {
  for (const Slot& s : kSlots) {
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
      orx::test::check_lengths_and_aliasing(s.kernel, s.name, 2, [](int count, uint32_t seed) {
        return random_inputs(count, seed);
      });
    });
  }
}

TEST(DoubleExp, DenormalFieldFlushesSubnormalResultsAndMxcsrIsRestored) {
  for (const Slot& s : kSlots) {
    const double x = -720.0;
    double got;
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_ON, [&] {
      const unsigned before = _mm_getcsr();
      s.kernel(1, &x, &got);
      EXPECT_EQ(got, 0.0) << s.name;
      EXPECT_EQ(_mm_getcsr() & 0xFFC0u, before & 0xFFC0u);
    });
    orx::test::with_mode(s.accuracy | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
      const MpfrThreadCache cache;
      s.kernel(1, &x, &got);
      EXPECT_GT(got, 0.0) << s.name;
      EXPECT_LT(ulp_error(x, got), s.max_ulp) << s.name;  // one rounding into the subnormal range
    });
  }
}

}  // namespace
