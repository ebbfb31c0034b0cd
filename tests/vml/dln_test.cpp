// Double-precision natural logarithm kernels (HA in slots 0 and 1, EP in slot
// 2): the generated reciprocal table against its rule in MPFR, the HA kernel
// bit for bit against a plain scalar transcription of its algorithm, special
// values and statuses, error modes, lengths and aliasing, the denormal field.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "tests/vml/unary_checks.h"
#include "vml/kernels/ln/dln_table.h"

namespace {

using namespace orx::test;
using D = std::numeric_limits<double>;
constexpr double kInf = D::infinity();
double from_bits(uint64_t b) { return with_bits<double>(b); }

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

TEST(DoubleLnTable, EveryEntryFollowsItsRule) {
  using orx::vml::dln::BT_Tbl;
  EXPECT_EQ(bits(BT_Tbl[1][0]), 0x3FEFF00800000000u);
  EXPECT_EQ(bits(BT_Tbl[256][0]), 0x3FE5555540000000u);
  EXPECT_EQ(bits(BT_Tbl[512][0]), bits(0.5));
  for (int k = 0; k <= 512; ++k) {
    const Entry& e = rule_table()[k];
    EXPECT_EQ(bits(BT_Tbl[k][0]), bits(e.c)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][1]), bits(e.c)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][2]), bits(e.t_hi)) << k;
    EXPECT_EQ(bits(BT_Tbl[k][3]), bits(e.t_lo)) << k;
  }
}

// ---- plain scalar transcription of the HA algorithm ------------------------

double reference_core(double x) {
  const uint64_t b = bits(x);
  const uint32_t h = static_cast<uint32_t>(b >> 32);
  const uint32_t k = (((h & 0xFFC00u) + 0x400u) & 0x1FF800u) >> 11;
  const int32_t n = static_cast<int32_t>(h - 0x3FE7FC00u) >> 20;
  const double y = from_bits((b & 0x000FFFFFFFFFFFFFu) | 0x3FF0000000000000u);
  const double y_hi = from_bits(bits(y) & 0xFFFFFFFF00000000u);
  const double y_lo = y - y_hi;
  const Entry& e = rule_table()[k];
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

TEST(DoubleLnHA, BitExactAgainstScalarTranscription) {
  struct Range {
    double lo, hi;
    bool by_bits;
  };
  const Range ranges[] = {
      {D::min(), D::max(), true},        {0.5, 2.0, false},   {0x1.fcp-1, 0x1.02p0, false},
      {0x1.ff8p0, 0x1.004p1, false},     {1.45, 1.55, false}, {D::denorm_min(), D::min(), true},
      {D::denorm_min(), 0x1p-1060, true}};
  // Edges of the table index, of the binades and of the subnormal path.
  std::vector<double> edges = {D::denorm_min(), D::min() / 3, D::max(), 1.4990234375, 2.0, 0.5};
  for (double x : {D::min(), 1.4990234375, 1.0, 2.0})
    edges.insert(edges.end(), {std::nextafter(x, 0.0), std::nextafter(x, kInf)});
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_IGNORE, [&] {
    uint64_t seed = 11;
    std::vector<std::vector<double>> inputs = {edges};
    for (const Range& range : ranges) {
      std::mt19937_64 rng(seed++);
      std::uniform_int_distribution<uint64_t> any(bits(range.lo), bits(range.hi));
      std::uniform_real_distribution<double> value(range.lo, range.hi);
      std::vector<double>& in = inputs.emplace_back(200003);
      for (double& x : in) x = range.by_bits ? from_bits(any(rng)) : value(rng);
    }
    for (const std::vector<double>& in : inputs) {
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
    const double two[2] = {2.0, 0.5};
    double ln_two[2];
    orx_vml_kernel_dLn_ttab[1](2, two, ln_two);
    EXPECT_EQ(bits(ln_two[0]), 0x3FE62E42FEFA39EFu);  // ln 2 rounded to nearest
    EXPECT_EQ(bits(ln_two[1]), 0xBFE62E42FEFA39EFu);
  });
}

// ---- every slot ------------------------------------------------------------------

// HA: its fixed algorithm's measured bound; EP: 26 bits.
const auto kSlots =
    slots_of<double>("dLn", orx_vml_kernel_dLn_ttab, mpfr_log, {{2.1}, {2.1}, {0, 0x1p-26}});

TEST(DoubleLn, SharedChecksInEverySlot) {
  std::vector<Probe<double>> more = {exact(-D::min(), indefinite<double>(), 1),
                                     accurate(2.0),
                                     accurate(0.5),
                                     accurate(D::denorm_min()),
                                     accurate(D::min() / 3),
                                     accurate(D::max()),
                                     accurate(1.4990234375)};
  for (double edge : {D::min(), 1.0, 2.0}) add_edge(more, edge);
  check_unary(kSlots, log_cases<double>(
                          {3.0, 0.7, 1e-300, 1e300, 1.0000001, 12345.0, 0.999, 2.5e-5}, more));
}

}  // namespace
