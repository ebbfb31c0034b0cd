// Double-precision base-10 logarithm r[i] = log10 a[i]: HA kernel (slots 0,
// 1) and EP kernel (slot 2).
//
// Algorithm: the natural logarithm's reduction and table (dln_core.h), then
// a division by ln 10.
//   HA: ln x as a double-double hi + lo (ln_dd: the large sum and r kept
//       exactly by two-sums, error about 2^-66 relative), then
//       log10 x = hh Lh + ((ht Lh + hi Ll) + lo L), where hh is hi with its
//       low 27 bits cleared (26 significant bits), ht = hi - hh,
//       Lh = 1/ln 10 at 26 bits, Ll = 1/ln 10 - Lh and L = 1/ln 10 rounded
//       (generated with the table). hh Lh is exact and the bracket is below
//       2^-24 of it, so the result carries one rounding and a little:
//       0.5 ulp and a little.
//   EP: the natural logarithm's EP core times L (2^-31.6 relative).
// Blocks, guard and special values as the natural logarithm: NaN -> x * 1.0,
// +inf -> +inf, +-0 -> -inf status 2, x < 0 -> 0xFFF8000000000000 status 1,
// subnormal x -> through x 2^52 with the exponent lowered by 52 (HA, exact
// in the double-double) or 52 ln 2 subtracted before the division (EP).
// log10 1 = +0 exactly (hi = lo = +0); log10 of a power of 10 is within
// 1 ulp, not necessarily exact.
// Measured (orx_vml_accuracy, 200000 samples per sub-range): HA 0.581 ulp
// max, at x = 0x1.0012411330f3fp+0; EP relative error 2^-31.62 max, at
// x = 0x1.004001e7a336ap+0 (goal: 2^-26).
#include <emmintrin.h>

#include "orx/vml.h"
#include "vml/fp_env.h"
#include "vml/kernels/ln/dln_core.h"
#include "vml/mode_access.h"

namespace orx::vml::dlog10 {
namespace {

using namespace orx::vml::dln;

constexpr const char* kName = "vdLog10";

inline constexpr Lanes kInvLn10 = pair(__builtin_bit_cast(uint64_t, InvLn10));
inline constexpr Lanes kInvLn10Hi = pair(__builtin_bit_cast(uint64_t, InvLn10Hi));
inline constexpr Lanes kInvLn10Lo = pair(__builtin_bit_cast(uint64_t, InvLn10Lo));
inline constexpr Lanes kHead26 = pair(0xFFFFFFFFF8000000);  // keeps 26 significant bits

__m128d log10_of_ln(const DoubleDouble& l) {
  const __m128d head = _mm_and_pd(l.hi, load(kHead26));
  const __m128d tail = _mm_sub_pd(l.hi, head);
  const __m128d rest = _mm_add_pd(
      _mm_add_pd(_mm_mul_pd(tail, load(kInvLn10Hi)), _mm_mul_pd(l.hi, load(kInvLn10Lo))),
      _mm_mul_pd(l.lo, load(kInvLn10)));
  return _mm_add_pd(_mm_mul_pd(head, load(kInvLn10Hi)), rest);
}

struct CoreHA {
  static __m128d eval(__m128d x) { return log10_of_ln(ln_dd(x, _mm_setzero_pd())); }
  static double subnormal(double scaled) {
    return _mm_cvtsd_f64(log10_of_ln(ln_dd(_mm_set1_pd(scaled), _mm_set1_pd(-52.0))));
  }
};

struct CoreEP {
  static __m128d eval(__m128d x) { return _mm_mul_pd(ln_ep(x), load(kInvLn10)); }
  static double subnormal(double scaled) {
    return (_mm_cvtsd_f64(ln_ep(_mm_set1_pd(scaled))) - dbLn2pow52.scalar()) * InvLn10;
  }
};

template <class Core>
void run(int n, const double* a, double* r) {
  const FpEnvGuard env(_vml_static_wrapper32e_GetMode());
  run_blocks4<LnFamilyBlocks<Core, &kName>>(n, a, r);
}

}  // namespace
}  // namespace orx::vml::dlog10

void orx_vml_kernel_dLog10_E7HAynn(int n, const double* a, double* r) noexcept {
  orx::vml::dlog10::run<orx::vml::dlog10::CoreHA>(n, a, r);
}

void orx_vml_kernel_dLog10_E7EPnnn(int n, const double* a, double* r) noexcept {
  orx::vml::dlog10::run<orx::vml::dlog10::CoreEP>(n, a, r);
}
