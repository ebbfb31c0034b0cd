// Shared check of a unary kernel's handling of lengths, pointers and aliasing.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace orx::test {

// Lengths 0..40 at element offsets 0..offsets-1 (odd offsets leave the
// arrays off their 16-byte alignment): each of the n results has the bits of
// the kernel's result for that element alone, nothing is written outside
// [0, n), an in-place call gives the same bits, and a length of 0 or below
// writes nothing. The input array has exactly n + offset elements, so an
// over-read shows under AddressSanitizer. `inputs(count, seed)` makes it
// (the caller plants its special values there); the caller sets the mode.
template <class T, class Inputs>
void check_lengths_and_aliasing(void (*kernel)(int, const T*, T*), const char* name, int offsets,
                                Inputs inputs) {
  using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  constexpr int kGuard = 9;
  const T sentinel = static_cast<T>(-12345.5);
  for (int n = 0; n <= 40; ++n) {
    for (int offset = 0; offset < offsets; ++offset) {
      const std::vector<T> in = inputs(n + offset, static_cast<uint32_t>(31 * n + offset));
      std::vector<T> out(in.size() + kGuard, sentinel);
      kernel(n, in.data() + offset, out.data() + offset);
      for (int i = 0; i < offset; ++i) EXPECT_EQ(out[i], sentinel) << name;
      for (int i = 0; i < n; ++i) {
        T alone;
        kernel(1, &in[offset + i], &alone);
        EXPECT_EQ(std::bit_cast<Bits>(out[offset + i]), std::bit_cast<Bits>(alone))
            << name << " n=" << n << " i=" << i;
      }
      for (size_t i = offset + n; i < out.size(); ++i)
        EXPECT_EQ(out[i], sentinel) << name << " n=" << n << " wrote past the end";
      std::vector<T> inplace(in);
      kernel(n, inplace.data() + offset, inplace.data() + offset);
      for (int i = 0; i < n; ++i)
        EXPECT_EQ(std::bit_cast<Bits>(inplace[offset + i]), std::bit_cast<Bits>(out[offset + i]))
            << name << " n=" << n << " in place";
    }
  }
  T untouched = sentinel;
  const T one = 1;
  for (int n : {0, -3}) {
    kernel(n, &one, &untouched);
    EXPECT_EQ(untouched, sentinel) << name << " n=" << n;
  }
}

}  // namespace orx::test
