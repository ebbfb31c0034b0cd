// Key-array initialisation shared by the Mersenne twisters MT19937 (624
// words) and MT2203 (69 words).
//
// mt[0] = 19650218, mt[i] = 1812433253 (mt[i-1] ^ (mt[i-1] >> 30)) + i; then
// max(N, n) mixing steps that add the key words (n <= 0: the key {1}) and
// N - 1 steps that subtract the index, each wrapping from N - 1 to 1 with
// mt[0] = mt[N-1]; finally mt[0] = 0x80000000, so the state is never zero.
#ifndef ORX_VSL_RNG_ENGINES_MT_KEY_SEEDING_H
#define ORX_VSL_RNG_ENGINES_MT_KEY_SEEDING_H

#include <cstdint>

namespace orx::rng {

template <int N>
void mt_key_seeding(uint32_t (&mt)[N], int n, const uint32_t* key) {
  static constexpr uint32_t kOne = 1;
  if (n <= 0) {
    n = 1;
    key = &kOne;
  }
  mt[0] = 19650218u;
  for (int i = 1; i < N; ++i) mt[i] = 1812433253u * (mt[i - 1] ^ (mt[i - 1] >> 30)) + static_cast<uint32_t>(i);
  int i = 1, j = 0;
  for (int k = N > n ? N : n; k > 0; --k) {
    mt[i] = (mt[i] ^ ((mt[i - 1] ^ (mt[i - 1] >> 30)) * 1664525u)) + key[j] + static_cast<uint32_t>(j);
    if (++i >= N) {
      mt[0] = mt[N - 1];
      i = 1;
    }
    if (++j >= n) j = 0;
  }
  for (int k = N - 1; k > 0; --k) {
    mt[i] = (mt[i] ^ ((mt[i - 1] ^ (mt[i - 1] >> 30)) * 1566083941u)) - static_cast<uint32_t>(i);
    if (++i >= N) {
      mt[0] = mt[N - 1];
      i = 1;
    }
  }
  mt[0] = 0x80000000u;
}

}  // namespace orx::rng

#endif
