// The non-deterministic generator. Its record lets streams be created,
// seeded, copied and saved; this build draws no hardware random numbers, so
// every output function reports the generator unavailable.
#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/stream_record.h"

using namespace orx::rng;

namespace {

struct TrngState {
  uint32_t Reserved;
  uint32_t RetryLimit;  // attempts per word before a drawing generator fails
};
static_assert(kHeaderBytes + sizeof(TrngState) == 24);

constexpr uint32_t kDefaultRetryLimit = 10;

}  // namespace

// The first seed word is not used; the second, when present and not 0, is the
// retry limit.
int __vslBRngTRNGInitStream(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
  if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
  if (method == ORX_RNG_INIT_SKIPAHEAD) return ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED;
  if (method != ORX_RNG_INIT_SEED) return ORX_RNG_ERROR_BAD_METHOD;
  if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
  TrngState& s = *state_of<TrngState>(stream);
  s.Reserved = 0;
  s.RetryLimit = n >= 2 && params[1] != 0 ? params[1] : kDefaultRetryLimit;
  return 0;
}

int __vsliBRngTRNG(orx_rng_stream*, int, uint32_t*) {
  return ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE;
}

int __vsldBRngTRNG(orx_rng_stream*, int, double*, double, double) {
  return ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE;
}

int __vslsBRngTRNG(orx_rng_stream*, int, float*, float, float) {
  return ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE;
}
