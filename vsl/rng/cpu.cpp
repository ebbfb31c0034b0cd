// Processor services of the random-number code: the time-stamp counter and
// the probe for the hardware random-number instruction.
#include <cpuid.h>
#include <x86intrin.h>

#include <cstdlib>
#include <cstring>

#include "orx/rng.h"

uint64_t vsltsRDTSC() { return __rdtsc(); }

// Processor identification leaf 1, bit 30 of ECX. Setting the environment
// variable ORX_RNG_DISABLE_RDRAND to 1 makes the probe report the instruction
// absent (read on every call), so that the behaviour on processors without
// it can be exercised anywhere.
int __vslCPUisRDRAND() {
  const char* disabled = std::getenv("ORX_RNG_DISABLE_RDRAND");
  if (disabled != nullptr && std::strcmp(disabled, "1") == 0) return 0;
  unsigned eax, ebx, ecx, edx;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return 0;
  return (ecx >> 30) & 1u;
}
