// The method kernels called directly: the sorted method's carried start
// index, the flag word's cell width, the uniform method's overlap fallback
// and huge partitions, the quasi-uniform guess landing on a knot, parameters
// out of range, and reads confined to the partition (guard pages).
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "search_fixtures.h"

namespace search_test {
namespace {

constexpr int64_t kWide = DF_SEARCH_WIDTH_GIVEN | DF_SEARCH_WIDTH_64;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct StartCase {
  const char* what;
  std::vector<double> sites;
  int64_t start;
  std::vector<int64_t> cells;
  int64_t start_out;
};

TEST(DfSearchKernels, SortedMethodCarriesTheStartIndex) {
  const double x[5] = {0, 1, 2, 3, 4};
  const StartCase cases[] = {
      {"from 0", {0.5, 2.5, 2.5, 4}, 0, {1, 3, 3, 5}, 5},
      {"start past the site", {0.5}, 4, {4}, 4},
      {"start past both", {-1, 1.5}, 3, {3, 3}, 3},
      {"start at nx", {-kInf}, 5, {5}, 5},
      {"a smaller site keeps the index", {3.5, 0.5, 2}, 0, {4, 4, 4}, 4},
      {"NaN gets 0 and keeps the index", {2.5, kNaN, 3.5}, 0, {3, 0, 4}, 4},
      {"negative start clamped", {0.5}, -3, {1}, 1},
      {"start beyond nx clamped", {0.5}, 9, {5}, 5},
  };
  for (const StartCase& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<int64_t> cells(c.sites.size(), -77);
    int64_t start = c.start;
    ASSERT_EQ(orx_df_kernel_dDFSortedSearch1D(5, x, static_cast<int64_t>(c.sites.size()), c.sites.data(),
                                              &start, nullptr, cells.data(), kWide, 0),
              0);
    EXPECT_EQ(cells, c.cells);
    EXPECT_EQ(start, c.start_out);
  }
}

// A long ascending sequence searched in pieces, carrying the index, equals
// the reference; in both families and widths.
template <class T, class Kernel>
void check_sorted_in_pieces(Kernel kernel) {
  std::mt19937_64 rng(5);
  const Knots<T> knots = random_knots<T>(500, rng);
  std::vector<T> sites = mixed_sites(knots, 5000, rng);
  sites.erase(std::remove_if(sites.begin(), sites.end(), [](T t) { return std::isnan(t); }), sites.end());
  std::sort(sites.begin(), sites.end());
  const std::vector<int64_t> expected = reference_cells(knots, sites);
  for (const bool wide : {false, true}) {
    Cells cells(wide, sites.size());
    int64_t start = 0;
    for (size_t i = 0; i < sites.size(); i += 37) {
      const auto n = static_cast<int64_t>(std::min<size_t>(37, sites.size() - i));
      void* out = wide ? static_cast<void*>(cells.c64.data() + i) : static_cast<void*>(cells.c32.data() + i);
      ASSERT_EQ(kernel(500, knots.data(), n, sites.data() + i, &start, nullptr, out,
                       DF_SEARCH_WIDTH_GIVEN | (wide ? DF_SEARCH_WIDTH_64 : 0), 0.0),
                0);
      ASSERT_EQ(start, expected[i + static_cast<size_t>(n) - 1]);
    }
    EXPECT_EQ(cells.values(), expected);
  }
}

TEST(DfSearchKernels, SortedSequenceInPieces) {
  check_sorted_in_pieces<double>(orx_df_kernel_dDFSortedSearch1D);
  check_sorted_in_pieces<float>(orx_df_kernel_sDFSortedSearch1D);
}

TEST(DfSearchKernels, FlagWordChoosesTheCellWidth) {
  const struct {
    int64_t flags;
    bool wide;
  } cases[] = {{0, true}, {1, true}, {2, false}, {3, true}, {6, false}, {7, true}, {4, true}};
  const double x[4] = {0, 1, 2, 3};
  const std::vector<double> sites = {-1, 0.5, 1.5, 2.5, 3, 9};
  const std::vector<int64_t> expected = {0, 1, 2, 3, 4, 4};
  for (const auto& c : cases) {
    SCOPED_TRACE("flags " + std::to_string(c.flags));
    std::vector<int64_t> buffer(sites.size(), INT64_C(0x7777777777777777));
    ASSERT_EQ(orx_df_kernel_dDFHybridSearch1D(4, x, 6, sites.data(), nullptr, nullptr, buffer.data(),
                                              c.flags, 0),
              0);
    if (c.wide) {
      EXPECT_EQ(buffer, expected);
    } else {
      std::vector<int32_t> narrow(6);
      std::memcpy(narrow.data(), buffer.data(), sizeof(int32_t) * 6);
      EXPECT_EQ(std::vector<int64_t>(narrow.begin(), narrow.end()), expected);
      EXPECT_EQ(buffer[3], INT64_C(0x7777777777777777));  // nothing past 6 int32 cells
    }
  }
}

// Cells overlapping the sites: the result of a plain loop that stores each
// cell before reading the next site (a two-wide vector step would read a
// site before the previous cell overwrote it).
template <class T, class Index, class Kernel>
void check_overlap(Kernel kernel, int64_t cell_offset_bytes, int64_t flags) {
  const int64_t nx = 9, n = 41;
  const Knots<T> knots = dyadic_knots<T>(nx);
  const T x[2] = {knots.front(), knots.back()};
  std::mt19937_64 rng(3);
  const std::vector<T> sites = mixed_sites(knots, n, rng);
  const size_t bytes = static_cast<size_t>(n) * sizeof(T) + static_cast<size_t>(n) * sizeof(Index) + 64;
  std::vector<unsigned char> ours(bytes + 128), theirs(bytes + 128);
  unsigned char* const base0 = ours.data() + 64;
  unsigned char* const base1 = theirs.data() + 64;
  std::memcpy(base0, sites.data(), sites.size() * sizeof(T));
  std::memcpy(base1, sites.data(), sites.size() * sizeof(T));
  for (int64_t i = 0; i < n; ++i) {  // the plain loop, on the second copy
    T t;
    std::memcpy(&t, base1 + i * static_cast<int64_t>(sizeof(T)), sizeof t);
    const auto c = static_cast<Index>(reference_cell(knots, t));
    std::memcpy(base1 + cell_offset_bytes + i * static_cast<int64_t>(sizeof(Index)), &c, sizeof c);
  }
  ASSERT_EQ(kernel(nx, x, n, reinterpret_cast<const T*>(base0), nullptr, nullptr,
                   base0 + cell_offset_bytes, flags, static_cast<double>(T(4))),
            0);
  EXPECT_EQ(ours, theirs);
}

TEST(DfSearchKernels, UniformFallsBackToScalarWhenCellsOverlapSites) {
  const int64_t narrow = DF_SEARCH_WIDTH_GIVEN;
  for (const int64_t offset : {0, 8, 16, -8, 24}) {
    SCOPED_TRACE("cells at sites + " + std::to_string(offset) + " bytes");
    check_overlap<double, int64_t>(orx_df_kernel_dDFUniformSearch1D, offset, kWide);
    check_overlap<double, int32_t>(orx_df_kernel_dDFUniformSearch1D, offset, narrow);
    check_overlap<float, int32_t>(orx_df_kernel_sDFUniformSearch1D, offset / 2, narrow);
    check_overlap<float, int64_t>(orx_df_kernel_sDFUniformSearch1D, offset, kWide);
  }
}

struct UniformCase {
  const char* what;
  int64_t nx;
  double site;
  int64_t cell;
};

// Partitions (0, nx - 1) with step 1, beyond the vector path's 2^30 knots:
// cells are exact integers, huge sites clamp to nx.
TEST(DfSearchKernels, UniformLargePartitionsAndExtremeSites) {
  const int64_t big = (INT64_C(1) << 40) + 1, edge = (INT64_C(1) << 30) + 1;
  const UniformCase cases[] = {
      {"just below the right end", 5, std::nextafter(4.0, 0.0), 4},
      {"on the left end", 5, 0, 1},
      {"minus zero", 5, -0.0, 1},
      {"huge", 5, 1e300, 5},
      {"max", 5, std::numeric_limits<double>::max(), 5},
      {"+inf", 5, kInf, 5},
      {"-inf", 5, -kInf, 0},
      {"NaN", 5, kNaN, 0},
      {"2^40 knots, inside", big, 34359738368.5, 34359738369},
      {"2^40 knots, just below the end", big, 1099511627775.5, 1099511627776},
      {"2^40 knots, on the end", big, 1099511627776.0, big},
      {"2^40 knots, huge", big, 1e300, big},
      {"2^30 + 1 knots, below the end", edge, 1073741823.5, 1073741824},
      {"2^30 + 1 knots, huge", edge, 1e30, edge},
      {"2^30 knots, below the end", edge - 1, 1073741822.5, 1073741823},
      {"2^30 knots, huge", edge - 1, 1e30, edge - 1},
  };
  for (const UniformCase& c : cases) {
    SCOPED_TRACE(c.what);
    const double x[2] = {0, static_cast<double>(c.nx - 1)};
    // Four copies: the vector loop and the scalar tail both see the site.
    const std::vector<double> sites(5, c.site);
    std::vector<int64_t> cells(5, -77);
    ASSERT_EQ(orx_df_kernel_dDFUniformSearch1D(c.nx, x, 5, sites.data(), nullptr, nullptr,
                                               cells.data(), kWide, 1.0),
              0);
    EXPECT_EQ(cells, std::vector<int64_t>(5, c.cell));
    // The user-defined uniform method's own search is the same formula.
    ASSERT_EQ(orx_df_kernel_dDFUniUserDefSearch1D(c.nx, x, 5, sites.data(), nullptr, nullptr,
                                                  cells.data(), kWide, 1.0),
              0);
    EXPECT_EQ(cells, std::vector<int64_t>(5, c.cell));
  }
}

TEST(DfSearchKernels, QuasiUniformSiteOnTheGuessedKnot) {
  // r = 4 / 4 = 1: a site t in [1, 2) is guessed in cell 2, whose knot x[2]
  // is 1: a site on it must count it.
  const double x[5] = {0, 0.5, 1, 3, 4};
  const std::vector<double> sites = {1, 0.5, 3, 2.9, 4, 0};
  std::vector<int64_t> cells(sites.size());
  ASSERT_EQ(orx_df_kernel_dDFQuasiUniformSearch1D(5, x, 6, sites.data(), nullptr, nullptr,
                                                  cells.data(), kWide, 1.0),
            0);
  EXPECT_EQ(cells, (std::vector<int64_t>{3, 2, 4, 3, 5, 1}));
}

// Parameters a caller might get wrong still give the cell convention.
TEST(DfSearchKernels, StartingPointsOutOfRangeStillGiveTheCells) {
  std::mt19937_64 rng(11);
  const Knots<double> knots = random_knots<double>(64, rng);
  const std::vector<double> sites = mixed_sites(knots, 200, rng);
  const std::vector<int64_t> expected = reference_cells(knots, sites);
  for (const double p : {-3.0, kNaN, 1e300, 64.5, 2.7, 63.0, -kInf, kInf, 1e-3}) {
    SCOPED_TRACE("parameter " + std::to_string(p));
    std::vector<int64_t> cells(sites.size());
    ASSERT_EQ(orx_df_kernel_dDFPeakSearch1D(64, knots.data(), 200, sites.data(), nullptr, nullptr,
                                            cells.data(), kWide, p),
              0);
    EXPECT_EQ(cells, expected);
    ASSERT_EQ(orx_df_kernel_dDFQuasiUniformSearch1D(64, knots.data(), 200, sites.data(), nullptr,
                                                    nullptr, cells.data(), kWide, p),
              0);
    EXPECT_EQ(cells, expected);
  }
}

// The partition placed flush against an inaccessible page on one side: a
// read outside it faults. Every kernel, every kind of site.
template <class T>
class GuardedPartition {
 public:
  GuardedPartition(const Knots<T>& knots, bool flush_end) {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = knots.size() * sizeof(T);
    pages_ = (bytes + page_ - 1) / page_ + 2;
    void* m = mmap(nullptr, pages_ * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = static_cast<unsigned char*>(m);
    unsigned char* first = base_ + page_;
    unsigned char* start = flush_end ? base_ + (pages_ - 1) * page_ - bytes : first;
    std::memcpy(start, knots.data(), bytes);
    mprotect(base_, page_, PROT_NONE);
    mprotect(base_ + (pages_ - 1) * page_, page_, PROT_NONE);
    x_ = reinterpret_cast<const T*>(start);
  }
  ~GuardedPartition() { munmap(base_, pages_ * page_); }
  const T* x() const { return x_; }

 private:
  size_t page_, pages_;
  unsigned char* base_;
  const T* x_;
};

template <class T, class Kernel>
void check_guarded(const Kernel (&kernels)[7]) {
  std::mt19937_64 rng(17);
  for (const int64_t nx : {2, 3, 7, 8, 9, 20, 21, 100}) {
    const Knots<T> knots = random_knots<T>(nx, rng);
    const Knots<T> uniform = dyadic_knots<T>(nx);
    const Knots<T> ends = {uniform.front(), uniform.back()};
    std::vector<T> sites = mixed_sites(knots, 300, rng);
    const std::vector<T> uniform_sites = mixed_sites(uniform, 300, rng);
    for (const bool flush_end : {false, true}) {
      const GuardedPartition<T> part(knots, flush_end), uend(ends, flush_end);
      const T r_quasi = static_cast<T>(nx - 1) / (knots.back() - knots.front());
      for (int method = 0; method < 7; ++method) {
        SCOPED_TRACE("method " + std::to_string(method) + ", nx " + std::to_string(nx));
        const bool on_ends = method == 0 || method == 6;
        const double parameter = on_ends ? 4.0 : method == 1 ? static_cast<double>(r_quasi)
                                                 : method == 3 ? static_cast<double>(nx / 2) : 0.0;
        const std::vector<T>& s = on_ends ? uniform_sites : sites;
        std::vector<int64_t> cells(s.size());
        int64_t start = 0;
        ASSERT_EQ(kernels[method](nx, on_ends ? uend.x() : part.x(), 300, s.data(), &start, nullptr,
                                  cells.data(), kWide, parameter),
                  0);
        if (method == 2) EXPECT_EQ(cells, carried_cells(knots, s, 0));
        else EXPECT_EQ(cells, reference_cells(on_ends ? uniform : knots, s));
      }
    }
  }
}

TEST(DfSearchKernels, NoReadOutsideThePartition) {
  const orx_df_dsearch_kernel* d[7] = {
      orx_df_kernel_dDFUniformSearch1D, orx_df_kernel_dDFQuasiUniformSearch1D,
      orx_df_kernel_dDFSortedSearch1D,  orx_df_kernel_dDFPeakSearch1D,
      orx_df_kernel_dDFHybridSearch1D,  orx_df_kernel_dDFUserDefSearch1D,
      orx_df_kernel_dDFUniUserDefSearch1D};
  const orx_df_ssearch_kernel* s[7] = {
      orx_df_kernel_sDFUniformSearch1D, orx_df_kernel_sDFQuasiUniformSearch1D,
      orx_df_kernel_sDFSortedSearch1D,  orx_df_kernel_sDFPeakSearch1D,
      orx_df_kernel_sDFHybridSearch1D,  orx_df_kernel_sDFUserDefSearch1D,
      orx_df_kernel_sDFUniUserDefSearch1D};
  check_guarded<double>(d);
  check_guarded<float>(s);
}

}  // namespace
}  // namespace search_test
