// Cell search through the dispatcher: every method against std::upper_bound
// on random partitions and sites of every kind, inline (31 sites) and
// threaded (32 and 40000 sites) on 1..8 threads, 32- and 64-bit cells, both
// precisions; the sorted method on unsorted sites; the method choice's
// statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "search_fixtures.h"

namespace search_test {
namespace {

enum class Peak { kNone, kFirst, kMiddle, kLast };

struct MethodCase {
  const char* what;
  int64_t xhint;
  int64_t sitehint;
  double hint_kind;  // datahint[1]; negative: no datahint
  Peak peak;
  bool callback;
};

// Lead to methods 0..6 in turn (and the hybrid by two more roads).
const MethodCase kMethodCases[] = {
    {"uniform", DF_UNIFORM_PARTITION, 0, -1, Peak::kNone, false},
    {"quasi-uniform", DF_QUASI_UNIFORM_PARTITION, 0, -1, Peak::kNone, false},
    {"sorted", DF_NO_HINT, DF_SORTED_DATA, -1, Peak::kNone, false},
    {"peak at 0", DF_NO_HINT, 0, 1.0, Peak::kFirst, false},
    {"peak in the middle", DF_NON_UNIFORM_PARTITION, 0, 1.0, Peak::kMiddle, false},
    {"peak at nx", DF_NO_HINT, 0, 1.0, Peak::kLast, false},
    {"hybrid", DF_NO_HINT, 0, -1, Peak::kNone, false},
    {"hybrid, non-uniform hint, datahint kind 0", DF_NON_UNIFORM_PARTITION, 0, 0.0, Peak::kNone, false},
    {"user-defined, library cells", DF_NO_HINT, 0, -1, Peak::kNone, true},
    {"user-defined uniform, library cells", DF_UNIFORM_PARTITION, 0, -1, Peak::kNone, true},
};

// A callback that counts its calls and leaves every site to the library.
template <class T>
int count_and_pass(int64_t*, const T*, int64_t*, int32_t*, const void* params) {
  ++*static_cast<int64_t*>(const_cast<void*>(params));
  return 0;
}

template <class T>
void check_every_method() {
  std::mt19937_64 rng(20250611);
  for (const int64_t nx : {2, 3, 20, 21, 22, 41, 1000}) {
    for (const MethodCase& m : kMethodCases) {
      const bool uniform = m.xhint == DF_UNIFORM_PARTITION;
      const Knots<T> knots = uniform ? dyadic_knots<T>(nx) : random_knots<T>(nx, rng);
      // A uniform task holds only the ends of its partition.
      const std::vector<T> x = uniform ? std::vector<T>{knots.front(), knots.back()} : knots;
      const int64_t peak = m.peak == Peak::kFirst ? 0 : m.peak == Peak::kMiddle ? nx / 2 : nx;
      const T datahint[5] = {0, static_cast<T>(m.hint_kind), 0, 0, static_cast<T>(peak)};
      for (const int64_t nsite : {31, 32, 40000}) {
        std::vector<T> sites = mixed_sites(knots, nsite, rng);
        if (m.sitehint == DF_SORTED_DATA) {  // ascending, NaN sites left in place
          std::vector<T> finite;
          for (T s : sites)
            if (!std::isnan(s)) finite.push_back(s);
          std::sort(finite.begin(), finite.end());
          for (size_t i = 0, j = 0; i < sites.size(); ++i)
            if (!std::isnan(sites[i])) sites[i] = finite[j++];
        }
        const std::vector<int64_t> expected = reference_cells(knots, sites);
        for (const int threads : nsite > 32 ? std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8} : std::vector<int>{8}) {
          ThreadCount count(threads);
          for (const uint32_t width : {0u, 1u}) {
            SCOPED_TRACE(std::string(m.what) + ", nx " + std::to_string(nx) + ", sites " +
                         std::to_string(nsite) + ", threads " + std::to_string(threads) +
                         ", index width " + std::to_string(width));
            TaskPtr task = new_task<T>(x.data(), nx, m.xhint, width);
            Cells cells(width != 0, sites.size());
            int64_t calls = 0;
            ASSERT_EQ(search<T>(task.get(), sites, m.sitehint, m.hint_kind < 0 ? nullptr : datahint,
                                cells, m.callback ? &count_and_pass<T> : nullptr, &calls),
                      DF_STATUS_OK);
            ASSERT_EQ(cells.values(), expected);
            EXPECT_EQ(calls, m.callback ? (nsite + 127) / 128 : 0);
          }
        }
      }
    }
  }
}

TEST(DfSearch, EveryMethodGivesTheUpperBoundCellDouble) { check_every_method<double>(); }
TEST(DfSearch, EveryMethodGivesTheUpperBoundCellFloat) { check_every_method<float>(); }

// Unsorted sites under the sorted hint: cells never go back below an earlier
// one, and the threaded shares stitch to the single-thread answer.
template <class T>
void check_sorted_hint_on_unsorted_sites() {
  std::mt19937_64 rng(7);
  for (const int64_t nx : {2, 50, 1000}) {
    const Knots<T> knots = random_knots<T>(nx, rng);
    TaskPtr task = new_task<T>(knots.data(), nx, DF_NO_HINT, 1);
    for (const int64_t nsite : {31, 40000}) {
      std::vector<T> sites = mixed_sites(knots, nsite, rng);
      // Mostly ascending with drops, so that shares carry indices forward.
      std::sort(sites.begin() + nsite / 3, sites.end(), [](T a, T b) { return a < b; });
      const std::vector<int64_t> expected = carried_cells(knots, sites, 0);
      for (int threads = 1; threads <= 8; ++threads) {
        SCOPED_TRACE("nx " + std::to_string(nx) + ", sites " + std::to_string(nsite) +
                     ", threads " + std::to_string(threads));
        ThreadCount count(threads);
        Cells cells(true, sites.size());
        ASSERT_EQ(search<T>(task.get(), sites, DF_SORTED_DATA, nullptr, cells), DF_STATUS_OK);
        ASSERT_EQ(cells.values(), expected);
      }
    }
  }
}

TEST(DfSearch, SortedHintOnUnsortedSitesKeepsCarriedIndexDouble) {
  check_sorted_hint_on_unsorted_sites<double>();
}
TEST(DfSearch, SortedHintOnUnsortedSitesKeepsCarriedIndexFloat) {
  check_sorted_hint_on_unsorted_sites<float>();
}

// The same sites through the inline path (31 at a time) and threaded whole.
TEST(DfSearch, InlineAndThreadedPathsAgree) {
  std::mt19937_64 rng(99);
  const Knots<double> knots = random_knots<double>(300, rng);
  const std::vector<double> sites = mixed_sites(knots, 31 * 400, rng);
  ThreadCount count(4);
  for (const int64_t xhint : {DF_NO_HINT, DF_QUASI_UNIFORM_PARTITION}) {
    TaskPtr task = new_task<double>(knots.data(), 300, xhint, 0);
    Cells whole(false, sites.size());
    ASSERT_EQ(search<double>(task.get(), sites, 0, nullptr, whole), DF_STATUS_OK);
    std::vector<int64_t> pieces;
    for (size_t i = 0; i < sites.size(); i += 31) {
      const std::vector<double> piece(sites.begin() + static_cast<long>(i), sites.begin() + static_cast<long>(i + 31));
      Cells cells(false, 31);
      ASSERT_EQ(search<double>(task.get(), piece, 0, nullptr, cells), DF_STATUS_OK);
      for (int64_t c : cells.values()) pieces.push_back(c);
    }
    EXPECT_EQ(whole.values(), pieces);
  }
}

struct StatusCase {
  const char* what;
  int64_t xhint, sitehint;
  bool has_datahint;
  double kind, peak;
  bool callback;
  int status;
};

int pass_all(int64_t*, const double*, int64_t*, int32_t*, const void*) { return 0; }

TEST(DfSearch, MethodChoiceStatuses) {
  constexpr int64_t nx = 10;
  const double nan = std::nan("");
  const StatusCase cases[] = {
      {"peak index nx accepted", DF_NO_HINT, 0, true, 1.0, nx, false, DF_STATUS_OK},
      {"peak index 0 accepted", DF_NO_HINT, 0, true, 1.0, 0, false, DF_STATUS_OK},
      {"peak index nx + 1", DF_NO_HINT, 0, true, 1.0, nx + 1, false, DF_ERR_BAD_PEAK_HINT},
      {"peak index -1", DF_NO_HINT, 0, true, 1.0, -1, false, DF_ERR_BAD_PEAK_HINT},
      {"peak index NaN", DF_NO_HINT, 0, true, 1.0, nan, false, DF_ERR_BAD_PEAK_HINT},
      {"hint kind 2.0", DF_NO_HINT, 0, true, 2.0, 3, false, DF_ERR_BAD_PEAK_HINT},
      {"hint kind NaN", DF_NO_HINT, 0, true, nan, 3, false, DF_ERR_BAD_PEAK_HINT},
      {"hint kind 0 ignores the peak", DF_NO_HINT, 0, true, 0.0, nx + 5, false, DF_STATUS_OK},
      {"no datahint", DF_NO_HINT, 0, false, 0, 0, false, DF_STATUS_OK},
      // Earlier rules win: the datahint is not looked at.
      {"sorted sites first", DF_NO_HINT, DF_SORTED_DATA, true, 2.0, 0, false, DF_STATUS_OK},
      {"quasi-uniform first", DF_QUASI_UNIFORM_PARTITION, 0, true, 2.0, 0, false, DF_STATUS_OK},
      {"uniform first", DF_UNIFORM_PARTITION, 0, true, 1.0, nx + 1, false, DF_STATUS_OK},
      {"callback first", DF_NO_HINT, DF_SORTED_DATA, true, 2.0, 0, true, DF_STATUS_OK},
  };
  std::vector<double> x;
  for (int64_t i = 0; i < nx; ++i) x.push_back(static_cast<double>(i));
  const std::vector<double> sites = {-1, 0, 4.5, 9, 20};
  for (const StatusCase& c : cases) {
    SCOPED_TRACE(c.what);
    const double ends[2] = {0, nx - 1};  // a uniform task holds only the ends
    TaskPtr task = new_task<double>(c.xhint == DF_UNIFORM_PARTITION ? ends : x.data(), nx, c.xhint, 1);
    const double datahint[5] = {0, c.kind, 0, 0, c.peak};
    Cells cells(true, sites.size());
    EXPECT_EQ(search<double>(task.get(), sites, c.sitehint, c.has_datahint ? datahint : nullptr,
                             cells, c.callback ? &pass_all : nullptr),
              c.status);
    const std::vector<int64_t> untouched(sites.size(), -77);
    EXPECT_EQ(cells.values(), c.status == DF_STATUS_OK ? reference_cells(x, sites) : untouched);
  }
}

TEST(DfSearch, NullTaskAndNoSites) {
  const std::vector<double> sites = {1.0};
  const std::vector<float> fsites = {1.0f};
  Cells cells(true, 1);
  EXPECT_EQ(search<double>(nullptr, sites, 0, nullptr, cells), DF_ERR_NULL_TASK);
  EXPECT_EQ(search<float>(nullptr, fsites, 0, nullptr, cells), DF_ERR_NULL_TASK);
  const double x[2] = {0, 1};
  TaskPtr task = new_task<double>(x, 2, DF_NO_HINT, 1);
  EXPECT_EQ(orx_df_kernel_dDFSearch1D(task.get(), nullptr, 0, sites.data(), 0, nullptr,
                                      cells.data(), nullptr, nullptr, orx_host_services()),
            DF_STATUS_OK);
  EXPECT_EQ(cells.values(), std::vector<int64_t>{-77});
  // Without a service table the threaded path runs on the calling thread.
  const std::vector<double> many(100, 0.5);
  Cells out(true, many.size());
  EXPECT_EQ(search<double>(task.get(), many, 0, nullptr, out, nullptr, nullptr, nullptr), DF_STATUS_OK);
  EXPECT_EQ(out.values(), std::vector<int64_t>(many.size(), 1));
}

}  // namespace
}  // namespace search_test
