// The Mersenne twisters' key-array initialisation as its authors describe it,
// written plainly for the tests' models (independent of the library's code).
#pragma once

#include <cstdint>
#include <vector>

template <int N>
void model_key_seeding(uint32_t (&mt)[N], std::vector<uint32_t> key) {
  if (key.empty()) key = {1};
  mt[0] = 19650218u;
  for (int k = 1; k < N; ++k) mt[k] = 1812433253u * (mt[k - 1] ^ (mt[k - 1] >> 30)) + k;
  int a = 1, b = 0, n = static_cast<int>(key.size());
  for (int k = n > N ? n : N; k; --k) {
    mt[a] = (mt[a] ^ ((mt[a - 1] ^ (mt[a - 1] >> 30)) * 1664525u)) + key[b] + b;
    if (++a >= N) mt[0] = mt[N - 1], a = 1;
    if (++b >= n) b = 0;
  }
  for (int k = N - 1; k; --k) {
    mt[a] = (mt[a] ^ ((mt[a - 1] ^ (mt[a - 1] >> 30)) * 1566083941u)) - a;
    if (++a >= N) mt[0] = mt[N - 1], a = 1;
  }
  mt[0] = 0x80000000u;
}
