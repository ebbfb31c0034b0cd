// Statuses of the basic compute: the dependency closure (lowest missing array
// wins), the order of the checks, and that a failing compute writes nothing,
// allocation failures included.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "orx/host.h"
#include "tests/ss/basic_harness.h"

namespace ss_test {
namespace {

struct MissingCase {
  const char* what;
  FieldSet requested, provided;
  int status;
};

constexpr FieldSet kAllRaw = kR2 | kR3 | kR4;

const MissingCase kMissingCases[] = {
    {"skewness with only its own array", bit(kSkew), bit(kSkew), SS_ERR_BAD_MEAN_ADDR},
    {"kurtosis without central moment 2", bit(kKurt), kM | kAllRaw | kC4 | bit(kKurt),
     SS_ERR_BAD_2C_MOM_ADDR},
    {"kurtosis without central moment 4", bit(kKurt), kM | kAllRaw | kC2 | bit(kKurt),
     SS_ERR_BAD_4C_MOM_ADDR},
    {"kurtosis without raw moment 3", bit(kKurt), kM | kR2 | kR4 | kC2 | kC4 | bit(kKurt),
     SS_ERR_BAD_3R_MOM_ADDR},
    {"kurtosis without its own array", bit(kKurt), kM | kAllRaw | kC2 | kC4,
     SS_ERR_BAD_KURTOSIS_ADDR},
    {"skewness without raw moment 2", bit(kSkew), kM | kR3 | kC2 | kC3 | bit(kSkew),
     SS_ERR_BAD_2R_MOM_ADDR},
    {"skewness without central moment 3", bit(kSkew), kM | kR2 | kR3 | kC2 | bit(kSkew),
     SS_ERR_BAD_3C_MOM_ADDR},
    {"skewness needs no raw moment 4", bit(kSkew), kM | kR2 | kR3 | kC2 | kC3 | bit(kSkew),
     SS_STATUS_OK},
    {"variation without central moment 2", bit(kVar), kM | kR2 | bit(kVar),
     SS_ERR_BAD_2C_MOM_ADDR},
    {"variation needs no raw moment 3", bit(kVar), kM | kR2 | kC2 | bit(kVar), SS_STATUS_OK},
    {"correlation without mean", bit(kCor), bit(kCor), SS_ERR_BAD_MEAN_ADDR},
    {"covariance with mean but no covariance", bit(kCov), kM, SS_ERR_BAD_COV_ADDR},
    {"covariance and correlation, neither array", bit(kCov) | bit(kCor), kM,
     SS_ERR_BAD_COV_ADDR},
    {"correlation missing beside covariance", bit(kCov) | bit(kCor), kM | bit(kCov),
     SS_ERR_BAD_COR_ADDR},
    {"raw moment 2 needs no mean", bit(kRaw2), kR2, SS_STATUS_OK},
    {"raw moment 3 with no array at all", bit(kRaw3), 0, SS_ERR_BAD_3R_MOM_ADDR},
    {"raw moment 4 needs no raw moment 2", bit(kRaw4), kM | kR4, SS_STATUS_OK},
    {"central moment 4 without raw moment 2", bit(kCen4), kM | kR3 | kR4 | kC4,
     SS_ERR_BAD_2R_MOM_ADDR},
    {"central moment 3 without its own array", bit(kCen3), kM | kR2 | kR3,
     SS_ERR_BAD_3C_MOM_ADDR},
    {"covariance before kurtosis", bit(kKurt) | bit(kCov), kM | kAllRaw | kC2 | kC4,
     SS_ERR_BAD_COV_ADDR},
    {"correlation before skewness", bit(kSkew) | bit(kCor), kM | kR2 | kR3 | kC2 | kC3,
     SS_ERR_BAD_COR_ADDR},
    {"kurtosis before skewness", bit(kSkew) | bit(kKurt),
     kM | kAllRaw | kC2 | kC3 | kC4 | bit(kVar), SS_ERR_BAD_KURTOSIS_ADDR},
    {"skewness before variation", bit(kSkew) | bit(kVar), kM | kR2 | kR3 | kC2 | kC3,
     SS_ERR_BAD_SKEWNESS_ADDR},
    {"central moment 4 before covariance", bit(kCen4) | bit(kCov), kM | kAllRaw,
     SS_ERR_BAD_4C_MOM_ADDR},
    {"everything, nothing given", kAllFields, 0, SS_ERR_BAD_MEAN_ADDR},
};

// Accumulated weights set to distinct values that a compute would change.
template <class T>
struct Totals {
  T v[4] = {T(0.5), T(0.25), T(0.125), T(0.0625)};
  bool unchanged() const {
    return v[0] == T(0.5) && v[1] == T(0.25) && v[2] == T(0.125) && v[3] == T(0.0625);
  }
};

// "" when a compute gave `expected` and, failing, left every array and the
// totals alone; else what went wrong.
template <class T>
std::string outcome_fault(int got, int expected, const Slots<T>& slots, const Totals<T>& totals) {
  std::ostringstream fault;
  if (got != expected) fault << "status " << got << ", expected " << expected << "; ";
  if (got != SS_STATUS_OK) {
    for (int f = 0; f < kFieldCount; ++f)
      if (!slots.all_sentinel(Field(f))) fault << kFields[f].name << " written on failure; ";
    if (!totals.unchanged()) fault << "totals written on failure; ";
  }
  return fault.str();
}

// One compute of `requested` with arrays for `provided` only; "" when it
// gives `status` and, failing, leaves every array and the totals alone.
template <class T>
std::string missing_case_fault(const Data<T>& d, FieldSet requested, FieldSet provided,
                               int status, int method) {
  Slots<T> slots(d.p);
  Totals<T> totals;
  Task<T> task(d);
  if (task.created() != SS_STATUS_OK) return "task not created";
  task.attach(slots, provided);
  task.set_accumulated_weights(totals.v);
  return outcome_fault(task.compute(requested, method), status, slots, totals);
}

TEST(SsBasicStatus, LowestMissingArrayWins) {
  const Data<double> d = make_data<double>(3, 40, SS_MATRIX_STORAGE_ROWS, true, 1);
  const Data<float> s = make_data<float>(3, 40, SS_MATRIX_STORAGE_COLS, false, 2);
  for (const MissingCase& c : kMissingCases) {
    EXPECT_EQ(missing_case_fault(d, c.requested, c.provided, c.status, SS_METHOD_1PASS), "")
        << c.what << ", double";
    EXPECT_EQ(missing_case_fault(s, c.requested, c.provided, c.status, SS_METHOD_FAST), "")
        << c.what << ", single";
  }
}

// Every single request against every subset of arrays, checked against the
// dependency closure and the order of reports the compute documents.
TEST(SsBasicStatus, EverySingleRequestAgainstEverySubsetOfArrays) {
  const Data<double> d = make_data<double>(2, 6, SS_MATRIX_STORAGE_COLS, false, 3);
  int faults = 0, cases = 0;
  std::ostringstream first;
  for (int f = 0; f < kFieldCount; ++f) {
    const FieldSet requested = bit(Field(f));
    const FieldSet outside = kAllFields & ~closure_of(requested);
    for (FieldSet provided = 0; provided <= kAllFields; ++provided) {
      // Arrays outside the closure change nothing: all of them or none.
      if ((provided & outside) != 0 && (provided & outside) != outside) continue;
      ++cases;
      const std::string fault = missing_case_fault(
          d, requested, provided, expected_missing_status(requested, provided), SS_METHOD_1PASS);
      if (!fault.empty() && ++faults <= 8)
        first << "\n  request " << kFields[f].name << ", arrays " << field_names(provided)
              << ": " << fault;
    }
  }
  EXPECT_EQ(faults, 0) << "of " << cases << " cases" << first.str();
}

// Checks in order: storage, arrays, method, dimension, count, observations.
struct OrderCase {
  const char* what;
  bool storage_null;
  int64_t storage, p, n;
  bool dimension_null, count_null, observations;
  FieldSet provided;
  int method, status;
};

constexpr int kRows = SS_MATRIX_STORAGE_ROWS;
constexpr FieldSet kMC = kM | bit(kCov);

const OrderCase kOrderCases[] = {
    {"storage field null", true, kRows, 3, 9, false, false, true, kMC, 2,
     SS_ERR_BAD_STORAGE_ADDR},
    {"storage null before a missing mean", true, kRows, 3, 9, false, false, true, 0, 0,
     SS_ERR_BAD_STORAGE_ADDR},
    {"storage code 0", false, 0, 3, 9, false, false, true, kMC, 2,
     SS_ERR_STORAGE_NOT_SUPPORTED},
    {"storage code without a layout bit", false, 0x40000, 3, 9, false, false, true, kMC, 2,
     SS_ERR_STORAGE_NOT_SUPPORTED},
    {"storage code 1", false, 1, 3, 9, false, false, true, kMC, 2,
     SS_ERR_STORAGE_NOT_SUPPORTED},
    {"bad storage before a missing mean", false, 7, 3, 9, false, false, true, 0, 2,
     SS_ERR_STORAGE_NOT_SUPPORTED},
    {"missing covariance before bad method", false, kRows, 3, 9, false, false, true, kM, 0,
     SS_ERR_BAD_COV_ADDR},
    {"method 0", false, kRows, 3, 9, false, false, true, kMC, 0, SS_ERR_METHOD_NOT_SUPPORTED},
    {"method 4", false, kRows, 3, 9, false, false, true, kMC, 4, SS_ERR_METHOD_NOT_SUPPORTED},
    {"method 8", false, kRows, 3, 9, false, false, true, kMC, 8, SS_ERR_METHOD_NOT_SUPPORTED},
    {"bad method before p = 0", false, kRows, 0, 9, false, false, true, kMC, 4,
     SS_ERR_METHOD_NOT_SUPPORTED},
    {"p = 0", false, kRows, 0, 9, false, false, true, kMC, 2, SS_ERR_BAD_DIMEN},
    {"p = -2", false, kRows, -2, 9, false, false, true, kMC, 1, SS_ERR_BAD_DIMEN},
    {"dimension pointer null", false, kRows, 3, 9, true, false, true, kMC, 2,
     SS_ERR_BAD_DIMEN},
    {"p = 0 before n = 0", false, kRows, 0, 0, false, false, true, kMC, 2, SS_ERR_BAD_DIMEN},
    {"n = 0", false, kRows, 3, 0, false, false, true, kMC, 2, SS_ERR_BAD_OBSERV_N},
    {"n = -1", false, kRows, 3, -1, false, false, true, kMC, 1, SS_ERR_BAD_OBSERV_N},
    {"count pointer null", false, kRows, 3, 9, false, true, true, kMC, 2, SS_ERR_BAD_OBSERV_N},
    {"n = 0 before null observations", false, kRows, 3, 0, false, false, false, kMC, 2,
     SS_ERR_BAD_OBSERV_N},
    {"null observations", false, kRows, 3, 9, false, false, false, kMC, 2,
     SS_ERR_BAD_OBSERV_ADDR},
    {"all well, method 3", false, kRows, 3, 9, false, false, true, kMC, 3, SS_STATUS_OK},
    {"all well, method 5", false, kRows, 3, 9, false, false, true, kMC, 5, SS_STATUS_OK},
};

template <class T>
void run_order_cases(int width) {
  const Data<T> d = make_data<T>(3, 9, SS_MATRIX_STORAGE_ROWS, false, 4);
  for (const OrderCase& c : kOrderCases) {
    Slots<T> slots(3);
    Totals<T> totals;
    Task<T> task(d, width, nullptr, c.observations);
    ASSERT_EQ(task.created(), SS_STATUS_OK);
    task.attach(slots, c.provided);
    task.set_accumulated_weights(totals.v);
    task.storage().set(c.storage);
    task.p().set(c.p);
    task.n().set(c.n);
    if (c.storage_null) task.get()->storage = nullptr;
    if (c.dimension_null) task.get()->dimension = nullptr;
    if (c.count_null) task.get()->observation_count = nullptr;
    const int got = task.compute(bit(kCov), c.method);
    EXPECT_EQ(outcome_fault(got, c.status, slots, totals), "")
        << c.what << ", " << precision_name<T>() << ", width " << width;
    if (got == SS_STATUS_OK && c.status == SS_STATUS_OK) {
      EXPECT_FALSE(slots.all_sentinel(kCov)) << c.what;
    }
  }
}

TEST(SsBasicStatus, ChecksInOrder) {
  run_order_cases<double>(0);
  run_order_cases<double>(1);
  run_order_cases<float>(0);
  run_order_cases<float>(1);
}

// A task created without observations and without a storage field, then
// given observations: the compute reports the missing storage.
TEST(SsBasicStatus, StorageNeverGiven) {
  const Data<double> d = make_data<double>(2, 10, SS_MATRIX_STORAGE_ROWS, false, 5);
  const int32_t p = 2, n = 10;
  SummaryStatsTask* task = nullptr;
  ASSERT_EQ(__vsldSSNewTask(&task, &p, &n, nullptr, nullptr, nullptr, nullptr, 0),
            SS_STATUS_OK);
  Slots<double> slots(2);
  ASSERT_EQ(__vsldSSEditTask(task, SS_ED_OBSERV, d.x.data()), SS_STATUS_OK);
  ASSERT_EQ(__vsldSSEditTask(task, SS_ED_MEAN, slots.ptr(kMean)), SS_STATUS_OK);
  EXPECT_EQ(_vsldSSBasic(task, SS_MEAN, SS_METHOD_1PASS), SS_ERR_BAD_STORAGE_ADDR);
  EXPECT_TRUE(slots.all_sentinel(kMean));
  __vslSSDeleteTask(&task);
}

// Allocation failures: the k-th allocation of the compute fails, for every k
// until the compute makes fewer than k; each failure gives -4000 and leaves
// every array and the totals as they were. The compute that finally
// succeeds matches the oracle.
template <class T>
void allocation_failures(int64_t p, int64_t n, int method, int64_t threads) {
  SCOPED_TRACE(::testing::Message() << precision_name<T>() << " p=" << p << " n=" << n << " "
                                    << method_name(method) << " threads " << threads);
  const Data<T> d = make_data<T>(p, n, SS_MATRIX_STORAGE_COLS, true, 6);
  const Oracle o = make_oracle(d);
  set_host_threads(threads);
  bool failed_once = false;
  for (int64_t k = 1; k <= 64; ++k) {
    SCOPED_TRACE(::testing::Message() << "allocation " << k << " fails");
    Slots<T> slots(p);
    T totals[4] = {0, 0, 0, 0};
    Task<T> task(d);
    ASSERT_EQ(task.created(), SS_STATUS_OK);
    task.attach(slots, kAllFields);
    task.set_accumulated_weights(totals);
    orx_host_test_fail_allocation(k);
    const int status = task.compute(kAllFields, method);
    orx_host_test_fail_allocation(0);
    if (status == SS_STATUS_OK) {
      expect_oracle(slots, kAllFields, 0, o, {});
      break;
    }
    failed_once = true;
    EXPECT_EQ(status, SS_ERR_ALLOC);
    for (int f = 0; f < kFieldCount; ++f)
      EXPECT_TRUE(slots.all_sentinel(Field(f))) << kFields[f].name << " written on failure";
    for (T t : totals) EXPECT_EQ(t, T(0));
  }
  set_host_threads(0);
  EXPECT_TRUE(failed_once) << "the compute made no allocation";
}

TEST(SsBasicStatus, AllocationFailureWritesNothing) {
  allocation_failures<double>(33, 3000, SS_METHOD_FAST, 1);
  allocation_failures<double>(33, 3000, SS_METHOD_1PASS, 1);
  allocation_failures<double>(7, 20000, SS_METHOD_FAST, 4);
  allocation_failures<float>(33, 3000, SS_METHOD_FAST, 2);
}

}  // namespace
}  // namespace ss_test
