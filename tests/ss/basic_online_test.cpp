// Online continuation through the accumulated weights: two computes over the
// halves of a data set equal one compute over all of it, from the
// covariance or from the correlation alone; without the accumulated-weights
// field every compute starts afresh.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

constexpr int64_t kN = 2000, kHalf = 777;

// On one thread, one-pass continued and one-shot results differ by the
// rounding of the fold at the seam: a few ulps. The fast method's blocks end
// elsewhere once the data is cut, so its block sums round differently (about
// 10 ulps over 2000 observations). On several threads the one-shot
// compute merges partial states where the continued one does not, and they
// agree to the rounding of the sums.
template <class T>
Tolerance continuation_tolerance(int64_t threads, int method) {
  if constexpr (std::is_same_v<T, double>) {
    if (threads > 1) return {1e-13, 1e-12, 1e-12};
    return {method == SS_METHOD_FAST ? 4e-15 : 4e-16, 1e-12, 1e-12};
  } else {
    return {1e-6, 1e-5, 1e-5};
  }
}

// A task over the first kHalf observations of d and a way to move it to the
// rest: columns layout by offsetting the pointers into d, rows layout by a
// matrix of each half.
template <class T>
class HalvesTask {
 public:
  explicit HalvesTask(const Data<T>& d)
      : d_(d),
        first_(slice(d, 0, kHalf)),
        second_(slice(d, kHalf, d.n)),
        task_(d.layout == SS_MATRIX_STORAGE_COLS ? d : first_) {
    task_.n().set(kHalf);
  }
  Task<T>& task() { return task_; }
  void move_to_second_half() {
    if (d_.layout == SS_MATRIX_STORAGE_COLS)
      task_.set_observations(d_.x.data() + kHalf * d_.p,
                             d_.w.empty() ? nullptr : d_.w.data() + kHalf, d_.n - kHalf);
    else
      task_.set_observations(second_.x.data(), second_.weights(), second_.n);
  }

 private:
  const Data<T>& d_;
  Data<T> first_, second_;
  Task<T> task_;
};

template <class T>
void expect_totals(const T* got, const Oracle& o, double tol) {
  const long double want[4] = {o.W, o.V, o.W3, o.W4};
  for (int k = 0; k < 4; ++k)
    EXPECT_NEAR(double(got[k]), double(want[k]), tol * double(want[k])) << "total " << k;
}

template <class T>
void continuation_equals_one_compute(int64_t p, int layout, bool weighted, int method,
                                     FieldSet req, int64_t threads, uint64_t seed) {
  SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << p << " "
                                    << layout_name(layout)
                                    << (weighted ? " weighted " : " unweighted ")
                                    << method_name(method) << " request " << field_names(req)
                                    << ", " << threads << " threads");
  const ThreadCount thread_count(threads);
  const Data<T> d = make_data<T>(p, kN, layout, weighted, seed);
  const Oracle all = make_oracle(d), first = make_oracle(d, 0, kHalf);
  const double total_tol = std::is_same_v<T, double> ? 1e-14 : 1e-6;

  Slots<T> one(p);
  T one_totals[4] = {0, 0, 0, 0};
  {
    Task<T> task(d);
    task.attach(one, closure_of(req));
    task.set_accumulated_weights(one_totals);
    ASSERT_EQ(task.compute(req, method), SS_STATUS_OK);
  }

  Slots<T> two(p, 1);
  T two_totals[4] = {0, 0, 0, 0};
  HalvesTask<T> halves(d);
  halves.task().attach(two, closure_of(req));
  halves.task().set_accumulated_weights(two_totals);
  ASSERT_EQ(halves.task().compute(req, method), SS_STATUS_OK);
  {
    SCOPED_TRACE("after the first half");
    expect_oracle(two, checked_fields(req), ignored_fields(req), first, {});
    expect_totals(two_totals, first, total_tol);
  }
  halves.move_to_second_half();
  ASSERT_EQ(halves.task().compute(req, method), SS_STATUS_OK);

  expect_oracle(one, checked_fields(req), ignored_fields(req), all, {});
  expect_oracle(two, checked_fields(req), ignored_fields(req), all, {});
  expect_same(two, one, checked_fields(req), all, {}, continuation_tolerance<T>(threads, method));
  expect_totals(one_totals, all, total_tol);
  expect_totals(two_totals, all, total_tol);
}

constexpr FieldSet kMomentsAndCov = kM | kR2 | kR3 | kR4 | bit(kCov);

TEST(SsBasicOnline, HalvesEqualOneCompute) {
  uint64_t seed = 100;
  for (int64_t p : {7, 33})
    for (int layout : {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS})
      for (bool weighted : {false, true})
        for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST})
          for (FieldSet req : {kMomentsAndCov, bit(kCor), kAllFields})
            for (int64_t threads : {1, 4}) {
              continuation_equals_one_compute<double>(p, layout, weighted, method, req, threads,
                                                      ++seed);
              continuation_equals_one_compute<float>(p, layout, weighted, method, req, threads,
                                                     ++seed);
            }
}

// Without the accumulated-weights field the second compute sees only the
// second half.
template <class T>
void no_totals_no_continuation(int64_t p, int layout, int method) {
  SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << p << " "
                                    << layout_name(layout) << " " << method_name(method));
  const Data<T> d = make_data<T>(p, kN, layout, true, 300 + p);
  const Oracle second = make_oracle(d, kHalf, kN);
  Slots<T> slots(p);
  HalvesTask<T> halves(d);
  halves.task().attach(slots, closure_of(kAllFields));
  ASSERT_EQ(halves.task().compute(kAllFields, method), SS_STATUS_OK);
  halves.move_to_second_half();
  ASSERT_EQ(halves.task().compute(kAllFields, method), SS_STATUS_OK);
  expect_oracle(slots, kAllFields, 0, second, {});
}

TEST(SsBasicOnline, WithoutTotalsEveryComputeStartsAfresh) {
  for (int64_t p : {7, 33})
    for (int layout : {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS})
      for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST}) {
        no_totals_no_continuation<double>(p, layout, method);
        no_totals_no_continuation<float>(p, layout, method);
      }
}

// Zero totals start afresh even when the arrays hold an earlier compute's
// estimates (of a data set with a very different mean).
template <class T>
void zero_totals_ignore_old_estimates(int64_t p, int method) {
  SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << p << " "
                                    << method_name(method));
  const Data<T> old = make_data<T>(p, 500, SS_MATRIX_STORAGE_COLS, true, 400, 5000.0);
  const Data<T> d = make_data<T>(p, 800, SS_MATRIX_STORAGE_COLS, true, 401);
  Slots<T> slots(p);
  T totals[4] = {0, 0, 0, 0};
  Task<T> task(old);
  task.attach(slots, kAllFields);
  task.set_accumulated_weights(totals);
  ASSERT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
  for (T& t : totals) t = 0;
  task.set_observations(d.x.data(), d.w.data(), d.n);
  ASSERT_EQ(task.compute(kAllFields, method), SS_STATUS_OK);
  const Oracle o = make_oracle(d);
  expect_oracle(slots, kAllFields, 0, o, {});
  expect_totals(totals, o, std::is_same_v<T, double> ? 1e-14 : 1e-6);
}

TEST(SsBasicOnline, ZeroTotalsIgnoreOldEstimates) {
  for (int64_t p : {7, 33})
    for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST}) {
      zero_totals_ignore_old_estimates<double>(p, method);
      zero_totals_ignore_old_estimates<float>(p, method);
    }
}

}  // namespace
}  // namespace ss_test
