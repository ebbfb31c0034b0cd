// Covariance and correlation storage: full, upper packed, lower packed, a
// null storage field (full) and both packing bits (lower wins); only the
// elements of the chosen layout are written.
#include <gtest/gtest.h>

#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

struct StorageCase {
  const char* what;
  Storage cov, cor;
};

const StorageCase kStorageCases[] = {
    {"null fields", Storage{}, Storage{}},
    {"full, full", storage_code(SS_MATRIX_STORAGE_FULL), storage_code(SS_MATRIX_STORAGE_FULL)},
    {"upper, lower", storage_code(SS_MATRIX_STORAGE_U_PACKED),
     storage_code(SS_MATRIX_STORAGE_L_PACKED)},
    {"lower, upper", storage_code(SS_MATRIX_STORAGE_L_PACKED),
     storage_code(SS_MATRIX_STORAGE_U_PACKED)},
    {"both bits, full", storage_code(3), storage_code(SS_MATRIX_STORAGE_FULL)},
    {"full, both bits", storage_code(SS_MATRIX_STORAGE_FULL), storage_code(3)},
};

template <class T>
void storages_match_the_oracle() {
  uint64_t seed = 40;
  for (int64_t p : {2, 7, 33})
    for (int layout : {SS_MATRIX_STORAGE_ROWS, SS_MATRIX_STORAGE_COLS}) {
      const Data<T> d = make_data<T>(p, 500, layout, layout == SS_MATRIX_STORAGE_COLS, ++seed);
      const Oracle o = make_oracle(d);
      for (int method : {SS_METHOD_1PASS, SS_METHOD_FAST})
        for (const StorageCase& c : kStorageCases)
          for (FieldSet req : {bit(kCov), bit(kCor), bit(kCov) | bit(kCor)}) {
            SCOPED_TRACE(::testing::Message()
                         << precision_name<T>() << " p=" << p << " " << layout_name(layout)
                         << " " << method_name(method) << " storage " << c.what << " request "
                         << field_names(req));
            Expect e;
            e.cov_storage = c.cov;
            e.cor_storage = c.cor;
            Slots<T> slots(p, p % 2);
            ASSERT_EQ(compute_into(slots, d, req, method, e, int(seed % 2)), SS_STATUS_OK);
            expect_oracle(slots, req | bit(kMean), 0, o, e);
          }
    }
}

TEST(SsBasicStorage, PackedAndFullDouble) { storages_match_the_oracle<double>(); }
TEST(SsBasicStorage, PackedAndFullSingle) { storages_match_the_oracle<float>(); }

// The packing formulas on a small case written out by hand: p = 3, upper
// packed holds (0,0) (0,1) (1,1) (0,2) (1,2) (2,2); lower packed holds
// (0,0) (1,0) (2,0) (1,1) (2,1) (2,2).
TEST(SsBasicStorage, PackedOrderOfThree) {
  const Data<double> d = make_data<double>(3, 50, SS_MATRIX_STORAGE_COLS, false, 9);
  const Oracle o = make_oracle(d);
  const int upper[6][2] = {{0, 0}, {0, 1}, {1, 1}, {0, 2}, {1, 2}, {2, 2}};
  const int lower[6][2] = {{0, 0}, {1, 0}, {2, 0}, {1, 1}, {2, 1}, {2, 2}};
  Expect e;
  e.cov_storage = storage_code(SS_MATRIX_STORAGE_U_PACKED);
  e.cor_storage = storage_code(SS_MATRIX_STORAGE_L_PACKED);
  Slots<double> slots(3);
  ASSERT_EQ(compute_into(slots, d, bit(kCov) | bit(kCor), SS_METHOD_1PASS, e), SS_STATUS_OK);
  for (int e6 = 0; e6 < 6; ++e6) {
    EXPECT_NEAR(slots.at(kCov, e6), double(o.cov(upper[e6][0], upper[e6][1])), 1e-13) << e6;
    EXPECT_NEAR(slots.at(kCor, e6), double(o.value(kCor, lower[e6][0], lower[e6][1])), 1e-13)
        << e6;
  }
  for (int e9 = 6; e9 < 9; ++e9) {
    EXPECT_EQ(slots.at(kCov, e9), Slots<double>::kSentinel);
    EXPECT_EQ(slots.at(kCor, e9), Slots<double>::kSentinel);
  }
}

}  // namespace
}  // namespace ss_test
