// Checks shared by the construction entry points beyond their own: every
// function to be processed must have a value pointer and a coefficient
// pointer, within the tables the task really holds.
#ifndef ORX_DF_SPLINE_SPLINE_TASK_CHECKS_H
#define ORX_DF_SPLINE_SPLINE_TASK_CHECKS_H

#include "orx/df.h"

namespace orx::df {

// DF_ERR_NULL_Y, DF_ERR_NULL_COEFF or DF_STATUS_OK. The value editor may
// change ny or a storage hint without rebuilding the tables, and separate
// storage (hint 128) leaves the pointers of functions 1.. to the caller:
// a kernel must not find a null or missing entry.
int check_function_pointers(const Task1D& task);

}  // namespace orx::df

#endif
