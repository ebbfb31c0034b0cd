// The 128 basic-statistics kernels of each precision, called directly: the
// table's names follow the index rule, and every kernel folds observations
// exactly as a plain scalar transcription of the update formulas does.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "vsl/ss/basic/basic_table.h"

namespace orx::ss {
namespace {

constexpr int64_t kP = 5;  // odd: pairs, a scalar tail and unaligned cross-product columns
constexpr int64_t kN = 37;

struct Choice {
  bool columns, weighted, cross, mean, raw2, raw3, raw4;
};

Choice decode(int index) {
  return {(index & 64) != 0, (index & 32) != 0, (index & 16) != 0, (index & 8) != 0,
          (index & 4) != 0,  (index & 2) != 0,  (index & 1) != 0};
}

std::string expected_name(int index) {
  const Choice c = decode(index);
  std::string name = "_vSSBasic";
  name += c.columns ? 'C' : 'R';
  name += c.weighted ? 'W' : '_';
  name += c.cross ? 'C' : '_';
  name += c.mean ? '1' : '_';
  name += c.raw2 ? '2' : '_';
  name += c.raw3 ? '3' : '_';
  name += c.raw4 ? '4' : '_';
  return name;
}

TEST(BasicKernelTable, NamesFollowTheIndexRule) {
  for (int index = 0; index < 128; ++index) {
    EXPECT_EQ(kBasicKernels<double>[index].name, expected_name(index)) << index;
    EXPECT_EQ(kBasicKernels<float>[index].name, expected_name(index)) << index;
    EXPECT_NE(kBasicKernels<double>[index].kernel, nullptr);
    EXPECT_NE(kBasicKernels<float>[index].kernel, nullptr);
    const Choice c = decode(index);
    EXPECT_EQ(basic_kernel_index(c.columns, c.weighted, c.cross, c.mean, c.raw2, c.raw3, c.raw4),
              index);
  }
  EXPECT_EQ(std::string(kBasicKernels<double>[0].name), "_vSSBasicR______");
  EXPECT_EQ(std::string(kBasicKernels<double>[127].name), "_vSSBasicCWC1234");
}

// A state the test owns: 16-byte-aligned arrays of kP, a kP x kP cross-product.
struct State {
  alignas(16) double totals[4];
  alignas(16) double mean[6], raw2[6], raw3[6], raw4[6];
  alignas(16) double cross[kP * kP];
  alignas(16) double scratch[64];

  void fill(std::mt19937_64& g) {
    std::uniform_real_distribution<double> u(-1, 1);
    totals[0] = 3.5;
    totals[1] = 5.25;
    totals[2] = 8.0;
    totals[3] = 13.0;
    for (int64_t i = 0; i < kP; ++i) {
      mean[i] = u(g);
      raw2[i] = 1 + u(g);
      raw3[i] = u(g);
      raw4[i] = 2 + u(g);
    }
    for (auto& c : cross) c = u(g);
  }
};

template <class T>
struct Data {
  std::vector<T> x, w;
  Data(std::mt19937_64& g, bool leading_non_positive) : x(kP * kN), w(kN) {
    std::uniform_real_distribution<double> u(-2, 3);
    for (auto& v : x) v = static_cast<T>(u(g));
    for (auto& v : w) v = static_cast<T>(0.25 + (u(g) + 2) / 2);
    if (leading_non_positive) {
      w[0] = 0;
      w[1] = -1;
      w[2] = static_cast<T>(NAN);
      w[9] = 0;  // a later zero weight counts
      w[11] = -0.5;
    }
  }
};

// The per-observation update written out plainly, in the kernels' operation
// order, over variables [0, kP).
template <class T>
void scalar_model(const Choice& c, const Data<T>& d, State& s) {
  int64_t j = 0;
  if (c.weighted)
    while (j < kN && !(d.w[j] > 0)) ++j;
  for (; j < kN; ++j) {
    const double w = c.weighted ? static_cast<double>(d.w[j]) : 1.0;
    const double W = s.totals[0];
    const double r = 1.0 / (W + w);
    auto x_at = [&](int64_t i) {
      return static_cast<double>(c.columns ? d.x[j * kP + i] : d.x[i * kN + j]);
    };
    if (c.cross) {
      const double f = w * W * r;
      for (int64_t k = 0; k < kP; ++k)
        for (int64_t i = 0; i <= k; ++i)
          s.cross[i + k * kP] += (f * (x_at(k) - s.mean[k])) * (x_at(i) - s.mean[i]);
    }
    for (int64_t i = 0; i < kP; ++i) {
      const double x = x_at(i);
      const double x2 = x * x, x3 = x2 * x, x4 = x * x3;
      auto weigh = [&](double v) { return c.weighted ? w * v : v; };
      if (c.mean || c.cross) s.mean[i] = (W * s.mean[i] + weigh(x)) * r;
      if (c.raw2) s.raw2[i] = (W * s.raw2[i] + weigh(x2)) * r;
      if (c.raw3) s.raw3[i] = (W * s.raw3[i] + weigh(x3)) * r;
      if (c.raw4) s.raw4[i] = (W * s.raw4[i] + weigh(x4)) * r;
    }
    const double w2 = w * w;
    s.totals[0] += w;
    s.totals[1] += w2;
    s.totals[2] += w2 * w;
    s.totals[3] += w2 * w2;
  }
}

template <class T>
BasicBlock<T> block_over(const Choice& c, const Data<T>& d, State& s, int mode) {
  BasicBlock<T> b;
  b.first_obs = 0;
  b.last_obs = kN;
  b.ld = c.columns ? kP : kN;
  b.first_var = 0;
  b.last_var = kP;
  b.p = kP;
  b.x = d.x.data();
  b.w = d.w.data();
  b.totals = s.totals;
  b.mean = s.mean;
  b.raw2 = s.raw2;
  b.raw3 = s.raw3;
  b.raw4 = s.raw4;
  b.cross = s.cross;
  b.scratch = s.scratch;
  b.block_mode = mode;
  return b;
}

void expect_states(const State& a, const State& b, double tolerance, const std::string& what) {
  auto near = [&](double x, double y) {
    return tolerance == 0 ? x == y : std::fabs(x - y) <= tolerance * (1 + std::fabs(y));
  };
  for (int k = 0; k < 4; ++k) EXPECT_TRUE(near(a.totals[k], b.totals[k])) << what << " total " << k;
  for (int64_t i = 0; i < kP; ++i) {
    EXPECT_TRUE(near(a.mean[i], b.mean[i])) << what << " mean " << i;
    EXPECT_TRUE(near(a.raw2[i], b.raw2[i])) << what << " raw2 " << i;
    EXPECT_TRUE(near(a.raw3[i], b.raw3[i])) << what << " raw3 " << i;
    EXPECT_TRUE(near(a.raw4[i], b.raw4[i])) << what << " raw4 " << i;
  }
  for (int64_t k = 0; k < kP; ++k)
    for (int64_t i = 0; i <= k; ++i)
      EXPECT_TRUE(near(a.cross[i + k * kP], b.cross[i + k * kP])) << what << " C " << i << k;
}

template <class T>
void check_every_kernel(bool leading_non_positive) {
  for (int index = 0; index < 128; ++index) {
    const Choice c = decode(index);
    std::mt19937_64 g(index + 1);
    const Data<T> data(g, leading_non_positive);
    State start;
    start.fill(g);
    State model = start;
    scalar_model(c, data, model);
    for (int mode : {0, 1}) {
      State got = start;
      ASSERT_EQ(kBasicKernels<T>[index].kernel(block_over(c, data, got, mode)), 0);
      // One observation at a time: the same operations, bit for bit. A block
      // at a time: sums instead of running averages, equal to rounding.
      expect_states(got, model, mode == 0 ? 0.0 : 1e-12,
                    std::string(kBasicKernels<T>[index].name) + " mode " + std::to_string(mode));
    }
  }
}

TEST(BasicKernels, EveryDoubleKernelMatchesTheScalarModel) { check_every_kernel<double>(false); }
TEST(BasicKernels, EverySingleKernelMatchesTheScalarModel) { check_every_kernel<float>(false); }
TEST(BasicKernels, LeadingNonPositiveWeightsAreSkippedLaterOnesCount) {
  check_every_kernel<double>(true);
}

TEST(BasicKernels, EmptyBlockAndAllNonPositiveWeightsChangeNothing) {
  std::mt19937_64 g(7);
  Data<double> data(g, false);
  for (auto& w : data.w) w = -1;
  data.w[4] = 0;
  data.w[5] = NAN;
  for (int index : {127, 63, 48, 32, 0}) {
    const Choice c = decode(index);
    for (int mode : {0, 1}) {
      State start;
      start.fill(g);
      State got = start;
      BasicBlock<double> b = block_over(c, data, got, mode);
      if (!c.weighted) b.last_obs = b.first_obs;  // empty block
      ASSERT_EQ(kBasicKernels<double>[index].kernel(b), 0);
      expect_states(got, start, 0.0, kBasicKernels<double>[index].name);
    }
  }
}

TEST(BasicKernels, ALaterZeroWeightLeavesMeansAndTotalsAsTheyWere) {
  std::mt19937_64 g(9);
  Data<double> data(g, false);
  data.w[1] = 0;
  const Choice c = decode(32 + 8 + 4);  // rows, weighted, mean, raw 2
  State s;
  s.fill(g);
  BasicBlock<double> b = block_over(c, data, s, 0);
  b.last_obs = 1;
  kBasicKernels<double>[32 + 8 + 4].kernel(b);
  const State after_first = s;
  b.first_obs = 1;
  b.last_obs = 2;
  b.skip_leading = false;
  kBasicKernels<double>[32 + 8 + 4].kernel(b);
  // A weight-0 observation that is not leading is folded in: (W m + 0) / W,
  // which is m up to one rounding of each operation.
  for (int64_t i = 0; i < kP; ++i)
    EXPECT_NEAR(s.mean[i], after_first.mean[i], 4e-16 * std::fabs(after_first.mean[i]));
  for (int k = 0; k < 4; ++k) EXPECT_EQ(s.totals[k], after_first.totals[k]);
}

}  // namespace
}  // namespace orx::ss
