// Definitions of the Wichmann-Hill parameter sets (generated file).
#include "vsl/rng/engines/wh_params.h"

#include "orx/wh_params.inc"
