// Typed access to the entries of the host service table for the tests.
#ifndef ORX_TESTS_HOST_SERVICES_H
#define ORX_TESTS_HOST_SERVICES_H

#include "orx/host.h"

template <class Function>
Function host_service(int entry) {
  return reinterpret_cast<Function>(orx_host_services()[entry]);
}

#endif
