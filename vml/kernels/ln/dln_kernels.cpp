// Double-precision natural logarithm r[i] = ln a[i]: HA kernel (slots 0, 1)
// and EP kernel (slot 2).
//
// Algorithm (dln_core.h): x = 2^n y, k = nearest ninth-bit index of y's
// fraction, r = y c_k - 1 with c_k ~ 1/(1 + k/512) from the 513-entry table
// BT_Tbl, ln x = n ln 2 + T_k + ln(1 + r), |r| <= 2^-10.
//   HA: ln(1 + r) = r + r^2 (((P4 r + P3) r + P2) r + P1), summed as
//       (n ln2hi + T_hi + r) + (q + n ln2lo + T_lo). This order is fixed and
//       the kernel is bit-exact to it. Away from 1 the error is 0.5 ulp and a
//       little more (one rounding of the large group, a small group below
//       2^-11 of it); near 1 r rounds on its own, and just above
//       x = 1 + 2^-10 (ln x just below 2^-10) the large group rounds in the
//       binade above the result: measured 1.32 ulp max in 200000 samples per
//       sub-range (orx_vml_accuracy), 2.07 ulp in a dense scan of
//       [1.000976, 1.000977], at x = 0x1.004000b222741p+0.
//   EP: ln(1 + r) = r - r^2/2 + r^3/3, no T_lo, no n ln2lo: relative error
//       2^-31.6 max measured (goal: 2^-26).
// Blocks of 4 elements (two vectors of two lanes); the guard on the high
// words (h - 0x80100000 < -0x200000, signed) admits exactly the positive
// normal finite inputs. A block with any other element goes element by
// element, as do the last n mod 4 elements; ordinary elements there take the
// same core, bit-identical to the block. Elements outside the guard:
//   NaN                 -> x * 1.0 (the input NaN made quiet), no status
//   +inf                -> +inf, no status
//   +0, -0              -> -inf, status 2 (pole); under denormals-are-zero a
//                          subnormal input compares equal to 0 and lands here
//   x < 0, -inf too     -> 0xFFF8000000000000, status 1 (domain)
//   positive subnormal  -> ln(x 2^52) - 52 ln 2 (dbLn2pow52): x 2^52 is
//                          normal and exact; ln of the least subnormal is
//                          -744.44007, no status
#include <emmintrin.h>

#include "orx/vml.h"
#include "vml/fp_env.h"
#include "vml/kernels/ln/dln_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dln {
namespace {

constexpr const char* kName = "vdLn";

template <__m128d (*Eval)(__m128d)>
struct LnCore {
  static __m128d eval(__m128d x) { return Eval(x); }
  static double subnormal(double scaled) {
    return _mm_cvtsd_f64(Eval(_mm_set1_pd(scaled))) - dbLn2pow52.scalar();
  }
};

template <class Core>
void run(int n, const double* a, double* r) {
  const FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  run_blocks4<LnFamilyBlocks<Core, &kName>>(n, a, r);
}

}  // namespace
}  // namespace orx::vml::dln

void orx_vml_kernel_dLn_E7HAynn(int n, const double* a, double* r) noexcept {
  orx::vml::dln::run<orx::vml::dln::LnCore<orx::vml::dln::ln_ha>>(n, a, r);
}

void orx_vml_kernel_dLn_E7EPnnn(int n, const double* a, double* r) noexcept {
  orx::vml::dln::run<orx::vml::dln::LnCore<orx::vml::dln::ln_ep>>(n, a, r);
}
