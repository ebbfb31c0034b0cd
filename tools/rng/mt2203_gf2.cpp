// General GF(2)[x] arithmetic and Berlekamp-Massey for the MT2203 search.
#include "tools/rng/mt2203_gf2.h"

#include <immintrin.h>

#include <algorithm>
#include <bit>

namespace orx::mt2203 {

int degree(const Poly& p) {
  for (size_t w = p.size(); w-- > 0;)
    if (p[w] != 0) return static_cast<int>(64 * w) + 63 - std::countl_zero(p[w]);
  return -1;
}

bool coefficient(const Poly& p, int i) {
  size_t w = static_cast<size_t>(i) / 64;
  return w < p.size() && ((p[w] >> (i % 64)) & 1u) != 0;
}

void set_coefficient(Poly& p, int i, bool value) {
  size_t w = static_cast<size_t>(i) / 64;
  if (w >= p.size()) p.resize(w + 1, 0);
  uint64_t bit = uint64_t{1} << (i % 64);
  p[w] = value ? (p[w] | bit) : (p[w] & ~bit);
}

void trim(Poly& p) {
  while (!p.empty() && p.back() == 0) p.pop_back();
}

Poly monomial(int k) {
  Poly p;
  set_coefficient(p, k, true);
  return p;
}

Poly add(const Poly& a, const Poly& b) {
  Poly r(std::max(a.size(), b.size()), 0);
  for (size_t i = 0; i < a.size(); ++i) r[i] ^= a[i];
  for (size_t i = 0; i < b.size(); ++i) r[i] ^= b[i];
  trim(r);
  return r;
}

void xor_shifted(uint64_t* a, const uint64_t* b, size_t b_words, int s) {
  size_t q = static_cast<size_t>(s) / 64;
  int r = s % 64;
  if (r == 0) {
    for (size_t i = 0; i < b_words; ++i) a[q + i] ^= b[i];
    return;
  }
  uint64_t carry = 0;
  for (size_t i = 0; i < b_words; ++i) {
    a[q + i] ^= (b[i] << r) | carry;
    carry = b[i] >> (64 - r);
  }
  if (carry) a[q + b_words] ^= carry;
}

Poly shift_left(const Poly& p, int s) {
  Poly r(p.size() + static_cast<size_t>(s) / 64 + 1, 0);
  xor_shifted(r.data(), p.data(), p.size(), s);
  trim(r);
  return r;
}

Poly shift_right(const Poly& p, int s) {
  Poly r;
  for (int i = s, d = degree(p); i <= d; ++i)
    if (coefficient(p, i)) set_coefficient(r, i - s, true);
  return r;
}

Clmul128 clmul(uint64_t a, uint64_t b) {
  __m128i p = _mm_clmulepi64_si128(_mm_cvtsi64_si128(static_cast<long long>(a)),
                                   _mm_cvtsi64_si128(static_cast<long long>(b)), 0x00);
  return {static_cast<uint64_t>(_mm_cvtsi128_si64(p)),
          static_cast<uint64_t>(_mm_extract_epi64(p, 1))};
}

Poly multiply(const Poly& a, const Poly& b) {
  if (a.empty() || b.empty()) return {};
  Poly r(a.size() + b.size(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i] == 0) continue;
    for (size_t j = 0; j < b.size(); ++j) {
      Clmul128 p = clmul(a[i], b[j]);
      r[i + j] ^= p.low;
      r[i + j + 1] ^= p.high;
    }
  }
  trim(r);
  return r;
}

Poly remainder(Poly a, const Poly& m) {
  int dm = degree(m);
  size_t m_words = static_cast<size_t>(dm) / 64 + 1;
  for (int da = degree(a); da >= dm; da = degree(a)) {
    xor_shifted(a.data(), m.data(), m_words, da - dm);
  }
  trim(a);
  return a;
}

Poly gcd(Poly a, Poly b) {
  trim(a);
  trim(b);
  int da = degree(a), db = degree(b);
  for (;;) {
    if (da < db) {
      std::swap(a, b);
      std::swap(da, db);
    }
    if (db < 0) break;
    xor_shifted(a.data(), b.data(), static_cast<size_t>(db) / 64 + 1, da - db);
    // The degree only decreases: search downward from the old one.
    size_t w = static_cast<size_t>(da) / 64 + 1;
    while (w > 0 && a[w - 1] == 0) --w;
    da = w == 0 ? -1 : static_cast<int>(64 * (w - 1)) + 63 - std::countl_zero(a[w - 1]);
  }
  trim(a);
  return a;
}

Poly inverse_mod(const Poly& a, const Poly& m) {
  // Extended Euclid keeping r0 = s0 a (mod m), r1 = s1 a (mod m).
  Poly r0 = m, r1 = remainder(a, m), s0, s1 = {1};
  while (degree(r1) > 0) {
    int shift = degree(r0) - degree(r1);
    if (shift < 0) {
      std::swap(r0, r1);
      std::swap(s0, s1);
      continue;
    }
    r0 = add(r0, shift_left(r1, shift));
    s0 = add(s0, shift_left(s1, shift));
  }
  if (degree(r1) != 0) return {};
  return remainder(s1, m);
}

Poly multiply_mod(const Poly& a, const Poly& b, const Poly& m) {
  return remainder(multiply(a, b), m);
}

Poly berlekamp_massey(const std::vector<uint64_t>& bits, int count) {
  // The discrepancy at step n is the parity of C(x) against the window
  // s_n, s_(n-1), ... : with the sequence stored reversed (bit k of rev is
  // s_(count-1-k)) that window starts at bit count-1-n. The 64 bit-shifted
  // copies of rev make every window a run of whole words.
  const size_t words = static_cast<size_t>(count) / 64 + 3;
  std::vector<uint64_t> rev(words + 1, 0);
  for (int k = 0; k < count; ++k) {
    int j = count - 1 - k;
    if ((bits[static_cast<size_t>(j) / 64] >> (j % 64)) & 1u) rev[k / 64] |= uint64_t{1} << (k % 64);
  }
  std::vector<uint64_t> shifted(64 * words, 0);
  for (int b = 0; b < 64; ++b)
    for (size_t w = 0; w < words; ++w)
      shifted[b * words + w] = b == 0 ? rev[w] : (rev[w] >> b) | (rev[w + 1] << (64 - b));

  std::vector<uint64_t> c(words + 1, 0), prev(words + 1, 0), saved(words + 1, 0);
  c[0] = prev[0] = 1;
  int length = 0, prev_length = 0, gap = 1;
  for (int n = 0; n < count; ++n) {
    int offset = count - 1 - n;
    const uint64_t* window = &shifted[(offset % 64) * words + static_cast<size_t>(offset) / 64];
    size_t c_words = static_cast<size_t>(length) / 64 + 1;
    uint64_t acc = 0;
    for (size_t w = 0; w < c_words; ++w) acc ^= c[w] & window[w];
    if ((std::popcount(acc) & 1) == 0) {
      ++gap;
      continue;
    }
    size_t prev_words = static_cast<size_t>(prev_length) / 64 + 1;
    if (2 * length <= n) {
      std::copy_n(c.begin(), c_words, saved.begin());
      int old_length = length;
      xor_shifted(c.data(), prev.data(), prev_words, gap);
      length = n + 1 - length;
      std::fill(prev.begin(), prev.end(), 0);
      std::copy_n(saved.begin(), c_words, prev.begin());
      prev_length = old_length;
      gap = 1;
    } else {
      xor_shifted(c.data(), prev.data(), prev_words, gap);
      ++gap;
    }
  }
  Poly chi;
  for (int i = 0; i <= length; ++i)
    if ((c[static_cast<size_t>(length - i) / 64] >> ((length - i) % 64)) & 1u) set_coefficient(chi, i, true);
  return chi;
}

}  // namespace orx::mt2203
