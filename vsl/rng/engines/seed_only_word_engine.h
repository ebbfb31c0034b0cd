// The registry functions of an engine that can only be seeded (leapfrog and
// skip-ahead refused) and hands out one 32-bit word per value.
//
// Engine: using State; static void seed(State&, int n, const uint32_t* s);
// static void fill_raw(State&, int n, uint32_t* r) for n > 0; static
// constexpr double kUnit, the c of the conversion to [a, b) (uniform_map.h).
#ifndef ORX_VSL_RNG_ENGINES_SEED_ONLY_WORD_ENGINE_H
#define ORX_VSL_RNG_ENGINES_SEED_ONLY_WORD_ENGINE_H

#include <cstdint>
#include <type_traits>

#include "orx/rng.h"
#include "vsl/rng/engines/engine_params.h"
#include "vsl/rng/engines/uniform_map.h"
#include "vsl/rng/stream_record.h"

namespace orx::rng {

template <class Engine>
struct SeedOnlyWordEngine {
  using State = typename Engine::State;

  static int init(int method, orx_rng_stream* stream, int n, const uint32_t* params) {
    if (method == ORX_RNG_INIT_LEAPFROG) return ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED;
    if (method == ORX_RNG_INIT_SKIPAHEAD) return ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED;
    if (method != ORX_RNG_INIT_SEED) return ORX_RNG_ERROR_BAD_METHOD;
    if (params_missing(method, n, params)) return ORX_RNG_ERROR_NULL_POINTER;
    Engine::seed(*state_of<State>(stream), n, params);
    return 0;
  }

  static int raw(orx_rng_stream* stream, int n, uint32_t* r) {
    if (n > 0) Engine::fill_raw(*state_of<State>(stream), n, r);
    return 0;
  }

  template <class Out>
  static int uniform(orx_rng_stream* stream, int n, Out* r, Out a, Out b) {
    State& s = *state_of<State>(stream);
    const auto generate = [&](int count, uint32_t* words) { Engine::fill_raw(s, count, words); };
    if constexpr (std::is_same_v<Out, double>)
      fill_mapped<uint32_t>(n, r, double_map(a, b, Engine::kUnit), generate);
    else
      fill_mapped<uint32_t>(n, r, float_map(a, b, Engine::kUnit), generate);
    return 0;
  }
};

}  // namespace orx::rng

#endif
