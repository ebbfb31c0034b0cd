// The SFMT19937 authors' published outputs (tests/rng/data) and their keys.
#ifndef ORX_TESTS_RNG_SFMT19937_REFERENCE_H
#define ORX_TESTS_RNG_SFMT19937_REFERENCE_H

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "orx/rng.h"

namespace sfmt_reference {

// Keys of the files' init_by_array sections.
inline const std::vector<uint32_t> kKey32 = {0x1234, 0x5678, 0x9abc, 0xdef0};
inline const std::vector<uint32_t> kKey64 = {5, 4, 3, 2, 1};

// One section ("init_gen_rand" or "init_by_array") of the 32-bit or 64-bit
// file as 32-bit words; a 64-bit value is two words, its low half first.
inline std::vector<uint32_t> words(int bits, const std::string& section) {
  std::ifstream in(ORX_RNG_TESTDATA "/sfmt19937-" + std::to_string(bits) + "bit-reference.txt");
  std::vector<uint32_t> out;
  bool inside = false;
  for (std::string token; in >> token;) {
    if (token.rfind("init_", 0) == 0) {
      inside = token.rfind(section, 0) == 0;
      continue;
    }
    if (!inside) continue;
    const uint64_t value = std::stoull(token);
    out.push_back(static_cast<uint32_t>(value));
    if (bits == 64) out.push_back(static_cast<uint32_t>(value >> 32));
  }
  return out;
}

inline orx_rng_stream* stream(const std::vector<uint32_t>& key) {
  orx_rng_stream* s = nullptr;
  return __vslNewStreamEx(&s, ORX_BRNG_SFMT19937, static_cast<uint32_t>(key.size()), key.data()) ==
                 0
             ? s
             : nullptr;
}

}  // namespace sfmt_reference

#endif
