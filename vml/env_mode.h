// Parser of the mode environment variable's value.
#pragma once

#include <cstdint>

namespace orx::vml {

// The OR of the values of every "VML_<keyword>" token of `value` (tokens
// separated by single commas), or -1 when `value` is null, empty or invalid.
int64_t parse_mode_tokens(const char* value) noexcept;

}  // namespace orx::vml
