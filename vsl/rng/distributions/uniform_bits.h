// The engines' own packings of uniform 32-bit and 64-bit words, called by the
// uniform-bits entry points with the stream's registry record (whose raw
// function they draw from). Each returns 0 or the raw function's status and
// is called with n > 0 and non-null pointers.
#ifndef ORX_VSL_RNG_DISTRIBUTIONS_UNIFORM_BITS_H
#define ORX_VSL_RNG_DISTRIBUTIONS_UNIFORM_BITS_H

#include <cstdint>

#include "orx/rng.h"

namespace orx::rng {

using UniformBits32Fn = int (*)(const BrngProperties& record, orx_rng_stream* stream, int n,
                                uint32_t* r);
using UniformBits64Fn = int (*)(const BrngProperties& record, orx_rng_stream* stream, int n,
                                uint64_t* r);

// MCG59: the top 32 of each value's 59 bits; a 64-bit word is two of those,
// the first in the low half.
int _viRngUniformBits32MCG59(const BrngProperties& record, orx_rng_stream* stream, int n,
                             uint32_t* r);
int _viRngUniformBits64MCG59(const BrngProperties& record, orx_rng_stream* stream, int n,
                             uint64_t* r);

// SFMT19937: the engine's 32-bit words in sequence order, drawn as whole
// 128-bit raw words; the unused part of the last one waits in a carry-over
// chunk (kind 11 for 32-bit words, 12 for 64-bit words) for the next call.
int _viRngUniformBits32SFMT19937(const BrngProperties& record, orx_rng_stream* stream, int n,
                                 uint32_t* r);
int _viRngUniformBits64SFMT19937(const BrngProperties& record, orx_rng_stream* stream, int n,
                                 uint64_t* r);

}  // namespace orx::rng

#endif
