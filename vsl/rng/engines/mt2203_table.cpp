// Definition of the MT2203 parameter table (generated list, checked in).
#include "vsl/rng/engines/mt2203_table.h"

const uint32_t _vsl_mt2203_table[kMt2203Rows][3] = {
#include "vsl/rng/engines/mt2203_table.inc"
};
