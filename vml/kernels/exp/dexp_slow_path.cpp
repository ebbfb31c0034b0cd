// Special paths of the double-precision exponential: NaN, infinities, and the
// inputs near the overflow and underflow thresholds, element by element, with
// the statuses they report ("vdExp").
//
// HA (thresholds on the raw bits of x):
//   NaN                                      -> all-ones NaN, no status
//   +inf -> +inf; -inf -> +0                 no status
//   x <= -745.1332191019412  (0xC0874910D52D3052)  -> +0, status 4
//   x <= -708.3964185322642  (0xC086232BDD7ABCD3)  -> subnormal: unscaled * 2^(m+1022)
//        (exact) * 2^-1022 (one rounding into the subnormal range), status 4
//   x >= 709.7827128933841   (0x40862E42FEFA39F0)  -> +inf, status 3
//   x >= 709.7772976810359   (0x40862E37E7D8BA72)  -> m = 1024: unscaled * 2^1023 * 2
//   otherwise                                -> the fast path
// LA and EP share one routine with the same NaN, infinity, overflow and
// underflow thresholds and statuses; it scales by two factors wherever m
// leaves the normal exponent range (m = 1024 near overflow, subnormal results
// near underflow), so every finite result is rounded once.
#include <cmath>
#include <limits>

#include "orx/vml.h"
#include "vml/error_report.h"
#include "vml/kernels/exp/dexp_core.h"

namespace orx::vml::dexp {
namespace {

constexpr const char* kName = "vdExp";
constexpr uint64_t kZeroFrom = 0xC0874910D52D3052;       // x <= -745.1332191019412
constexpr uint64_t kSubnormalFrom = 0xC086232BDD7ABCD3;  // x <= -708.3964185322642
constexpr uint64_t kOverflowFrom = 0x40862E42FEFA39F0;   // x >= 709.7827128933841
constexpr uint64_t kTopBinadeFrom = 0x40862E37E7D8BA72;  // x >= 709.7772976810359
constexpr uint64_t kAllOnesNaN = 0xFFFFFFFFFFFFFFFF;

// 2^e for e in [-1022, 1023].
double pow2(int e) { return from_bits(static_cast<uint64_t>(e + 1023) << 52); }

int floor_div(int32_t n, int shift) { return n >> shift; }  // arithmetic shift

// The cases every slot shares. Returns true when r[i] is final.
bool shared_cases(int i, const double* a, double* r) {
  const double x = a[i];
  const uint64_t bits = to_bits(x);
  if (std::isnan(x)) {
    r[i] = from_bits(kAllOnesNaN);
    return true;
  }
  if (std::isinf(x)) {
    r[i] = x > 0 ? x : 0.0;
    return true;
  }
  if (bits >= kZeroFrom) {  // negative and at or below the threshold
    r[i] = 0.0;
    report_error<double, double>(ORX_VML_STATUS_UNDERFLOW, i, a, a, r, r, kName);
    return true;
  }
  if (x > 0 && bits >= kOverflowFrom) {
    r[i] = std::numeric_limits<double>::infinity();
    report_error<double, double>(ORX_VML_STATUS_OVERFLOW, i, a, a, r, r, kName);
    return true;
  }
  return false;
}

}  // namespace

void ha_special(int i, const double* a, double* r) noexcept {
  if (shared_cases(i, a, r)) return;
  const double x = a[i];
  const uint64_t bits = to_bits(x);
  if (bits >= kSubnormalFrom) {
    const HaParts v = ha_parts(x);
    r[i] = (v.unscaled * pow2(floor_div(v.n, 6) + 1022)) * kLeastExpb;
    report_error<double, double>(ORX_VML_STATUS_UNDERFLOW, i, a, a, r, r, kName);
    return;
  }
  if (x > 0 && bits >= kTopBinadeFrom) {
    r[i] = ha_parts(x).unscaled * kExp2Max * kTwo;
    return;
  }
  r[i] = ha_value(x);
}

template <class Core>
void special128(int i, const double* a, double* r) {
  if (shared_cases(i, a, r)) return;
  const double x = a[i];
  const Parts128 v = parts128<Core>(x);
  const double unscaled = v.table + v.table * v.p;
  const int m = floor_div(v.n, 7);
  if (to_bits(x) >= kSubnormalFrom) {
    r[i] = (unscaled * pow2(m + 1022)) * kLeastExpb;
    report_error<double, double>(ORX_VML_STATUS_UNDERFLOW, i, a, a, r, r, kName);
  } else if (m > 1023) {
    // Below the overflow threshold e^x <= DBL_MAX; the shorter polynomials
    // may overshoot it by their error, and DBL_MAX is then the nearest value.
    const double scaled = unscaled * kExp2Max * pow2(m - 1023);
    r[i] = std::isinf(scaled) ? std::numeric_limits<double>::max() : scaled;
  } else {
    r[i] = value128<Core>(x);
  }
}

void la_special(int i, const double* a, double* r) noexcept { special128<LowAccuracy>(i, a, r); }
void ep_special(int i, const double* a, double* r) noexcept {
  special128<EnhancedPerformance>(i, a, r);
}

}  // namespace orx::vml::dexp
