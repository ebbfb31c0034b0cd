// Which observations and variables a compute folds in: observations before
// the first positive weight are skipped (later ones count whatever their
// weight); variables whose index entry is 0 are left out, with 32- and
// 64-bit indices.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

constexpr int kLayouts[] = {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS};
constexpr int kMethods[] = {SS_METHOD_1PASS, SS_METHOD_FAST};

// Weights 0, -1, NaN lead; a later 0 and a later small negative weight stay.
template <class T>
void lead_with_non_positive_weights(Data<T>& d) {
  d.w[0] = 0;
  d.w[1] = -1;
  d.w[2] = std::numeric_limits<T>::quiet_NaN();
  d.w[3] = 2;
  d.w[4] = 0;
  d.w[5] = 3;
  d.w[10] = T(-0.5);
}

template <class T>
void leading_weights_are_skipped() {
  uint64_t seed = 500;
  for (int64_t p : {7, 33})
    for (int layout : kLayouts)
      for (int method : kMethods) {
        SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << p << " "
                                          << layout_name(layout) << " " << method_name(method));
        Data<T> d = make_data<T>(p, 900, layout, true, ++seed);
        lead_with_non_positive_weights(d);
        const Oracle o = make_oracle(d);
        ASSERT_EQ(first_folded(d, 0, d.n), 3);
        Slots<T> slots(p, 1);
        T totals[4] = {0, 0, 0, 0};
        Task<T> task(d);
        task.attach(slots, kAllFields);
        task.set_accumulated_weights(totals);
        ASSERT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
        expect_oracle(slots, kAllFields, 0, o, {});
        const long double want[4] = {o.W, o.V, o.W3, o.W4};
        const double tol = std::is_same_v<T, double> ? 1e-14 : 1e-6;
        for (int k = 0; k < 4; ++k)
          EXPECT_NEAR(double(totals[k]), double(want[k]), tol * double(want[k])) << k;
      }
}

TEST(SsBasicSelection, LeadingNonPositiveWeightsAreSkippedDouble) {
  leading_weights_are_skipped<double>();
}
TEST(SsBasicSelection, LeadingNonPositiveWeightsAreSkippedSingle) {
  leading_weights_are_skipped<float>();
}

// No positive weight at all: status 0, nothing folded, nothing written; a
// continued state stays as it was.
template <class T>
void no_positive_weight() {
  for (int method : kMethods) {
    SCOPED_TRACE(::testing::Message() << precision_name<T>() << " " << method_name(method));
    Data<T> d = make_data<T>(5, 300, SS_MATRIX_STORAGE_COLS, true, 600);
    for (int64_t j = 0; j < d.n; ++j) d.w[j] = -T(j % 3);
    d.w[7] = std::numeric_limits<T>::quiet_NaN();

    Slots<T> fresh(5);
    T zero_totals[4] = {0, 0, 0, 0};
    {
      Task<T> task(d);
      task.attach(fresh, kAllFields);
      task.set_accumulated_weights(zero_totals);
      EXPECT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
    }
    for (int f = 0; f < kFieldCount; ++f)
      EXPECT_TRUE(fresh.all_sentinel(Field(f))) << kFields[f].name;
    for (T t : zero_totals) EXPECT_EQ(t, T(0));

    // A state from good data, then a compute over the non-positive weights.
    const Data<T> good = make_data<T>(5, 300, SS_MATRIX_STORAGE_COLS, true, 601);
    const Oracle o = make_oracle(good);
    Slots<T> state(5), before(5);
    T totals[4] = {0, 0, 0, 0};
    Task<T> task(good);
    task.attach(state, kAllFields);
    task.set_accumulated_weights(totals);
    ASSERT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
    before.copy_from(state);
    const T totals_before[4] = {totals[0], totals[1], totals[2], totals[3]};
    task.set_observations(d.x.data(), d.w.data(), d.n);
    EXPECT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(totals[k], totals_before[k]) << k;
    const Tolerance same = std::is_same_v<T, double> ? Tolerance{4e-16, 4e-16, 4e-16}
                                                     : Tolerance{1e-7, 1e-7, 1e-7};
    expect_same(state, before, kAllFields, o, {}, same);
  }
}

TEST(SsBasicSelection, NoPositiveWeightWritesNothing) {
  no_positive_weight<double>();
  no_positive_weight<float>();
}

// Index patterns with zeros; nonzero entries other than 1 select as well.
std::vector<int64_t> index_pattern(int64_t p) {
  std::vector<int64_t> v(p);
  for (int64_t i = 0; i < p; ++i) v[i] = (i % 3 == 1) ? 0 : (i % 4 == 0 ? 3 : 1);
  return v;
}

template <class T>
void indices_leave_variables_out() {
  uint64_t seed = 700;
  for (int64_t p : {2, 7, 33})
    for (int width : {0, 1})
      for (int layout : kLayouts)
        for (int method : kMethods)
          for (bool weighted : {false, true}) {
            SCOPED_TRACE(::testing::Message()
                         << precision_name<T>() << " p=" << p << " width " << width << " "
                         << layout_name(layout) << " " << method_name(method)
                         << (weighted ? " weighted" : " unweighted"));
            const Data<T> d = make_data<T>(p, 700, layout, weighted, ++seed);
            const Indices indices(width, index_pattern(p));
            // The oracle over the selected variables alone.
            std::vector<int64_t> chosen;
            for (int64_t i = 0; i < p; ++i)
              if (index_pattern(p)[i] != 0) chosen.push_back(i);
            Data<T> sub;
            sub.p = int64_t(chosen.size());
            sub.n = d.n;
            sub.layout = SS_MATRIX_STORAGE_ROWS;
            sub.w = d.w;
            for (int64_t i : chosen)
              for (int64_t j = 0; j < d.n; ++j) sub.x.push_back(d.at(i, j));
            const Oracle small = make_oracle(sub);

            Expect e;
            e.selected = indices.selected();
            e.cor_storage = storage_code(seed % 2 ? SS_MATRIX_STORAGE_L_PACKED
                                                  : SS_MATRIX_STORAGE_U_PACKED);
            Slots<T> slots(p, 1);
            ASSERT_EQ(compute_into(slots, d, kAllFields, method, e, width, indices.ptr()),
                      SS_STATUS_OK);
            // Compare against the small oracle, mapped back to the full positions.
            Oracle mapped = make_oracle(d);
            for (size_t a = 0; a < chosen.size(); ++a) {
              const int64_t i = chosen[a];
              mapped.mean[i] = small.mean[a];
              for (int k = 0; k < 3; ++k) {
                mapped.raw[k][i] = small.raw[k][a];
                mapped.cen[k][i] = small.cen[k][a];
              }
              for (size_t b = 0; b < chosen.size(); ++b)
                mapped.cross[i * p + chosen[b]] = small.cross[a * sub.p + b];
            }
            expect_oracle(slots, kAllFields, 0, mapped, e);
          }
}

TEST(SsBasicSelection, ZeroIndicesLeaveVariablesOutDouble) {
  indices_leave_variables_out<double>();
}
TEST(SsBasicSelection, ZeroIndicesLeaveVariablesOutSingle) {
  indices_leave_variables_out<float>();
}

// Every index 0: nothing is processed, nothing written.
TEST(SsBasicSelection, AllIndicesZeroWritesNothing) {
  const Data<double> d = make_data<double>(4, 100, SS_MATRIX_STORAGE_ROWS, false, 800);
  for (int width : {0, 1}) {
    const Indices none(width, std::vector<int64_t>(4, 0));
    Slots<double> slots(4);
    EXPECT_EQ(compute_into(slots, d, kAllFields, SS_METHOD_1PASS, {}, width, none.ptr()),
              SS_STATUS_OK);
    for (int f = 0; f < kFieldCount; ++f)
      EXPECT_TRUE(slots.all_sentinel(Field(f))) << kFields[f].name;
  }
}

}  // namespace
}  // namespace ss_test
