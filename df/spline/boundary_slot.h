// Boundary-condition type -> slot of the condition-indexed kernel tables.
#ifndef ORX_DF_SPLINE_BOUNDARY_SLOT_H
#define ORX_DF_SPLINE_BOUNDARY_SLOT_H

#include <cstdint>

#include "df/spline/spline_tables.h"

namespace orx::df {

// -1 for a type no table has a slot for (0, single end bits, above 64, ...).
inline int boundary_slot(int64_t bc_type) {
  switch (bc_type) {
    case DF_BC_NOT_A_KNOT: return kSlotNotAKnot;
    case DF_BC_FREE_END: return kSlotFreeEnd;
    case DF_BC_1ST_LEFT_DER | DF_BC_1ST_RIGHT_DER: return kSlot1st1st;
    case DF_BC_1ST_LEFT_DER | DF_BC_2ND_RIGHT_DER: return kSlot1st2nd;
    case DF_BC_2ND_LEFT_DER | DF_BC_1ST_RIGHT_DER: return kSlot2nd1st;
    case DF_BC_2ND_LEFT_DER | DF_BC_2ND_RIGHT_DER: return kSlot2nd2nd;
    case DF_BC_PERIODIC: return kSlotPeriodic;
    default: return -1;
  }
}

// Slots whose conditions carry values in bc.
inline bool slot_needs_values(int slot) { return slot >= kSlot1st1st && slot <= kSlot2nd2nd; }

}  // namespace orx::df

#endif
