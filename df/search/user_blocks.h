// The user-defined methods (5, 6): sites go to the user's callback in blocks
// of 128, in order, on the calling thread. The block's cell and flag arrays
// live on this stack frame (zero-filled before each call), so a search
// allocates nothing. Result of the callback: negative stops the search and is
// returned (earlier blocks are written); 1000 takes the block's cells as the
// callback left them; otherwise the library searches each site whose flag
// is 0 with `own_cell` and keeps the callback's cell where it is not.
#ifndef ORX_DF_SEARCH_USER_BLOCKS_H
#define ORX_DF_SEARCH_USER_BLOCKS_H

#include <algorithm>
#include <cstdint>

namespace orx::df::search {

inline constexpr int64_t kUserBlock = 128;
inline constexpr int kUserTakesBlock = 1000;

// Record is orx_df_dsearch_user or orx_df_ssearch_user (null: no callback).
template <class T, class Record, class Index, class OwnCell>
int user_blocks(const Record* user, const T* site, int64_t nsite, Index* cell, OwnCell own_cell) {
  int64_t block_cell[kUserBlock];
  int32_t block_flag[kUserBlock];
  const bool has_callback = user != nullptr && user->callback != nullptr;
  for (int64_t first = 0; first < nsite; first += kUserBlock) {
    const int64_t n = std::min(kUserBlock, nsite - first);
    int status = 0;
    if (has_callback) {
      std::fill_n(block_cell, kUserBlock, int64_t{0});
      std::fill_n(block_flag, kUserBlock, int32_t{0});
      int64_t size = n;  // the callback's copy; a change to it is not read back
      status = user->callback(&size, site + first, block_cell, block_flag, user->params);
      if (status < 0) return status;
    }
    for (int64_t i = 0; i < n; ++i) {
      const bool own = !has_callback || (status != kUserTakesBlock && block_flag[i] == 0);
      cell[first + i] = static_cast<Index>(own ? own_cell(site[first + i]) : block_cell[i]);
    }
  }
  return 0;
}

}  // namespace orx::df::search

#endif
