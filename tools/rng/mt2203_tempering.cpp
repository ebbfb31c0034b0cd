// k(v) by the lattice method and the greedy search of the tempering masks.
#include "tools/rng/mt2203_tempering.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "tools/rng/mt2203_search.h"
#include "tools/rng/mt2203_twister.h"

namespace orx::mt2203 {

namespace {

// Degree of a word run, searching down from the word of `bound`.
int degree_below(const uint64_t* e, int bound) {
  for (int w = bound / 64; w >= 0; --w)
    if (e[w] != 0) return 64 * w + 63 - std::countl_zero(e[w]);
  return -1;
}

// Tempering as a 32 x 32 matrix over GF(2): column l is the image of input
// bit l, both counted from the most significant bit.
struct TemperingMatrix {
  uint32_t column[32];
  TemperingMatrix(uint32_t b, uint32_t c) {
    for (int l = 0; l < 32; ++l) column[l] = temper(uint32_t{1} << (31 - l), b, c);
  }
  bool at(int j, int l) const { return (column[l] >> (31 - j)) & 1u; }
};

// sum over l of T[j][l] polys[l].
Poly combine(const TemperingMatrix& t, int j, const std::vector<Poly>& polys) {
  Poly r;
  for (int l = 0; l < 32; ++l) {
    if (!t.at(j, l)) continue;
    if (r.size() < polys[static_cast<size_t>(l)].size()) r.resize(polys[static_cast<size_t>(l)].size(), 0);
    for (size_t w = 0; w < polys[static_cast<size_t>(l)].size(); ++w) r[w] ^= polys[static_cast<size_t>(l)][w];
  }
  trim(r);
  return r;
}

// w_l = h_l / H_0 mod f, the units of every output bit relative to bit 0.
bool relative_units(const OutputNumerators& num, const TemperingMatrix& t, std::vector<Poly>* units) {
  std::vector<Poly> h;
  for (int l = 0; l < 32; ++l) h.push_back(num.numerator(l));
  Poly inv = inverse_mod(combine(t, 0, h), num.chi());
  if (inv.empty()) return false;
  units->clear();
  for (int l = 0; l < 32; ++l) units->push_back(multiply_mod(h[static_cast<size_t>(l)], inv, num.chi()));
  return true;
}

}  // namespace

OutputNumerators::OutputNumerators(uint32_t matrix_a, const Poly& chi) : chi_(chi) {
  const int p = degree(chi);
  Twister t(matrix_a);
  for (int k = 0; k < kWords; ++k) t.next();
  // S_l = sum_i s_(l,i) t^(p-1-i): the first p bits of output bit l reversed.
  std::vector<Poly> reversed(32, Poly(static_cast<size_t>(p) / 64 + 1, 0));
  for (int i = 0; i < p; ++i) {
    uint32_t y = t.next();
    for (int l = 0; l < 32; ++l)
      if ((y >> (31 - l)) & 1u) set_coefficient(reversed[static_cast<size_t>(l)], p - 1 - i, true);
  }
  // chi G_l = h_l with G_l = t^(-p) S_l + O(t^(-p-1)): h_l = (chi S_l) div t^p.
  for (int l = 0; l < 32; ++l) h_.push_back(shift_right(multiply(chi, reversed[static_cast<size_t>(l)]), p));
}

RelationLattice::RelationLattice(const Poly& chi) : p_(degree(chi)), words_((p_ + 1 + 63) / 64 + 1), chi_(chi) {}

void RelationLattice::refresh(Row& r) const {
  r.degree = -1;
  r.pivot = -1;
  for (int j = 0; j < v_; ++j) {
    if (r.deg[static_cast<size_t>(j)] >= r.degree) {
      r.degree = r.deg[static_cast<size_t>(j)];
      r.pivot = j;
    }
  }
}

int RelationLattice::add_bit(const Poly& unit) {
  Row row;
  row.words.assign(static_cast<size_t>(kMaxBits) * static_cast<size_t>(words_), 0);
  row.deg.fill(-1);
  if (v_ == 0) {
    std::copy(chi_.begin(), chi_.end(), entry(row, 0));
    row.deg[0] = p_;
  } else {
    Poly u = remainder(unit, chi_);
    std::copy(u.begin(), u.end(), entry(row, 0));
    row.deg[0] = degree(u);
    entry(row, v_)[0] = 1;
    row.deg[static_cast<size_t>(v_)] = 0;
  }
  rows_.push_back(std::move(row));
  ++v_;
  for (Row& r : rows_) refresh(r);
  reduce();
  return shortest();
}

void RelationLattice::reduce() {
  // Mulders-Storjohann: while two rows share a pivot (rightmost column of
  // maximal degree), cancel the leading term of the higher one with a shifted
  // copy of the lower one. The result is in weak Popov form, a reduced basis.
  std::array<int, kMaxBits> owner;
  owner.fill(-1);
  std::vector<int> pending;
  for (int i = 0; i < static_cast<int>(rows_.size()); ++i) pending.push_back(i);
  while (!pending.empty()) {
    int i = pending.back();
    pending.pop_back();
    Row* r = &rows_[static_cast<size_t>(i)];
    int o = owner[static_cast<size_t>(r->pivot)];
    if (o < 0) {
      owner[static_cast<size_t>(r->pivot)] = i;
      continue;
    }
    Row* q = &rows_[static_cast<size_t>(o)];
    if (r->degree < q->degree) {
      owner[static_cast<size_t>(r->pivot)] = i;
      std::swap(r, q);
      i = o;
    }
    // r (not an owner, index i) -= t^s q.
    const int s = r->degree - q->degree, word_shift = s / 64, bit_shift = s % 64;
    int top = -1, pivot = -1;
    for (int j = 0; j < v_; ++j) {
      int dr = r->deg[static_cast<size_t>(j)];
      const int dq = q->deg[static_cast<size_t>(j)];
      if (dq >= 0) {
        uint64_t* e = entry(*r, j) + word_shift;
        const uint64_t* f = entry(*q, j);
        const int n = dq / 64 + 1;
        if (bit_shift == 0) {
          for (int w = 0; w < n; ++w) e[w] ^= f[w];
        } else {
          uint64_t carry = 0;
          for (int w = 0; w < n; ++w) {
            e[w] ^= (f[w] << bit_shift) | carry;
            carry = f[w] >> (64 - bit_shift);
          }
          e[n] ^= carry;
        }
        dr = degree_below(entry(*r, j), std::max(dr, dq + s));
        r->deg[static_cast<size_t>(j)] = dr;
      }
      if (dr >= top) {
        top = dr;
        pivot = j;
      }
    }
    r->degree = top;
    r->pivot = pivot;
    pending.push_back(i);
  }
}

int RelationLattice::shortest() const {
  int best = p_;
  for (const Row& r : rows_) best = std::min(best, r.degree);
  return best;
}

int equidistribution_bound(int v) { return kDegree / v; }

int Equidistribution::defect() const {
  int d = 0;
  for (int v = 1; v <= kMaxBits; ++v) d += equidistribution_bound(v) - k[static_cast<size_t>(v)];
  return d;
}

int Equidistribution::at_bound() const {
  int n = 0;
  for (int v = 1; v <= kMaxBits; ++v) n += k[static_cast<size_t>(v)] == equidistribution_bound(v);
  return n;
}

Equidistribution equidistribution(const OutputNumerators& num, uint32_t b, uint32_t c) {
  Equidistribution eq;
  TemperingMatrix t(b, c);
  std::vector<Poly> units;
  if (!relative_units(num, t, &units)) return eq;  // top bit constant: all k(v) = 0
  RelationLattice lattice(num.chi());
  eq.k[1] = lattice.add_bit(Poly{1});
  for (int v = 2; v <= kMaxBits; ++v) eq.k[static_cast<size_t>(v)] = lattice.add_bit(combine(t, v - 1, units));
  return eq;
}

namespace {

// Mask bits (as (mask, bit) pairs, bit counted from the most significant)
// that first influence output bit v - 1 (0 = most significant): c[v-1],
// b[v-1] and b[v+14], where they are free. The top v output bits depend on
// c[0 .. v-1], b[0 .. v-1] and b[15 .. v+14] only, so bits chosen at step v
// leave the outputs of earlier steps unchanged.
struct MaskBit {
  bool in_c;
  int index;
};
std::vector<MaskBit> new_bits(int v) {
  std::vector<MaskBit> bits;
  if (v - 1 <= 16) bits.push_back({true, v - 1});
  if (v - 1 <= 14) bits.push_back({false, v - 1});
  if (v + 14 <= 24) bits.push_back({false, v + 14});
  return bits;
}

}  // namespace

// Rule. Start from random masks (splitmix64 seeded by the row, with the
// unused low bits cleared). Step 1 keeps their bits (k(1) = 2203 for every
// value). Then a beam search over v = 2, 3, ..., 32: each kept candidate is
// extended by every value of the mask bits that first influence output bit
// v - 1 (at most 3 bits, none after v = 17; earlier choices stay fixed), and
// the `beam` candidates with the largest k(2) + ... + k(v) are kept, the
// earlier-generated first among equals (so the random bits win ties). The
// result is the candidate with the largest sum over v = 1 .. 32, i.e. the
// smallest total defect sum(floor(2203 / v) - k(v)) among those followed.
static TemperingResult search_from(uint64_t bits, const OutputNumerators& num, int beam) {
  uint32_t b = static_cast<uint32_t>(bits) & kMaskBFree;
  uint32_t c = static_cast<uint32_t>(bits >> 32) & kMaskCFree;
  auto with = [](uint32_t b0, uint32_t c0, const std::vector<MaskBit>& mb, unsigned flip, uint32_t* b1, uint32_t* c1) {
    *b1 = b0;
    *c1 = c0;
    for (size_t i = 0; i < mb.size(); ++i) {
      if (!((flip >> i) & 1u)) continue;
      uint32_t bit = uint32_t{1} << (31 - mb[i].index);
      (mb[i].in_c ? *c1 : *b1) ^= bit;
    }
  };
  // Step 1: the random bits, unless the top output bit would be constant.
  std::vector<Poly> units;
  {
    auto mb = new_bits(1);
    for (unsigned flip = 0; flip < (1u << mb.size()); ++flip) {
      uint32_t b1, c1;
      with(b, c, mb, flip, &b1, &c1);
      if (relative_units(num, TemperingMatrix(b1, c1), &units)) {
        b = b1;
        c = c1;
        break;
      }
    }
  }
  struct Candidate {
    uint32_t b, c;
    long score;
    Equidistribution eq;
    RelationLattice lattice;
  };
  std::vector<Candidate> kept;
  {
    RelationLattice lattice(num.chi());
    Equidistribution eq;
    eq.k[1] = lattice.add_bit(Poly{1});
    kept.push_back({b, c, eq.k[1], eq, std::move(lattice)});
  }
  for (int v = 2; v <= kMaxBits; ++v) {
    auto mb = new_bits(v);
    std::vector<Candidate> next;
    for (const Candidate& parent : kept) {
      for (unsigned flip = 0; flip < (1u << mb.size()); ++flip) {
        Candidate child = parent;
        with(parent.b, parent.c, mb, flip, &child.b, &child.c);
        int k = child.lattice.add_bit(combine(TemperingMatrix(child.b, child.c), v - 1, units));
        child.eq.k[static_cast<size_t>(v)] = k;
        child.score += k;
        next.push_back(std::move(child));
      }
    }
    std::stable_sort(next.begin(), next.end(), [](const Candidate& x, const Candidate& y) { return x.score > y.score; });
    if (static_cast<int>(next.size()) > beam) next.erase(next.begin() + beam, next.end());
    kept = std::move(next);
  }
  TemperingResult result;
  result.b = kept.front().b;
  result.c = kept.front().c;
  result.eq = kept.front().eq;
  return result;
}

TemperingResult search_tempering(int row, const OutputNumerators& num, int beam, int starts) {
  CandidateStream random(-1 - row);
  TemperingResult best;
  for (int s = 0; s < starts; ++s) {
    TemperingResult r = search_from(random.next64(), num, beam);
    if (s == 0 || r.eq.defect() < best.eq.defect()) best = r;
  }
  return best;
}

}  // namespace orx::mt2203
