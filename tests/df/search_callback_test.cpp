// The user's cell-search callback (methods 5 and 6 through the dispatcher):
// blocks of 128 in order, zero-filled arrays, the parameters passed through,
// and the result protocol (negative stops, 1000 takes the block, otherwise
// per-site flags), in both widths and precisions.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "search_fixtures.h"

namespace search_test {
namespace {

enum class Behaviour { kStopOnThirdBlock, kTakeBlock, kFlagEvenSites, kPositiveWithAllFlags, kNothing };

// What the callback sees and does. Its own cells (flagged, except when it
// takes the whole block) are -(site index) - 1, so they cannot be mistaken
// for the library's.
template <class T>
struct Recorder {
  Behaviour behaviour;
  const T* first_site;
  std::vector<int64_t> sizes;
  std::vector<int64_t> offsets;
  bool arrays_zeroed = true;
};

template <class T>
int user_callback(int64_t* n, const T* site, int64_t* cell, int32_t* flag, const void* params) {
  auto& r = *static_cast<Recorder<T>*>(const_cast<void*>(params));
  const int64_t offset = site - r.first_site;
  r.sizes.push_back(*n);
  r.offsets.push_back(offset);
  for (int i = 0; i < 128; ++i) r.arrays_zeroed = r.arrays_zeroed && cell[i] == 0 && flag[i] == 0;
  if (r.behaviour == Behaviour::kStopOnThirdBlock && r.sizes.size() == 3) return -7;
  if (r.behaviour == Behaviour::kNothing) return 0;
  for (int64_t i = 0; i < *n; ++i) {
    const bool mine = r.behaviour != Behaviour::kFlagEvenSites || (offset + i) % 2 == 0;
    if (mine) cell[i] = -(offset + i) - 1;
    if (mine && r.behaviour != Behaviour::kTakeBlock) flag[i] = 1;
  }
  return r.behaviour == Behaviour::kTakeBlock ? 1000 : r.behaviour == Behaviour::kPositiveWithAllFlags ? 5 : 0;
}

struct ProtocolCase {
  const char* what;
  Behaviour behaviour;
  int status;
};

template <class T>
void check_protocol() {
  const ProtocolCase cases[] = {
      {"negative result stops", Behaviour::kStopOnThirdBlock, -7},
      {"1000 takes the block, flags unset", Behaviour::kTakeBlock, 0},
      {"per-site flags", Behaviour::kFlagEvenSites, 0},
      {"other positive result, all flagged", Behaviour::kPositiveWithAllFlags, 0},
      {"nothing set: the library searches", Behaviour::kNothing, 0},
  };
  std::mt19937_64 rng(23);
  for (const bool uniform : {false, true}) {
    const int64_t nx = 40;
    const Knots<T> knots = uniform ? dyadic_knots<T>(nx) : random_knots<T>(nx, rng);
    const std::vector<T> x = uniform ? std::vector<T>{knots.front(), knots.back()} : knots;
    for (const int64_t nsite : {31, 256, 300}) {
      const std::vector<T> sites = mixed_sites(knots, nsite, rng);
      const std::vector<int64_t> library = reference_cells(knots, sites);
      std::vector<int64_t> expected_sizes;
      for (int64_t left = nsite; left > 0; left -= 128) expected_sizes.push_back(std::min<int64_t>(left, 128));
      for (const ProtocolCase& c : cases) {
        for (const uint32_t width : {0u, 1u}) {
          SCOPED_TRACE(std::string(c.what) + (uniform ? ", uniform" : "") + ", sites " +
                       std::to_string(nsite) + ", width " + std::to_string(width));
          TaskPtr task = new_task<T>(x.data(), nx, uniform ? DF_UNIFORM_PARTITION : DF_NO_HINT, width);
          Recorder<T> rec{c.behaviour, sites.data(), {}, {}};
          Cells cells(width != 0, sites.size());
          // The callback wins over the sorted-sites and peak hints.
          const T datahint[5] = {0, 1, 0, 0, 3};
          const int status = search<T>(task.get(), sites, DF_SORTED_DATA, datahint, cells,
                                       &user_callback<T>, &rec);
          const int64_t blocks = static_cast<int64_t>(expected_sizes.size());
          const bool stops = c.behaviour == Behaviour::kStopOnThirdBlock && blocks >= 3;
          EXPECT_EQ(status, stops ? c.status : 0);
          EXPECT_TRUE(rec.arrays_zeroed);
          const std::vector<int64_t> sizes(expected_sizes.begin(), expected_sizes.begin() + (stops ? 3 : blocks));
          EXPECT_EQ(rec.sizes, sizes);
          for (size_t b = 0; b < rec.offsets.size(); ++b) EXPECT_EQ(rec.offsets[b], static_cast<int64_t>(b) * 128);
          std::vector<int64_t> expected(sites.size());
          for (int64_t i = 0; i < nsite; ++i) {
            const int64_t own = -i - 1;
            switch (c.behaviour) {
              case Behaviour::kStopOnThirdBlock: expected[i] = !stops || i < 256 ? own : -77; break;
              case Behaviour::kTakeBlock:
              case Behaviour::kPositiveWithAllFlags: expected[i] = own; break;
              case Behaviour::kFlagEvenSites: expected[i] = i % 2 == 0 ? own : library[i]; break;
              case Behaviour::kNothing: expected[i] = library[i]; break;
            }
          }
          EXPECT_EQ(cells.values(), expected);
        }
      }
    }
  }
}

TEST(DfSearchCallback, ProtocolDouble) { check_protocol<double>(); }
TEST(DfSearchCallback, ProtocolFloat) { check_protocol<float>(); }

// The method kernels themselves take the callback through their reserved
// argument; without one they search every site.
TEST(DfSearchCallback, MethodKernelReservedRecord) {
  const double x[5] = {0, 1, 2, 3, 4};
  const std::vector<double> sites = {0.5, 3.5, -1, 4};
  Recorder<double> rec{Behaviour::kFlagEvenSites, sites.data(), {}, {}};
  const orx_df_dsearch_user user{&user_callback<double>, &rec};
  std::vector<int64_t> cells(4);
  ASSERT_EQ(orx_df_kernel_dDFUserDefSearch1D(5, x, 4, sites.data(), nullptr, &user, cells.data(), 3, 0), 0);
  EXPECT_EQ(cells, (std::vector<int64_t>{-1, 4, -3, 5}));
  ASSERT_EQ(orx_df_kernel_dDFUserDefSearch1D(5, x, 4, sites.data(), nullptr, nullptr, cells.data(), 3, 0), 0);
  EXPECT_EQ(cells, (std::vector<int64_t>{1, 4, 0, 5}));
  const orx_df_dsearch_user no_callback{nullptr, nullptr};
  ASSERT_EQ(orx_df_kernel_dDFUniUserDefSearch1D(5, x, 4, sites.data(), nullptr, &no_callback,
                                                cells.data(), 3, 0.25),
            0);
  EXPECT_EQ(cells, (std::vector<int64_t>{1, 1, 0, 2}));  // partition 0..1 in steps of 1/4
}

}  // namespace
}  // namespace search_test
