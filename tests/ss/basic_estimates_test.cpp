// The basic estimates against the long-double oracle: every estimate alone
// and in combinations, both layouts, with and without weights, p = 1, 7, 33,
// both methods, both precisions, result arrays off their alignment.
#include <gtest/gtest.h>

#include <vector>

#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

struct Shape {
  int64_t p, n, misalign;
};
constexpr Shape kShapes[] = {{1, 3000, 0}, {7, 1500, 1}, {33, 600, 1}};
constexpr int kLayouts[] = {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS};
constexpr int kMethods[] = {SS_METHOD_1PASS, SS_METHOD_FAST};

// Single estimates, then combinations that share dependencies.
std::vector<FieldSet> requests() {
  std::vector<FieldSet> r;
  for (int f = 0; f < kFieldCount; ++f) r.push_back(bit(Field(f)));
  r.push_back(bit(kMean) | bit(kCov));
  r.push_back(bit(kCov) | bit(kCor));
  r.push_back(bit(kSkew) | bit(kKurt));
  r.push_back(bit(kVar) | bit(kRaw2) | bit(kCen4));
  r.push_back(bit(kRaw3) | bit(kCen3) | bit(kCor));
  r.push_back(kAllFields);
  return r;
}

template <class T>
void each_request_matches_the_oracle() {
  uint64_t seed = 11;
  for (const Shape& s : kShapes)
    for (int layout : kLayouts)
      for (bool weighted : {false, true}) {
        const Data<T> d = make_data<T>(s.p, s.n, layout, weighted, ++seed);
        const Oracle o = make_oracle(d);
        for (int method : kMethods)
          for (FieldSet req : requests()) {
            SCOPED_TRACE(::testing::Message()
                         << precision_name<T>() << " p=" << s.p << " n=" << s.n << " "
                         << layout_name(layout) << (weighted ? " weighted " : " unweighted ")
                         << method_name(method) << " request " << field_names(req));
            Slots<T> slots(s.p, s.misalign);
            // Integer width alternates so both kinds of task see every shape.
            const int width = int(seed % 2);
            ASSERT_EQ(compute_into(slots, d, req, method, {}, width), SS_STATUS_OK);
            expect_oracle(slots, checked_fields(req), ignored_fields(req), o, {});
          }
      }
}

TEST(SsBasicEstimates, EachRequestMatchesTheOracleDouble) {
  each_request_matches_the_oracle<double>();
}

TEST(SsBasicEstimates, EachRequestMatchesTheOracleSingle) {
  each_request_matches_the_oracle<float>();
}

// Single tasks accumulate in double: 200000 floats around 2 summed in float
// would be off by about 1e-3 relative.
TEST(SsBasicEstimates, SingleAccumulatesInDouble) {
  const Data<float> d = make_data<float>(3, 200000, SS_MATRIX_STORAGE_COLS, true, 5);
  const Oracle o = make_oracle(d);
  for (int method : kMethods) {
    SCOPED_TRACE(method_name(method));
    Slots<float> slots(3);
    ASSERT_EQ(compute_into(slots, d, kAllFields, method), SS_STATUS_OK);
    expect_oracle(slots, kAllFields, 0, o, {});
  }
}

// Bits of other computes (minimum, maximum, quantiles, ...) are left alone.
TEST(SsBasicEstimates, OtherEstimateBitsAreLeftAlone) {
  const Data<double> d = make_data<double>(4, 500, SS_MATRIX_STORAGE_ROWS, false, 3);
  const Oracle o = make_oracle(d);
  Slots<double> slots(4);
  std::vector<double> minimum(4, Slots<double>::kSentinel), maximum(4, Slots<double>::kSentinel);
  Task<double> task(d);
  ASSERT_EQ(task.created(), SS_STATUS_OK);
  task.attach(slots, bit(kMean));
  ASSERT_EQ(__vsldSSEditTask(task.get(), SS_ED_MIN, minimum.data()), SS_STATUS_OK);
  ASSERT_EQ(__vsldSSEditTask(task.get(), SS_ED_MAX, maximum.data()), SS_STATUS_OK);
  EXPECT_EQ(_vsldSSBasic(task.get(), SS_MEAN | SS_MIN | SS_MAX | SS_QUANTS | SS_ORDER_STATS,
                         SS_METHOD_1PASS),
            SS_STATUS_OK);
  expect_oracle(slots, bit(kMean), 0, o, {});
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(minimum[i], Slots<double>::kSentinel);
    EXPECT_EQ(maximum[i], Slots<double>::kSentinel);
  }
}

// One observation: W^2 - V = 0, so the variance-type results are NaN while
// the means and raw moments are exact.
TEST(SsBasicEstimates, SingleObservationGivesNaNSpread) {
  Data<double> d;
  d.p = 2;
  d.n = 1;
  d.x = {1.5, -2.0};
  for (int method : kMethods) {
    SCOPED_TRACE(method_name(method));
    Slots<double> slots(2);
    ASSERT_EQ(compute_into(slots, d, bit(kMean) | bit(kRaw2) | bit(kCen2) | bit(kCov), method),
              SS_STATUS_OK);
    EXPECT_EQ(slots.at(kMean, 0), 1.5);
    EXPECT_EQ(slots.at(kMean, 1), -2.0);
    EXPECT_EQ(slots.at(kRaw2, 1), 4.0);
    EXPECT_TRUE(std::isnan(slots.at(kCen2, 0)));
    for (int e = 0; e < 4; ++e) EXPECT_TRUE(std::isnan(slots.at(kCov, e))) << e;
  }
}

// A constant variable has zero variance: its correlations are NaN, the
// others are finite.
TEST(SsBasicEstimates, ZeroVarianceGivesNaNCorrelation) {
  Data<double> d = make_data<double>(3, 200, SS_MATRIX_STORAGE_ROWS, false, 8);
  for (int64_t j = 0; j < d.n; ++j) d.x[d.offset(1, j)] = 4.0;
  const Oracle o = make_oracle(d);
  for (int method : kMethods) {
    SCOPED_TRACE(method_name(method));
    Slots<double> slots(3);
    ASSERT_EQ(compute_into(slots, d, bit(kCor), method), SS_STATUS_OK);
    if (method == SS_METHOD_1PASS) {
      // The one-pass update multiplies by the rounded 1 / (W + w), so a
      // constant's running mean moves by an ulp now and then: its variance is
      // zero to rounding only, and its correlations are not defined.
      EXPECT_LE(std::fabs(slots.at(kCor, 1 * 3 + 1)), 1e-25);
    } else {
      EXPECT_EQ(slots.at(kCor, 1 * 3 + 1), 0.0);
      EXPECT_TRUE(std::isnan(slots.at(kCor, 0 * 3 + 1))) << slots.at(kCor, 0 * 3 + 1);
      EXPECT_TRUE(std::isnan(slots.at(kCor, 2 * 3 + 1))) << slots.at(kCor, 2 * 3 + 1);
    }
    EXPECT_NEAR(slots.at(kCor, 0 * 3 + 2), double(o.value(kCor, 0, 2)), 1e-12);
  }
}

}  // namespace
}  // namespace ss_test
