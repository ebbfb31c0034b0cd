// The per-thread state, the mode word and its first reading from the
// environment variable ORX_VML_MODE.
#include <array>
#include <cstdlib>

#include "orx/vml.h"
#include "vml/env_mode.h"
#include "vml/thread_state.h"

namespace orx::vml {
namespace {

thread_local VmlThreadState tls_state{};

// The variable's name is stored XOR-scrambled and rebuilt on the stack before
// each lookup, so the plain name is not a string of the binary. The scrambling
// runs at compile time; only its result is emitted.
constexpr uint8_t kNameKey = 0xA7;
template <size_t N>
consteval std::array<uint8_t, N - 1> scramble(const char (&plain)[N]) {
  std::array<uint8_t, N - 1> out{};
  for (size_t i = 0; i + 1 < N; ++i)
    out[i] = static_cast<uint8_t>(plain[i] ^ (kNameKey + 13 * i));
  return out;
}
constexpr auto kScrambledName = scramble("ORX_VML_MODE");

const char* read_mode_variable() noexcept {
  // The empty asm hides the key's value from the optimiser, which would
  // otherwise fold the loop back into the plain name.
  uint8_t key = kNameKey;
  __asm__("" : "+r"(key));
  char name[kScrambledName.size() + 1];
  for (size_t i = 0; i < kScrambledName.size(); ++i)
    name[i] = static_cast<char>(kScrambledName[i] ^ static_cast<uint8_t>(key + 13 * i));
  name[kScrambledName.size()] = '\0';
  return std::getenv(name);
}

constexpr uint64_t kAccuracyField = 0xF;
constexpr uint64_t kErrorModeField = 0xFF00;
constexpr uint64_t kDenormalField = 0x3C0000;

}  // namespace

VmlThreadState& thread_state() noexcept { return tls_state; }

}  // namespace orx::vml

using orx::vml::thread_state;

int64_t orx_vml_kernel_ReadEnvVarMode() noexcept {
  return orx::vml::parse_mode_tokens(orx::vml::read_mode_variable());
}

// A variable that parses to 0 leaves the word at 0, so it is read again on
// the next call (and the accuracy slot is -1 meanwhile).
unsigned int orx_vml_kernel_GetMode() noexcept {
  auto& state = thread_state();
  if (state.mode != 0) return static_cast<unsigned int>(state.mode);
  const int64_t parsed = orx_vml_kernel_ReadEnvVarMode();
  state.mode = parsed == -1 ? ORX_VML_DEFAULT_MODE : static_cast<uint32_t>(parsed);
  return static_cast<unsigned int>(state.mode);
}

// Each field of new_mode that is non-zero replaces the whole field; a zero
// field, the floating-point-control field and all other bits are ignored.
unsigned int orx_vml_kernel_SetMode(unsigned int new_mode) noexcept {
  using namespace orx::vml;
  const unsigned int previous = orx_vml_kernel_GetMode();
  uint64_t mode = thread_state().mode;
  for (uint64_t field : {kAccuracyField, kErrorModeField, kDenormalField}) {
    if ((new_mode & field) != 0) mode = (mode & ~field) | (new_mode & field);
  }
  thread_state().mode = mode;
  return previous;
}

const void* orx_vml_kernel_SetInterfInputVectorPointer(const void* base) noexcept {
  thread_state().input_base = base;
  return base;
}

unsigned int _vmlGetMode() noexcept { return orx_vml_kernel_GetMode(); }
unsigned int _vmlSetMode(unsigned int new_mode) noexcept { return orx_vml_kernel_SetMode(new_mode); }
const void* _vmlSetInterfInputVectorPointer(const void* base) noexcept {
  return orx_vml_kernel_SetInterfInputVectorPointer(base);
}
