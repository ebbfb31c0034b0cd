// Generator of the 273 Wichmann-Hill parameter sets: multipliers _vsl_WH_A,
// prime moduli _vsl_WH_M and reciprocals _vsldWH_IM_Tab, written as a C++
// include file (vsl/rng/engines/wh_params.cpp includes it).
//
// Usage: orx_gen_wh_params <output file>   build, verify, then write the tables
//        orx_gen_wh_params --verify        build and verify only
// Exits with status 1 and a message on stderr if a check fails or the file
// cannot be written.
//
// Rule. Set s (0 .. 272) has four components x_i <- a_i x_i mod m_i.
//  1. Candidate moduli: the 261 primes P_0 > P_1 > ... > P_260 of
//     [16766231, 16770647], numbered downward. The bounds are the largest
//     modulus of set 0 and the smallest of set 272, the two sets that are
//     fixed in advance; every modulus is therefore in (2^23, 2^24).
//  2. Two primes p, q are compatible when gcd(p - 1, q - 1) = 2. Four
//     pairwise compatible moduli give the combined generator the period
//     lcm(m_i - 1) = prod(m_i - 1) / 8, the most that four odd primes allow.
//  3. Greedy set G(i, r): take P_i, then scan P_(i+1), P_(i+2), ... and take
//     each prime compatible with every prime taken so far, until there are
//     four. With r = 1 the first prime compatible with P_i is passed over,
//     so the second modulus is the second compatible prime instead of the
//     first. G(0, 0) = P_0 P_1 P_3 P_4 (P_2 - 1 shares the factor 7 with
//     P_1 - 1) and G(254, 0) = P_254 P_255 P_256 P_260 (P_257 - 1, P_258 - 1
//     and P_259 - 1 share 3 or 7 with P_255 - 1): the given sets 0 and 272.
//  4. Starts: the indices i whose G(i, 0) fits in the interval. They are
//     0 .. 252 and 254, 254 starts S_0 < ... < S_253 (G(253, 0) and every
//     G(i > 254, 0) need a prime below P_260).
//  5. Set s = G(S_q, r) with q = floor(253 s / 272): the 273 sets are spread
//     evenly over the 254 starts. The 19 starts that two consecutive sets
//     reach give the first of them r = 0 and the second r = 1. The sets are
//     thus pairwise different and strictly decreasing in lexicographic
//     order of their moduli; set 0 = G(0, 0), set 272 = G(254, 0).
//     Any 273 sets of decreasing moduli in this interval share first moduli
//     (at most 258 primes have three below them); the second-choice set is
//     the nearest alternative to the greedy one.
//  6. Multiplier a_i: the largest integer <= 127 that is a primitive root
//     modulo m_i (full period m_i - 1) and differs from a_0 .. a_(i-1). The
//     bound keeps every product a_i x_i below 2^31 (a signed 32-bit
//     integer). This gives 125 117 127 126 for set 0 and 126 127 125 124
//     for set 272 (P_256 has 127 and 126 as primitive roots, both taken).
//  7. _vsldWH_IM_Tab[s][i] = 1.0 / m_i, one IEEE division (correctly
//     rounded), printed as an exact hexadecimal float.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

constexpr int kSets = 273;
constexpr uint32_t kTopModulus = 16770647;     // largest modulus of set 0
constexpr uint32_t kBottomModulus = 16766231;  // smallest modulus of set 272
constexpr uint32_t kMaxMultiplier = 127;

struct ParamSet {
  std::array<uint32_t, 4> m;
  std::array<uint32_t, 4> a;
};

// The two sets fixed in advance; the rule must reproduce them.
constexpr ParamSet kFirstSet = {{16770647, 16770643, 16770623, 16770617}, {125, 117, 127, 126}};
constexpr ParamSet kLastSet = {{16766363, 16766359, 16766327, 16766231}, {126, 127, 125, 124}};

bool is_prime(uint32_t n) {
  if (n < 2) return false;
  for (uint32_t d = 2; d * d <= n; ++d)
    if (n % d == 0) return false;
  return true;
}

std::vector<uint32_t> prime_factors(uint32_t n) {
  std::vector<uint32_t> factors;
  for (uint32_t d = 2; d * d <= n; ++d) {
    if (n % d != 0) continue;
    factors.push_back(d);
    while (n % d == 0) n /= d;
  }
  if (n > 1) factors.push_back(n);
  return factors;
}

uint32_t pow_mod(uint64_t base, uint64_t e, uint32_t m) {
  uint64_t result = 1;
  base %= m;
  for (; e != 0; e >>= 1) {
    if (e & 1) result = result * base % m;
    base = base * base % m;
  }
  return static_cast<uint32_t>(result);
}

bool is_primitive_root(uint32_t a, uint32_t p) {
  if (a % p == 0) return false;
  for (uint32_t q : prime_factors(p - 1))
    if (pow_mod(a, (p - 1) / q, p) == 1) return false;
  return true;
}

bool compatible(uint32_t p, uint32_t q) { return std::gcd(p - 1, q - 1) == 2; }

// G(start, r) of the rule over the candidate primes; false if it runs past
// the last candidate.
bool greedy_set(const std::vector<uint32_t>& primes, size_t start, int r, std::array<uint32_t, 4>& m) {
  int taken = 0;
  m[taken++] = primes[start];
  int passed_over = 0;
  for (size_t j = start + 1; j < primes.size() && taken < 4; ++j) {
    bool fits = true;
    for (int k = 0; k < taken; ++k) fits = fits && compatible(primes[j], m[k]);
    if (!fits) continue;
    if (taken == 1 && passed_over < r) {
      ++passed_over;
      continue;
    }
    m[taken++] = primes[j];
  }
  return taken == 4;
}

// Rule 6; 0 if no multiplier qualifies (verification then fails).
void choose_multipliers(ParamSet& set) {
  for (int i = 0; i < 4; ++i) {
    set.a[i] = 0;
    for (uint32_t a = kMaxMultiplier; a >= 2 && set.a[i] == 0; --a) {
      bool used = false;
      for (int k = 0; k < i; ++k) used = used || set.a[k] == a;
      if (!used && is_primitive_root(a, set.m[i])) set.a[i] = a;
    }
  }
}

std::vector<ParamSet> build_sets() {
  std::vector<uint32_t> primes;
  for (uint32_t p = kTopModulus; p >= kBottomModulus; --p)
    if (is_prime(p)) primes.push_back(p);
  std::vector<size_t> starts;
  std::array<uint32_t, 4> m;
  for (size_t i = 0; i < primes.size(); ++i)
    if (greedy_set(primes, i, 0, m)) starts.push_back(i);

  std::vector<ParamSet> sets(kSets);
  const size_t last_q = starts.size() - 1;
  for (int s = 0; s < kSets; ++s) {
    const size_t q = last_q * s / (kSets - 1);
    const bool second = s > 0 && q == last_q * (s - 1) / (kSets - 1);
    if (!greedy_set(primes, starts[q], second ? 1 : 0, sets[s].m)) sets[s].m = {};  // caught by verify
    choose_multipliers(sets[s]);
  }
  return sets;
}

bool fail(int s, const char* what) {
  std::fprintf(stderr, "orx_gen_wh_params: set %d: %s\n", s, what);
  return false;
}

// Every property the engine relies on, plus the two fixed sets.
bool verify(const std::vector<ParamSet>& sets) {
  if (sets.size() != kSets) return fail(-1, "wrong number of sets");
  for (int s = 0; s < kSets; ++s) {
    const ParamSet& set = sets[s];
    for (int i = 0; i < 4; ++i) {
      const uint32_t m = set.m[i];
      const uint32_t a = set.a[i];
      if (m < kBottomModulus || m > kTopModulus || !is_prime(m)) return fail(s, "modulus not a prime of the interval");
      if (i > 0 && set.m[i - 1] <= m) return fail(s, "moduli not strictly decreasing");
      for (int k = 0; k < i; ++k) {
        if (!compatible(set.m[k], m)) return fail(s, "gcd(m_k - 1, m_i - 1) != 2");
        if (set.a[k] == a) return fail(s, "repeated multiplier");
      }
      if (a < 1 || a > kMaxMultiplier || !is_primitive_root(a, m)) return fail(s, "multiplier not a primitive root <= 127");
    }
    if (s > 0 && !(set.m < sets[s - 1].m)) return fail(s, "not lexicographically below the previous set");
  }
  if (sets.front().m != kFirstSet.m || sets.front().a != kFirstSet.a) return fail(0, "differs from the fixed set 0");
  if (sets.back().m != kLastSet.m || sets.back().a != kLastSet.a) return fail(kSets - 1, "differs from the fixed set 272");
  return true;
}

bool write_tables(const std::vector<ParamSet>& sets, const char* path) {
  FILE* out = std::fopen(path, "w");
  if (out == nullptr) return false;
  std::fprintf(out,
               "// Wichmann-Hill parameter sets. Generated by tools/gen_wh_params.cpp\n"
               "// (orx_gen_wh_params <this file>), which states the rule; do not edit.\n\n");
  std::fprintf(out, "alignas(16) const uint8_t _vsl_WH_A[%d][4] = {\n", kSets);
  for (const ParamSet& set : sets)
    std::fprintf(out, "  {%u, %u, %u, %u},\n", set.a[0], set.a[1], set.a[2], set.a[3]);
  std::fprintf(out, "};\n\nalignas(16) const uint32_t _vsl_WH_M[%d][4] = {\n", kSets);
  for (const ParamSet& set : sets)
    std::fprintf(out, "  {%uu, %uu, %uu, %uu},\n", set.m[0], set.m[1], set.m[2], set.m[3]);
  std::fprintf(out, "};\n\nalignas(16) const double _vsldWH_IM_Tab[%d][4] = {\n", kSets);
  for (const ParamSet& set : sets) {
    std::fprintf(out, "  {");
    for (int i = 0; i < 4; ++i) std::fprintf(out, "%a%s", 1.0 / set.m[i], i < 3 ? ", " : "},\n");
  }
  std::fprintf(out, "};\n");
  const bool written = std::ferror(out) == 0;
  return std::fclose(out) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: orx_gen_wh_params <output file> | --verify\n");
    return 1;
  }
  const std::vector<ParamSet> sets = build_sets();
  if (!verify(sets)) return 1;
  if (std::strcmp(argv[1], "--verify") == 0) {
    std::printf("orx_gen_wh_params: %d sets verified\n", kSets);
    return 0;
  }
  if (!write_tables(sets, argv[1])) {
    std::fprintf(stderr, "orx_gen_wh_params: cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
