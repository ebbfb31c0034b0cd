// Lazy residue arithmetic modulo f with carry-less multiplication.
#include "tools/rng/mt2203_modring.h"

#include <immintrin.h>

#include <cstring>
#include <stdexcept>

namespace orx::mt2203 {

namespace {

inline __m128i load2(const uint64_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store2(uint64_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline __m128i word(uint64_t w) { return _mm_cvtsi64_si128(static_cast<long long>(w)); }

}  // namespace

ModRing::ModRing(const Poly& f) : n_(degree(f)), f_(f) {
  words_ = (n_ + 63) / 64;
  if (n_ < 64 || 64 * words_ - n_ < 31) throw std::invalid_argument("ModRing: unsupported degree");
  stride_ = (words_ + 2) & ~1;
  f_.resize(static_cast<size_t>(words_) + 1, 0);
  table_.assign(static_cast<size_t>(stride_) * static_cast<size_t>(words_ - 1), 0);
  top_.assign(2 * static_cast<size_t>(stride_), 0);
  // Walk x^k mod f from k = n up to 64 (2W - 1), one shift and conditional
  // subtraction per step, keeping the rows that are needed.
  std::vector<uint64_t> r(static_cast<size_t>(words_) + 1, 0);
  for (int i = 0; i < n_; ++i)
    if (coefficient(f, i)) r[static_cast<size_t>(i) / 64] |= uint64_t{1} << (i % 64);
  const int top_bit = n_ % 64, top_word = n_ / 64;
  for (int k = n_;; ++k) {
    if (k % 32 == 0) {
      int j = k / 64;
      uint64_t* dest = nullptr;
      if (k % 64 == 0 && j > words_ && j < 2 * words_)
        dest = &table_[static_cast<size_t>(j - words_ - 1) * static_cast<size_t>(stride_)];
      else if (k == 64 * words_)
        dest = &top_[0];
      else if (k == 64 * words_ + 32)
        dest = &top_[static_cast<size_t>(stride_)];
      if (dest) std::memcpy(dest, r.data(), sizeof(uint64_t) * static_cast<size_t>(words_));
      if (k == 64 * (2 * words_ - 1)) break;
    }
    uint64_t carry = 0;
    for (int w = 0; w <= words_; ++w) {
      uint64_t next = r[w] >> 63;
      r[w] = (r[w] << 1) | carry;
      carry = next;
    }
    if ((r[top_word] >> top_bit) & 1u)
      for (int w = 0; w <= words_; ++w) r[w] ^= f_[w];
  }
}

void ModRing::reduce(const uint64_t* p, uint64_t* out) const {
  const int W = words_, lanes = stride_ / 2;
  alignas(16) uint64_t even[64 + 4], odd[64 + 4];
  uint64_t* ev = even;
  uint64_t* od = odd;
  std::vector<uint64_t> big_even, big_odd;
  if (stride_ + 2 > 64) {
    big_even.assign(static_cast<size_t>(stride_) + 4, 0);
    big_odd.assign(static_cast<size_t>(stride_) + 4, 0);
    ev = big_even.data();
    od = big_odd.data();
  }
  // Words W+1 .. 2W-1 times their x^(64 j) mod f: product with row word 2i
  // lands on words 2i, 2i+1 (even), with row word 2i+1 on 2i+1, 2i+2 (odd).
  for (int i = 0; i < lanes; ++i) {
    __m128i e = _mm_setzero_si128(), o = _mm_setzero_si128();
    const uint64_t* row = &table_[2 * static_cast<size_t>(i)];
    for (int j = W + 1; j < 2 * W; ++j, row += stride_) {
      __m128i t = load2(row), h = word(p[j]);
      e = _mm_xor_si128(e, _mm_clmulepi64_si128(t, h, 0x00));
      o = _mm_xor_si128(o, _mm_clmulepi64_si128(t, h, 0x01));
    }
    store2(ev + 2 * i, e);
    store2(od + 2 * i, o);
  }
  uint64_t acc[2 * 64 + 4];
  std::vector<uint64_t> big_acc;
  uint64_t* r = acc;
  if (W + 1 > 2 * 64) {
    big_acc.assign(static_cast<size_t>(W) + 2, 0);
    r = big_acc.data();
  }
  r[0] = p[0] ^ ev[0];
  for (int w = 1; w <= W; ++w) r[w] = p[w] ^ ev[w] ^ od[w - 1];
  // Word W in two halves: each product has degree < n + 31 <= 64 W.
  const uint64_t low = r[W] & 0xFFFFFFFFu, high = r[W] >> 32;
  for (int i = 0; i < lanes; ++i) {
    __m128i tl = load2(&top_[2 * static_cast<size_t>(i)]);
    __m128i th = load2(&top_[static_cast<size_t>(stride_) + 2 * static_cast<size_t>(i)]);
    __m128i hl = word(low), hh = word(high);
    __m128i e = _mm_xor_si128(_mm_clmulepi64_si128(tl, hl, 0x00), _mm_clmulepi64_si128(th, hh, 0x00));
    __m128i o = _mm_xor_si128(_mm_clmulepi64_si128(tl, hl, 0x01), _mm_clmulepi64_si128(th, hh, 0x01));
    store2(ev + 2 * i, e);
    store2(od + 2 * i, o);
  }
  out[0] = r[0] ^ ev[0];
  for (int w = 1; w < W; ++w) out[w] = r[w] ^ ev[w] ^ od[w - 1];
}

void ModRing::square(const uint64_t* a, uint64_t* out) const {
  uint64_t p[4 * 64 + 8];
  std::vector<uint64_t> big;
  uint64_t* q = p;
  if (2 * words_ > 4 * 64) {
    big.assign(2 * static_cast<size_t>(words_), 0);
    q = big.data();
  }
  for (int k = 0; k < words_; ++k) {
    __m128i s = _mm_clmulepi64_si128(word(a[k]), word(a[k]), 0x00);
    store2(q + 2 * k, s);
  }
  reduce(q, out);
}

void ModRing::multiply(const uint64_t* a, const uint64_t* b, uint64_t* out) const {
  const int W = words_, lanes = stride_ / 2;
  std::vector<uint64_t> even(2 * static_cast<size_t>(stride_) + 4, 0), odd(2 * static_cast<size_t>(stride_) + 4, 0);
  std::vector<uint64_t> bp(static_cast<size_t>(stride_), 0);
  std::memcpy(bp.data(), b, sizeof(uint64_t) * static_cast<size_t>(W));
  // a[j] times the word pair (b[2i], b[2i+1]): for even j the products land
  // on the even-aligned pair j+2i and the odd-aligned pair j+2i+1; for odd j
  // the other way round.
  for (int j = 0; j < W; ++j) {
    if (a[j] == 0) continue;
    __m128i h = word(a[j]);
    uint64_t* first = (j % 2 == 0) ? even.data() : odd.data();
    uint64_t* second = (j % 2 == 0) ? odd.data() : even.data();
    size_t base_first = static_cast<size_t>(j - j % 2);   // word index of pair start, minus parity
    size_t base_second = static_cast<size_t>(j + j % 2);
    for (int i = 0; i < lanes; ++i) {
      __m128i t = load2(&bp[2 * static_cast<size_t>(i)]);
      uint64_t* x = first + base_first + 2 * static_cast<size_t>(i);
      uint64_t* y = second + base_second + 2 * static_cast<size_t>(i);
      store2(x, _mm_xor_si128(load2(x), _mm_clmulepi64_si128(t, h, 0x00)));
      store2(y, _mm_xor_si128(load2(y), _mm_clmulepi64_si128(t, h, 0x01)));
    }
  }
  std::vector<uint64_t> p(2 * static_cast<size_t>(W) + 2, 0);
  p[0] = even[0];
  for (int w = 1; w < 2 * W; ++w) p[w] = even[w] ^ odd[w - 1];
  reduce(p.data(), out);
}

Poly ModRing::reduce_full(const uint64_t* a) const {
  Poly r(a, a + words_);
  for (int i = 64 * words_ - 1; i >= n_; --i) {
    if (!((r[static_cast<size_t>(i) / 64] >> (i % 64)) & 1u)) continue;
    int s = i - n_;
    for (int w = 0; w <= words_; ++w) {
      uint64_t v = f_[w];
      if (v == 0) continue;
      int bit = 64 * w + s;
      // f_ word w shifted left by s lands on words bit/64 and bit/64 + 1.
      int q = bit / 64, rb = bit % 64;
      if (q < words_) r[q] ^= rb ? (v << rb) : v;
      if (rb && q + 1 < words_) r[q + 1] ^= v >> (64 - rb);
    }
  }
  trim(r);
  return r;
}

std::vector<uint64_t> ModRing::residue(const Poly& p) const {
  std::vector<uint64_t> r(static_cast<size_t>(words_), 0);
  Poly q = degree(p) >= 64 * words_ ? remainder(p, f_) : p;
  for (size_t i = 0; i < q.size() && i < r.size(); ++i) r[i] = q[i];
  return r;
}

}  // namespace orx::mt2203
