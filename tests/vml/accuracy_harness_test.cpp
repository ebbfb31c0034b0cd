// The accuracy harness on known answers: errors of results moved by a known
// number of ulps, fake kernels with planted faults, sampling and the
// special-value checker, so a broken harness cannot pass.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "orx/vml.h"
#include "tools/accuracy/accuracy.h"

namespace {

using namespace orx::accuracy;

const FunctionEntry& entry_of(const char* function, char type) {
  const FunctionEntry* entry = find_entry(function, type);
  EXPECT_NE(entry, nullptr) << type << function;
  return *entry;
}

// Correctly rounded e^x in double and (exact - rounded) / ulp, from MPFR
// independently of the harness.
struct Rounded {
  double value;
  double offset_ulps;
};
Rounded rounded_exp(double x, mpfr_prec_t precision, int ulp_exponent_floor) {
  mpfr_t e, r;
  mpfr_inits2(256, e, r, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(e, x, MPFR_RNDN);
  mpfr_exp(e, e, MPFR_RNDN);
  const double value = precision == 24 ? mpfr_get_flt(e, MPFR_RNDN) : mpfr_get_d(e, MPFR_RNDN);
  const long q = std::max<long>(mpfr_get_exp(e), ulp_exponent_floor) - precision;
  mpfr_set_d(r, value, MPFR_RNDN);
  mpfr_sub(r, e, r, MPFR_RNDN);
  mpfr_mul_2si(r, r, -q, MPFR_RNDN);
  const double offset = mpfr_get_d(r, MPFR_RNDN);
  mpfr_clears(e, r, static_cast<mpfr_ptr>(nullptr));
  return {value, offset};
}

double step(double x, int ulps) {
  for (int i = 0; i < std::abs(ulps); ++i) x = std::nextafter(x, ulps > 0 ? HUGE_VAL : -HUGE_VAL);
  return x;
}

float stepf(float x, int ulps) {
  for (int i = 0; i < std::abs(ulps); ++i) x = std::nextafter(x, ulps > 0 ? HUGE_VALF : -HUGE_VALF);
  return x;
}

TEST(AccuracyHarness, UlpErrorOfResultsMovedByKnownSteps) {
  const FunctionEntry& dexp = entry_of("Exp", 'd');
  for (double x : {1.0, -3.25, 0.001, 700.5, -707.0}) {
    const Exact exact = exact_value(dexp, x, 0);
    const Rounded cr = rounded_exp(x, 53, DBL_MIN_EXP);
    EXPECT_NEAR(error_of(exact, cr.value, 'd').ulps, std::fabs(cr.offset_ulps), 1e-9) << x;
    for (int k : {1, 3, 40}) {
      // The exact value lies within half an ulp of cr, so the errors of
      // cr + k ulp and cr - k ulp are k -+ offset.
      EXPECT_NEAR(error_of(exact, step(cr.value, k), 'd').ulps, k - cr.offset_ulps, 1e-9) << x;
      EXPECT_NEAR(error_of(exact, step(cr.value, -k), 'd').ulps, k + cr.offset_ulps, 1e-9) << x;
    }
  }
  const FunctionEntry& sexp = entry_of("Exp", 's');
  for (double x : {1.0, -10.5, 80.25}) {
    const Exact exact = exact_value(sexp, x, 0);
    const Rounded cr = rounded_exp(x, 24, FLT_MIN_EXP);
    const float value = static_cast<float>(cr.value);
    EXPECT_NEAR(error_of(exact, value, 's').ulps, std::fabs(cr.offset_ulps), 1e-9);
    EXPECT_NEAR(error_of(exact, stepf(value, 2), 's').ulps, 2 - cr.offset_ulps, 1e-9);
    EXPECT_NEAR(error_of(exact, stepf(value, -2), 's').ulps, 2 + cr.offset_ulps, 1e-9);
  }
}

TEST(AccuracyHarness, SubnormalResultsUseTheFixedQuantum) {
  // e^-740 is about 85 quanta of 2^-1074; returning 0 misses by all of them,
  // and each step of the quantum counts one ulp.
  const FunctionEntry& dexp = entry_of("Exp", 'd');
  const Exact exact = exact_value(dexp, -740.0, 0);
  const Rounded cr = rounded_exp(-740.0, 53, DBL_MIN_EXP);
  const double quanta = cr.value / DBL_TRUE_MIN + cr.offset_ulps;
  EXPECT_GT(quanta, 80);
  EXPECT_NEAR(error_of(exact, 0.0, 'd').ulps, quanta, 1e-9);
  EXPECT_NEAR(error_of(exact, cr.value + 2 * DBL_TRUE_MIN, 'd').ulps, 2 - cr.offset_ulps, 1e-9);
  // The same in single: e^-100 is about 5.3 quanta of 2^-149.
  const Exact exact_s = exact_value(entry_of("Exp", 's'), -100.0, 0);
  const Rounded cr_s = rounded_exp(-100.0, 24, FLT_MIN_EXP);
  EXPECT_NEAR(error_of(exact_s, 0.0, 's').ulps, cr_s.value / FLT_TRUE_MIN + cr_s.offset_ulps, 1e-9);
}

TEST(AccuracyHarness, NonFiniteMismatchesAreInfiniteErrors) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const FunctionEntry& dexp = entry_of("Exp", 'd');
  const Exact one = exact_value(dexp, 1.0, 0);
  EXPECT_EQ(error_of(one, nan, 'd').ulps, inf);
  EXPECT_EQ(error_of(one, inf, 'd').ulps, inf);
  EXPECT_EQ(error_of(one, -std::exp(1.0), 'd').ulps > 1e15, true);  // wrong sign
  // e^710 rounds to +inf: +inf is right, the largest double is 0.5+ ulp off.
  const Exact huge = exact_value(dexp, 710.0, 0);
  EXPECT_EQ(error_of(huge, inf, 'd').ulps, 0);
  EXPECT_GT(error_of(huge, DBL_MAX, 'd').ulps, 0.5);
  EXPECT_EQ(error_of(huge, -inf, 'd').ulps, inf);
  // ln(-1) is NaN, ln(0) is -inf.
  const FunctionEntry& dln = entry_of("Ln", 'd');
  EXPECT_EQ(error_of(exact_value(dln, -1.0, 0), nan, 'd').ulps, 0);
  EXPECT_EQ(error_of(exact_value(dln, -1.0, 0), 0.0, 'd').ulps, inf);
  EXPECT_EQ(error_of(exact_value(dln, 0.0, 0), -inf, 'd').ulps, 0);
  EXPECT_EQ(error_of(exact_value(dln, 0.0, 0), -DBL_MAX, 'd').ulps, inf);
  // ln 1 = 0 exactly: any non-zero result counts in subnormal quanta.
  EXPECT_EQ(error_of(exact_value(dln, 1.0, 0), 3 * DBL_TRUE_MIN, 'd').ulps, 3);
}

TEST(AccuracyHarness, RelativeErrorGivesCorrectBits) {
  const FunctionEntry& dexp = entry_of("Exp", 'd');
  const double x = 2.5;
  const double e = std::exp(x);
  const Error err = error_of(exact_value(dexp, x, 0), e * (1 + 0x1p-20), 'd');
  EXPECT_NEAR(-std::log2(err.relative), 20, 0.01);
  EXPECT_NEAR(err.ulps, 0x1p32 * e / std::ldexp(1.0, std::ilogb(e)), 2);
}

// ---- fake kernels with planted faults ----------------------------------

// Correctly rounded e^x through MPFR, with element kPlanted moved by
// g_planted_ulps ulps, or scaled by (1 + g_planted_relative).
constexpr int kPlanted = 7;
int g_planted_ulps = 0;
double g_planted_relative = 0;

void fake_dexp(int n, const double* a, double* r) {
  mpfr_t v;
  mpfr_init2(v, 53);
  for (int i = 0; i < n; ++i) {
    mpfr_set_d(v, a[i], MPFR_RNDN);
    mpfr_exp(v, v, MPFR_RNDN);
    r[i] = mpfr_get_d(v, MPFR_RNDN);
    if (i == kPlanted) r[i] = step(r[i], g_planted_ulps) * (1 + g_planted_relative);
  }
  mpfr_clear(v);
  mpfr_free_cache();  // the harness runs kernels on a fresh thread: free its caches
}

void fake_cabs(int n, const orx_complex8* a, float* r) {
  for (int i = 0; i < n; ++i) {
    r[i] = static_cast<float>(std::hypot(double{a[i].re}, double{a[i].im}));
    if (i == kPlanted) r[i] = stepf(r[i], g_planted_ulps);
  }
}

FunctionEntry narrowed(const FunctionEntry& entry, size_t ranges) {
  FunctionEntry copy = entry;
  copy.ranges.resize(ranges);
  return copy;
}

TEST(AccuracyHarness, MeasureFindsAPlantedError) {
  const FunctionEntry dexp = narrowed(entry_of("Exp", 'd'), 3);
  const std::vector<Samples> samples = make_samples(dexp, 1000, 5);
  g_planted_ulps = 0;
  g_planted_relative = 0;
  const Measurement exact = measure(dexp, reinterpret_cast<const void*>(fake_dexp), samples);
  EXPECT_LE(exact.max_ulp, 0.5);
  EXPECT_GT(exact.max_ulp, 0.45);  // some of 3000 inputs fall near a midpoint
  EXPECT_TRUE(meets(goal_for(dexp, kSlotHA), exact));
  EXPECT_GT(exact.correct_bits(), 52.9);

  g_planted_ulps = 5;
  const Measurement planted = measure(dexp, reinterpret_cast<const void*>(fake_dexp), samples);
  EXPECT_GE(planted.max_ulp, 4.5);
  EXPECT_LE(planted.max_ulp, 5.5);
  // The worst input is one of the planted elements (index 7 of a sub-range).
  bool planted_input = false;
  for (const Samples& s : samples) planted_input |= s.re[kPlanted] == planted.worst_re;
  EXPECT_TRUE(planted_input);
  EXPECT_FALSE(meets(goal_for(dexp, kSlotHA), planted));
  EXPECT_FALSE(meets(goal_for(dexp, kSlotLA), planted));

  g_planted_ulps = 0;
  g_planted_relative = 0x1p-24;
  const Measurement relative = measure(dexp, reinterpret_cast<const void*>(fake_dexp), samples);
  EXPECT_NEAR(relative.correct_bits(), 24, 0.01);
  EXPECT_FALSE(meets(goal_for(dexp, kSlotEP), relative));  // goal: more than 26 bits
  g_planted_relative = 0;
}

TEST(AccuracyHarness, MeasureFindsAPlantedErrorInAComplexModulus) {
  const FunctionEntry cabs = narrowed(entry_of("Abs", 'c'), 2);
  const std::vector<Samples> samples = make_samples(cabs, 500, 9);
  g_planted_ulps = 0;
  const Measurement clean = measure(cabs, reinterpret_cast<const void*>(fake_cabs), samples);
  EXPECT_LT(clean.max_ulp, 0.5001);  // double hypot rounded to float
  g_planted_ulps = -3;
  const Measurement planted = measure(cabs, reinterpret_cast<const void*>(fake_cabs), samples);
  EXPECT_GE(planted.max_ulp, 2.5);
  EXPECT_LE(planted.max_ulp, 3.5);
  g_planted_ulps = 0;
}

// ---- sampling -------------------------------------------------------------

TEST(AccuracyHarness, SamplesStayInRangeCoverEveryExponentAndRepeat) {
  const FunctionEntry& dexp = entry_of("Exp", 'd');
  const std::vector<Samples> a = make_samples(dexp, 2000, 1);
  const std::vector<Samples> b = make_samples(dexp, 2000, 1);
  const std::vector<Samples> c = make_samples(dexp, 2000, 2);
  ASSERT_EQ(a.size(), dexp.ranges.size());
  for (size_t k = 0; k < a.size(); ++k) {
    EXPECT_EQ(a[k].re, b[k].re);
    EXPECT_NE(a[k].re, c[k].re);
    for (double x : a[k].re) {
      EXPECT_GE(x, dexp.ranges[k].lo);
      EXPECT_LE(x, dexp.ranges[k].hi);
    }
  }
  // Range 0 is [-2^-30, 2^-30]: by representable values, about a quarter of
  // all samples lie below 2^-550 and a few dozen below 2^-1000 (the 1044
  // binades down to the subnormals are equally likely); by value, none do.
  int below = 0, deep = 0;
  for (double x : a[0].re) {
    below += std::fabs(x) < 0x1p-550;
    deep += std::fabs(x) < 0x1p-1000;
  }
  EXPECT_GT(below, 400);
  EXPECT_LT(below, 600);
  EXPECT_GT(deep, 15);
  EXPECT_LT(deep, 60);
  // Single inputs are floats.
  for (const Samples& s : make_samples(entry_of("Ln", 's'), 500, 3)) {
    for (double x : s.re) EXPECT_EQ(static_cast<double>(static_cast<float>(x)), x);
  }
}

// ---- special-value checker -----------------------------------------------

// Fault planted in the fake logarithm.
enum class LnFault { kNone, kNoStatus, kPositivePole, kTouchesNeighbour };
LnFault g_ln_fault = LnFault::kNone;

void fake_dln(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) {
    r[i] = std::log(a[i]);
    if (a[i] == 0 && g_ln_fault == LnFault::kPositivePole) r[i] = HUGE_VAL;
    if (g_ln_fault != LnFault::kNoStatus) {
      if (a[i] == 0) orx_vml_kernel_dError(ORX_VML_STATUS_SINGULARITY, i, a, a, r, r, "vdLn");
      if (a[i] < 0) orx_vml_kernel_dError(ORX_VML_STATUS_DOMAIN, i, a, a, r, r, "vdLn");
    }
  }
  if (g_ln_fault == LnFault::kTouchesNeighbour) {
    for (int i = 0; i + 1 < n; ++i) {
      if (std::isnan(a[i])) r[i + 1] = 0;
    }
  }
}

size_t failures_with(LnFault fault) {
  g_ln_fault = fault;
  const size_t count = check_specials(entry_of("Ln", 'd'), reinterpret_cast<const void*>(fake_dln)).size();
  g_ln_fault = LnFault::kNone;
  return count;
}

TEST(AccuracyHarness, SpecialValueCheckerPassesRightAndCatchesWrong) {
  EXPECT_EQ(failures_with(LnFault::kNone), 0u);
  EXPECT_EQ(failures_with(LnFault::kNoStatus), 4u);      // +-0, -1, -inf
  EXPECT_EQ(failures_with(LnFault::kPositivePole), 2u);  // +-0
  // NaN's neighbour is changed; at the last position there is none, but the
  // first failing position is reported, once.
  EXPECT_EQ(failures_with(LnFault::kTouchesNeighbour), 1u);
}

}  // namespace
