// Double-precision exponential kernels: the generated tables against MPFR,
// the HA kernel to the bit against a plain transcription of its algorithm,
// special values and every threshold one ulp either side with its status in
// every slot, error modes, lengths and aliasing, and the denormal field.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "tests/vml/unary_checks.h"

namespace generated {
#include "orx/exp_tables.inc"
}

namespace {

using namespace orx::test;
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();
double from_bits(uint64_t b) { return with_bits<double>(b); }

// ---- tables -------------------------------------------------------------------

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

// The HA table by its rule: hi is 2^(j/64) truncated to 44 fraction bits, lo
// the remainder rounded to nearest.
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
  EXPECT_EQ(generated::kExp2HiLo[0][0], bits(1.0));
  EXPECT_EQ(generated::kExp2HiLo[0][1], 0u);
  EXPECT_EQ(from_bits(generated::kExp2HiLo[32][0]), 1.4142135623730496);
  EXPECT_EQ(from_bits(generated::kExp2HiLo[32][1]), 4.542247107649689e-14);
  for (int j = 0; j < 64; ++j) {
    const HiLo want = table_entry(j);
    EXPECT_EQ(generated::kExp2HiLo[j][0], bits(want.hi)) << j;
    EXPECT_EQ(generated::kExp2HiLo[j][1], bits(want.lo)) << j;
    EXPECT_EQ(generated::kExp2HiLo[j][0] & 0xFF, 0u) << j;  // n * hi products stay short
  }
  for (int j = 0; j < 128; ++j) {
    const Exact2 e(j, 128);
    const uint64_t want = bits(mpfr_get_d(e.v, MPFR_RNDN));
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
    const double t = x * from_bits(0x40571547652B82FE) + shifter;
    const double k = t - shifter;
    n = static_cast<long>(k);
    const double r = (x - k * from_bits(0x3F862E42FEF00000)) - k * from_bits(0x3D7473DE6AF278ED);
    const HiLo e = table[((n % 64) + 64) % 64];
    const double poly = ((from_bits(0x3F81111276409C2C) * r + from_bits(0x3FA555574BC3A1BE)) * r +
                         from_bits(0x3FC55555555542A1)) *
                            r +
                        from_bits(0x3FDFFFFFFFFFD97C);
    const double p = r + r * r * poly;
    return e.hi + (e.lo + p * (e.hi + e.lo));
  }
  double operator()(double x) const {
    if (std::isnan(x)) return from_bits(~0ull);
    if (x == kInf) return kInf;
    if (x == -kInf || x <= -745.1332191019412) return 0.0;
    long n;
    const double u = unscaled(x, n);
    const long m = static_cast<long>(std::floor(n / 64.0));
    if (x <= -708.3964185322642) return std::ldexp(u, static_cast<int>(m + 1022)) * 0x1p-1022;
    if (x >= 709.7827128933841) return kInf;
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
      case 0:
        x = from_bits(rng());
        break;  // any bit pattern: NaNs, huge, tiny
      case 1:
        x = mid(rng) * 1e-12;
        break;
      case 2:
        x = 708.0 + std::ldexp(static_cast<double>(rng() >> 11), -52) * 2;
        break;
      case 3:
        x = -745.5 + std::ldexp(static_cast<double>(rng() >> 11), -53) * 38;
        break;
      case 4:
        x = mid(rng);
        break;
      default:
        x = wide(rng);
    }
  }
  return v;
}

TEST(DoubleExpHA, AgreesToTheBitWithTheAlgorithmWrittenOut) {
  const HaReference reference;
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE | ORX_VML_FTZDAZ_OFF, [&] {
    std::mt19937 lengths(7);
    for (int round = 0; round < 40; ++round) {
      const int n = 1 + static_cast<int>(lengths() % 3000);
      const std::vector<double> in = random_inputs(n, round);
      std::vector<double> out(n);
      orx_vml_kernel_dExp_E7HAynn(n, in.data(), out.data());
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(bits(out[i]), bits(reference(in[i])))
            << "x=" << std::hexfloat << in[i] << " n=" << n << " i=" << i;
      }
    }
  });
}

// ---- every slot -----------------------------------------------------------------

const auto kSlots =
    slots_of<double>("dExp", orx_vml_kernel_dExp_ttab, mpfr_exp, {{4}, {1}, {2, 0x1p-26}});

TEST(DoubleExp, SharedChecksInEverySlot) {
  const double all_ones = from_bits(~0ull);               // the NaN every NaN input gives
  const double overflow = from_bits(0x40862E42FEFA39F0);  // 709.7827128933841
  std::vector<Probe<double>> p;
  for (const Probe<double>& nan : nan_probes<double>()) p.push_back(exact(nan.x, all_ones));
  p.insert(p.end(), {exact(0.0, 1.0), exact(-0.0, 1.0), exact(kInf, kInf), exact(-kInf, 0.0),
                     exact(D::denorm_min(), 1.0), exact(-746.0, 0.0, 4), exact(-D::max(), 0.0, 4),
                     exact(709.79, kInf, 3), exact(D::max(), kInf, 3), accurate(709.78),
                     accurate(toward_zero(overflow)), exact(overflow, kInf, 3),
                     exact(away_from_zero(overflow), kInf, 3)});
  add_edge(p, from_bits(0xC0874910D52D3052), 4, 4);  // -745.1332191019412: +0 from here on
  add_edge(p, from_bits(0xC086232BDD7ABCD3), 0, 4);  // -708.3964185322642: subnormal results
  add_edge(p, from_bits(0x40862E37E7D8BA72));        // 709.7772976810359: m = 1024
  add_edge(p, 708.39599609375);                      // end of the block path
  add_edge(p, -708.39599609375);
  check_unary(kSlots, {.pool = {0.5, -3.25, 1e-12, 708.25, -707.5, 42.0, -0.0, 3e-320, 700.5, -1.0},
                       .probes = p,
                       .error_modes = {{1.0, {{800.0, kInf}, {-746.0, 0.0}}, 4}},
                       .length_special = 800.0,
                       .denormal = {{-720.0, 0.0, 4, 4}}});
}

}  // namespace
