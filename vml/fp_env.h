// Floating-point environment of a kernel: sets the MXCSR bits (and, for x87
// kernels, the x87 precision and rounding) that the kernel needs on entry and
// restores the caller's on exit.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "orx/vml.h"

namespace orx::vml {

// MXCSR control bits a kernel may require: flush-to-zero, rounding control,
// denormals-are-zero.
inline constexpr uint32_t kMxcsrControlMask = 0xE040;
inline constexpr uint32_t kMxcsrFtzDaz = 0x8040;
inline constexpr uint32_t kMxcsrRoundNearest = 0x0000;

// x87 precision-and-rounding bits of the control word.
inline constexpr uint16_t kX87ControlMask = 0x0F00;
inline constexpr uint16_t kX87Extended = 0x0300;  // 64-bit mantissa, nearest
inline constexpr uint16_t kX87Double = 0x0200;    // 53-bit mantissa, nearest
inline constexpr uint16_t kX87Untouched = 0xFFFF;

// The MXCSR control bits a kernel needs under `mode`: its own bits, with the
// denormal field forcing flush-to-zero and denormals-are-zero on or off.
constexpr uint32_t required_mxcsr(uint32_t kernel_bits, uint64_t mode) {
  const uint64_t denormal = mode & ORX_VML_FTZDAZ_MASK;
  if (denormal == ORX_VML_FTZDAZ_ON) return kernel_bits | kMxcsrFtzDaz;
  if (denormal == ORX_VML_FTZDAZ_OFF) return kernel_bits & ~kMxcsrFtzDaz;
  return kernel_bits;
}

// Scoped guard. The caller's MXCSR is saved whole, status flags included, and
// loaded back only when the guard changed it: exception flags raised inside
// the kernel then vanish, while they stay when the caller's MXCSR already had
// the required bits. Hosts rely on this asymmetry; keep it.
class FpEnvGuard {
 public:
  explicit FpEnvGuard(uint64_t mode, uint32_t kernel_mxcsr = kMxcsrRoundNearest,
                      uint16_t x87_bits = kX87Untouched) noexcept {
    const uint32_t required = required_mxcsr(kernel_mxcsr, mode);
    saved_mxcsr_ = _mm_getcsr();
    if ((saved_mxcsr_ & kMxcsrControlMask) != required) {
      _mm_setcsr((saved_mxcsr_ & 0xFFFF1FBFu) | required);
      restore_mxcsr_ = true;
    }
    if (x87_bits != kX87Untouched) {
      __asm__ volatile("fnstcw %0" : "=m"(saved_x87_));
      if ((saved_x87_ & kX87ControlMask) != x87_bits) {
        const uint16_t control = static_cast<uint16_t>((saved_x87_ & ~kX87ControlMask) | x87_bits);
        __asm__ volatile("fldcw %0" : : "m"(control));
        restore_x87_ = true;
      }
    }
  }

  ~FpEnvGuard() {
    if (restore_mxcsr_) _mm_setcsr(saved_mxcsr_);
    if (restore_x87_) __asm__ volatile("fldcw %0" : : "m"(saved_x87_));
  }

  FpEnvGuard(const FpEnvGuard&) = delete;
  FpEnvGuard& operator=(const FpEnvGuard&) = delete;

 private:
  uint32_t saved_mxcsr_ = 0;
  uint16_t saved_x87_ = 0;
  bool restore_mxcsr_ = false;
  bool restore_x87_ = false;
};

}  // namespace orx::vml
