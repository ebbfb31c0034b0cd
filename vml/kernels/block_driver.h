// Runs a unary kernel over n elements in fixed blocks, with a padded scratch
// block for the tail and an out-of-line per-element path for blocks that hold
// special or out-of-range elements.
#pragma once

namespace orx::vml {

// Kernel requirements:
//   using In, Out;                     element types of input and result
//   static constexpr int kBlock;       elements per block
//   static bool block(const In* a, Out* r)
//       computes kBlock elements; stores them and returns true when every lane
//       is in the fast path's range, returns false without storing otherwise
//   static void element(int i, const In* a, Out* r)
//       computes element i alone, reporting its error if it has one
//
// The tail (0 to kBlock-1 elements) is copied to a scratch block whose lanes
// past the end repeat the first remaining element, so no read or write goes
// beyond element n-1; only the valid lanes are copied back.
template <class Kernel>
void run_blocks(int n, const typename Kernel::In* a, typename Kernel::Out* r) {
  using In = typename Kernel::In;
  using Out = typename Kernel::Out;
  constexpr int kBlock = Kernel::kBlock;
  if (n <= 0) return;
  const int full = n - n % kBlock;
  for (int i = 0; i < full; i += kBlock) {
    if (!Kernel::block(a + i, r + i)) {
      for (int j = i; j < i + kBlock; ++j) Kernel::element(j, a, r);
    }
  }
  const int rest = n - full;
  if (rest == 0) return;
  alignas(16) In in[kBlock];
  alignas(16) Out out[kBlock];
  for (int j = 0; j < kBlock; ++j) in[j] = a[full + (j < rest ? j : 0)];
  if (Kernel::block(in, out)) {
    for (int j = 0; j < rest; ++j) r[full + j] = out[j];
  } else {
    for (int j = full; j < n; ++j) Kernel::element(j, a, r);
  }
}

}  // namespace orx::vml
