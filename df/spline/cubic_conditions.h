// What each condition slot asks at the two ends of a cubic spline, and the
// value it carries: bc[0] belongs to the left end, bc[1] to the right end;
// the free end is a second derivative of 0 and reads nothing.
#ifndef ORX_DF_SPLINE_CUBIC_CONDITIONS_H
#define ORX_DF_SPLINE_CUBIC_CONDITIONS_H

#include "df/spline/spline_tables.h"

namespace orx::df {

enum class EndRule { kNotAKnot, kFirstDerivative, kSecondDerivative, kPeriodic };

template <int Slot>
struct CubicCondition {
  static constexpr int kSlot = Slot;
  static constexpr bool kPeriodic = Slot == kSlotPeriodic;
  static constexpr EndRule kLeft = Slot == kSlotNotAKnot   ? EndRule::kNotAKnot
                                   : Slot == kSlotPeriodic ? EndRule::kPeriodic
                                   : (Slot == kSlot1st1st || Slot == kSlot1st2nd)
                                       ? EndRule::kFirstDerivative
                                       : EndRule::kSecondDerivative;
  static constexpr EndRule kRight = Slot == kSlotNotAKnot   ? EndRule::kNotAKnot
                                    : Slot == kSlotPeriodic ? EndRule::kPeriodic
                                    : (Slot == kSlot1st1st || Slot == kSlot2nd1st)
                                        ? EndRule::kFirstDerivative
                                        : EndRule::kSecondDerivative;

  template <class T>
  static T left_value(const T* bc) {
    return Slot == kSlotFreeEnd ? T(0) : bc[0];
  }
  template <class T>
  static T right_value(const T* bc) {
    return Slot == kSlotFreeEnd ? T(0) : bc[1];
  }
};

}  // namespace orx::df

#endif
