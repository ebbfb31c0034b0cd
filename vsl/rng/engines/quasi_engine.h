// The registry functions shared by the quasi-random engines: seeding through
// the engine, refusal of leapfrog and skip-ahead, and the output functions
// with the 32-bit value count.
//
// Engine: using State (starting with QuasiCounter);
// static int seed(orx_rng_stream*, int n, const uint32_t* s);
// static int sequence(orx_rng_stream*, QuasiSequence&): the point and
// direction rows the stream walks (state or user-data chunks), or a negative
// status when the state names a dimension its storage cannot hold.
#ifndef ORX_VSL_RNG_ENGINES_QUASI_ENGINE_H
#define ORX_VSL_RNG_ENGINES_QUASI_ENGINE_H

#include <cstdint>
#include <type_traits>

#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/quasi_walk.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

namespace orx::rng {

// The first two words of both states.
struct QuasiCounter {
  uint32_t count;  // values handed out
  int32_t dimension;
};

// The last value count a stream may reach.
inline constexpr uint64_t kQuasiCountLimit = 0xFFFFFFFFu;

// Both engines: leapfrog and skip-ahead are refused, as for the twisters.
template <class Engine>
struct QuasiEngine {
  static int init(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
    if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
    if (method == ORX_RNG_INIT_SKIPAHEAD) return ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED;
    if (method != ORX_RNG_INIT_SEED) return ORX_RNG_ERROR_BAD_METHOD;
    if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
    return Engine::seed(stream, n, params);
  }

  // Nothing is written when the request would take the count past 2^32 - 1.
  template <class Out, class... Map>
  static int fill(orx_rng_stream* stream, int n, Out* r, const Map&... map) {
    if (n <= 0) return 0;
    QuasiCounter& counter = *state_of<QuasiCounter>(stream);
    if (counter.count + static_cast<uint64_t>(n) > kQuasiCountLimit)
      return ORX_RNG_ERROR_QRNG_PERIOD_ELAPSED;
    QuasiSequence sequence;
    const int status = Engine::sequence(stream, sequence);
    if (status != 0) return status;
    quasi_fill(sequence, counter.count, n, r, map...);
    counter.count += static_cast<uint32_t>(n);
    return 0;
  }

  static int raw(orx_rng_stream* stream, int n, uint32_t* r) { return fill(stream, n, r); }

  // Coordinates are 32-bit binary fractions: c = 2^-32.
  template <class Out>
  static int uniform(orx_rng_stream* stream, int n, Out* r, Out a, Out b) {
    if constexpr (std::is_same_v<Out, double>)
      return fill(stream, n, r, double_map(a, b, 0x1p-32));
    else
      return fill(stream, n, r, float_map(a, b, 0x1p-32));
  }
};

}  // namespace orx::rng

#endif
