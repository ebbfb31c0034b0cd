// Helpers of the quasi-random engine tests: streams, the state's count /
// dimension / point words, a plain Gray-code model, and net checks on points
// whose coordinates are 32-bit binary fractions.
#ifndef ORX_TESTS_RNG_QUASI_NETS_H
#define ORX_TESTS_RNG_QUASI_NETS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "orx/rng.h"
#include "vsl/rng/stream_record.h"

namespace quasi {

using Words = std::vector<uint32_t>;

inline orx_rng_stream* make(uint32_t id, const Words& seed) {
  orx_rng_stream* s = nullptr;
  EXPECT_EQ(__vslNewStreamEx(&s, id, static_cast<uint32_t>(seed.size()), seed.data()), 0);
  return s;
}

// State words: [0] values handed out, [1] dimension, [2..] the point held
// (for streams whose sequence lives in the state).
inline uint32_t* state(orx_rng_stream* s) {
  return reinterpret_cast<uint32_t*>(orx::rng::state_bytes(s));
}

inline const orx_rng_chunk* chunk(const orx_rng_stream* s, uint32_t id) {
  for (const orx_rng_chunk* c = s->Chunks; c != nullptr; c = c->Next)
    if (c->Id == id) return c;
  return nullptr;
}

inline Words raw(orx_rng_stream* s, int n) {
  Words r(static_cast<size_t>(n));
  BrngProperties p;
  EXPECT_EQ(__vslGetBrngProperties(static_cast<int32_t>(__vslGetStreamStateBrng(s)), &p), 0);
  EXPECT_EQ(p.iBRngFn(s, n, r.data()), 0);
  return r;
}

// The origin followed by the first `count` - 1 points of a stream, point
// after point (d words each).
inline Words points_from_origin(orx_rng_stream* s, int d, int count) {
  Words r(static_cast<size_t>(d), 0u);
  const Words rest = raw(s, d * (count - 1));
  r.insert(r.end(), rest.begin(), rest.end());
  return r;
}

// Points 1..count of the walk over direction rows v[r][k] (point 0 = origin,
// point i+1 = point i XOR row(lowest zero bit of i)), flattened.
inline Words model_walk(const std::vector<Words>& rows, int count) {
  const size_t d = rows[0].size();
  Words x(d, 0u), out;
  for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
    const Words& row = rows[static_cast<size_t>(__builtin_ctz(~i))];
    for (size_t k = 0; k < d; ++k) x[k] ^= row[k];
    out.insert(out.end(), x.begin(), x.end());
  }
  return out;
}

// The top `bits` bits of coordinate c of point i.
inline uint32_t digits(const Words& pts, int d, int i, int c, int bits) {
  return bits == 0 ? 0u : pts[static_cast<size_t>(i) * d + c] >> (32 - bits);
}

// True when the first 2^m points put exactly 2^t points in every box of
// 2^-a by 2^-b (a + b = m - t) of coordinates c1 and c2; c1 == c2 checks the
// one-dimensional intervals of length 2^-(m-t).
inline bool is_net(const Words& pts, int d, int m, int t, int c1, int c2) {
  for (int a = 0; a <= m - t; ++a) {
    if (c1 == c2 && a != m - t) continue;
    const int b = c1 == c2 ? 0 : m - t - a;
    std::vector<int> boxes(size_t{1} << (m - t), 0);
    for (int i = 0; i < (1 << m); ++i)
      ++boxes[(digits(pts, d, i, c1, a) << b) | digits(pts, d, i, c2, b)];
    for (int count : boxes)
      if (count != (1 << t)) return false;
  }
  return true;
}

}  // namespace quasi

#endif
