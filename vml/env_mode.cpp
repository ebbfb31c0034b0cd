// Keyword table and parser of the mode environment variable.
#include "vml/env_mode.h"

#include <cstring>

namespace orx::vml {
namespace {

struct ModeKeyword {
  const char* text;
  int32_t length;
  uint64_t value;
};

// Matched in this order; the first keyword that is a prefix of the token wins.
// "DOUBLE_CONSISTEN" is stored with 16 characters, so "DOUBLE_CONSISTENT"
// fails the end-of-token test and is rejected.
constexpr ModeKeyword mapModeS_N[13] = {
    {"LA", 2, 0x1},
    {"HA", 2, 0x2},
    {"EP", 2, 0x3},
    {"DEFAULT_PRECISION", 17, 0x0},
    {"FLOAT_CONSISTENT", 16, 0x10},
    {"DOUBLE_CONSISTEN", 16, 0x20},
    {"RESTORE", 7, 0x30},
    {"ERRMODE_IGNORE", 14, 0x100},
    {"ERRMODE_ERRNO", 13, 0x200},
    {"ERRMODE_STDERR", 14, 0x400},
    {"ERRMODE_EXCEPT", 14, 0x800},
    {"ERRMODE_CALLBACK", 16, 0x1000},
    {"ERRMODE_DEFAULT", 15, 0x1A00},
};

// Only the first 256 characters of the value can hold a keyword.
constexpr size_t kValueLimit = 256;

}  // namespace

int64_t parse_mode_tokens(const char* value) noexcept {
  if (value == nullptr || value[0] == '\0') return -1;
  // The length bounds every comparison: memcmp never reads past the value's
  // terminator, and a keyword longer than what is left cannot match anyway.
  const size_t length = strnlen(value, kValueLimit + 1);
  uint64_t result = 0;
  size_t pos = 0;
  for (;;) {
    if (value[pos] != 'V' || value[pos + 1] != 'M' || value[pos + 2] != 'L' ||
        value[pos + 3] != '_')
      return -1;
    const char* keyword = value + pos + 4;
    const ModeKeyword* match = nullptr;
    for (const ModeKeyword& entry : mapModeS_N) {
      const size_t end = pos + 4 + static_cast<size_t>(entry.length);
      if (end >= kValueLimit) continue;  // would reach character 256
      if (end <= length && std::memcmp(keyword, entry.text, entry.length) == 0) {
        match = &entry;
        break;
      }
    }
    if (match == nullptr) return -1;
    const char next = keyword[match->length];
    if (next != ',' && next != '\0') return -1;
    result |= match->value;
    if (next == '\0') return static_cast<int64_t>(result);
    pos += 4 + static_cast<size_t>(match->length) + 1;
  }
}

}  // namespace orx::vml
