// The compute's paths agree: 1, 2 and 8 host threads; the fast method's
// kernel (p < 12) and BLAS (p >= 12) paths against the one-pass method;
// method words with extra bits; data with a mean far from zero.
#include <gtest/gtest.h>

#include <vector>

#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

struct ThreadCase {
  int64_t p;
  int layout;
  bool weighted;
};

template <class T>
void threads_agree(const ThreadCase& c, int method) {
  SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << c.p << " "
                                    << layout_name(c.layout)
                                    << (c.weighted ? " weighted " : " unweighted ")
                                    << method_name(method));
  const Data<T> d = make_data<T>(c.p, 200000, c.layout, c.weighted, 900 + c.p);
  const Oracle o = make_oracle(d);
  Slots<T> one(c.p);
  {
    ThreadCount threads(1);
    ASSERT_EQ(compute_into(one, d, kAllFields, method), SS_STATUS_OK);
  }
  expect_oracle(one, kAllFields, 0, o, {});
  const Tolerance same = std::is_same_v<T, double> ? Tolerance{1e-13, 1e-13, 1e-13}
                                                   : Tolerance{1e-6, 1e-6, 1e-6};
  for (int64_t k : {2, 8}) {
    SCOPED_TRACE(::testing::Message() << k << " threads");
    Slots<T> many(c.p, 1);
    ThreadCount threads(k);
    ASSERT_EQ(compute_into(many, d, kAllFields, method), SS_STATUS_OK);
    expect_same(many, one, kAllFields, o, {}, same);
  }
}

const ThreadCase kThreadCases[] = {
    {7, SS_MATRIX_STORAGE_ROWS, true},
    {7, SS_MATRIX_STORAGE_COLS, false},
    {33, SS_MATRIX_STORAGE_COLS, true},
    {33, SS_MATRIX_STORAGE_ROWS, false},
};

TEST(SsBasicPaths, ThreadCountsAgreeDouble) {
  for (const ThreadCase& c : kThreadCases)
    for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST}) threads_agree<double>(c, method);
}

TEST(SsBasicPaths, ThreadCountsAgreeSingle) {
  for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST})
    threads_agree<float>({7, SS_MATRIX_STORAGE_ROWS, true}, method);
}

// The fast method (kernel below p = 12, BLAS from 12 on) against the
// one-pass method, at the threshold and away from it.
TEST(SsBasicPaths, FastEqualsOnePass) {
  uint64_t seed = 1000;
  const Tolerance same{1e-12, 1e-12, 1e-12};
  for (int64_t p : {7, 11, 12, 33})
    for (int layout : {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS})
      for (bool weighted : {false, true}) {
        SCOPED_TRACE(::testing::Message() << "p=" << p << " " << layout_name(layout)
                                          << (weighted ? " weighted" : " unweighted"));
        const Data<double> d = make_data<double>(p, 3000, layout, weighted, ++seed);
        const Oracle o = make_oracle(d);
        Slots<double> fast(p, 1), onepass(p);
        ASSERT_EQ(compute_into(fast, d, kAllFields, SS_METHOD_FAST), SS_STATUS_OK);
        ASSERT_EQ(compute_into(onepass, d, kAllFields, SS_METHOD_1PASS), SS_STATUS_OK);
        expect_same(fast, onepass, kAllFields, o, {}, same);
        expect_oracle(fast, kAllFields, 0, o, {});
      }
}

// Bit 0x2 selects the one-pass method whatever else is set; bit 0x1 alone
// (other bits aside) the fast one. Same method, same thread count: the
// same bits.
TEST(SsBasicPaths, MethodWordBits) {
  ThreadCount threads(1);
  const Data<double> d = make_data<double>(13, 2000, SS_MATRIX_STORAGE_COLS, true, 1100);
  const struct {
    int method, same_as;
  } cases[] = {{3, SS_METHOD_1PASS}, {6, SS_METHOD_1PASS}, {7, SS_METHOD_1PASS},
               {0x12, SS_METHOD_1PASS}, {5, SS_METHOD_FAST}, {0x21, SS_METHOD_FAST}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "method " << c.method);
    Slots<double> got(13), ref(13);
    ASSERT_EQ(compute_into(got, d, kAllFields, c.method), SS_STATUS_OK);
    ASSERT_EQ(compute_into(ref, d, kAllFields, c.same_as), SS_STATUS_OK);
    for (int f = 0; f < kFieldCount; ++f)
      for (int64_t e = 0; e < got.capacity(Field(f)); ++e)
        ASSERT_EQ(got.at(Field(f), e), ref.at(Field(f), e)) << kFields[f].name << " " << e;
  }
}

// Mean 1e9, spread 1: the covariance and correlation come from sums about
// the running mean, so they keep their accuracy where raw sums would lose
// all of it. The fast method centres each block on the running mean (about
// 1e-9 relative); the one-pass update rounds W m + w x at every observation,
// so its running mean wanders (about 1e-7 relative).
TEST(SsBasicPaths, LargeOffsetKeepsTheCovariance) {
  uint64_t seed = 1200;
  for (int64_t p : {3, 33})
    for (int layout : {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS})
      for (bool weighted : {false, true})
        for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST}) {
          SCOPED_TRACE(::testing::Message() << "p=" << p << " " << layout_name(layout)
                                            << (weighted ? " weighted " : " unweighted ")
                                            << method_name(method));
          const double spread_tol = method == SS_METHOD_FAST ? 1e-8 : 1e-6;
          const Data<double> d = make_data<double>(p, 10000, layout, weighted, ++seed, 1e9);
          const Oracle o = make_oracle(d);
          const FieldSet req = bit(kCov) | bit(kCor);
          Slots<double> slots(p);
          ASSERT_EQ(compute_into(slots, d, req, method), SS_STATUS_OK);
          expect_oracle(slots, req | bit(kMean), 0, o, {}, {1e-13, spread_tol, spread_tol});
        }
}

}  // namespace
}  // namespace ss_test
