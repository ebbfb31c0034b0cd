// Shared by the basic summary-statistics tests: the estimate fields, their
// request bits, editor ids and statuses, and what a request of each needs.
#ifndef ORX_TESTS_SS_BASIC_FIELDS_H
#define ORX_TESTS_SS_BASIC_FIELDS_H

#include <cstdint>
#include <string>

#include "orx/ss.h"

namespace ss_test {

enum Field : int {
  kMean,
  kRaw2,
  kRaw3,
  kRaw4,
  kCen2,
  kCen3,
  kCen4,
  kKurt,
  kSkew,
  kVar,
  kCov,
  kCor,
  kFieldCount
};
using FieldSet = uint32_t;
constexpr FieldSet bit(Field f) { return 1u << f; }
constexpr FieldSet kAllFields = (1u << kFieldCount) - 1;
constexpr FieldSet kStateFields = bit(kMean) | bit(kRaw2) | bit(kRaw3) | bit(kRaw4);

struct FieldInfo {
  const char* name;
  uint64_t request;
  int editor_id;
  int missing_status;
  FieldSet needs;  // the arrays a request of this field needs, itself included
  bool matrix;
};

constexpr FieldSet kM = bit(kMean), kR2 = bit(kRaw2), kR3 = bit(kRaw3), kR4 = bit(kRaw4);
constexpr FieldSet kC2 = bit(kCen2), kC3 = bit(kCen3), kC4 = bit(kCen4);

inline constexpr FieldInfo kFields[kFieldCount] = {
    {"mean", SS_MEAN, SS_ED_MEAN, SS_ERR_BAD_MEAN_ADDR, kM, false},
    {"raw moment 2", SS_2R_MOM, SS_ED_2R_MOM, SS_ERR_BAD_2R_MOM_ADDR, kR2, false},
    {"raw moment 3", SS_3R_MOM, SS_ED_3R_MOM, SS_ERR_BAD_3R_MOM_ADDR, kR3, false},
    {"raw moment 4", SS_4R_MOM, SS_ED_4R_MOM, SS_ERR_BAD_4R_MOM_ADDR, kR4, false},
    {"central moment 2", SS_2C_MOM, SS_ED_2C_MOM, SS_ERR_BAD_2C_MOM_ADDR, kM | kR2 | kC2, false},
    {"central moment 3", SS_3C_MOM, SS_ED_3C_MOM, SS_ERR_BAD_3C_MOM_ADDR,
     kM | kR2 | kR3 | kC3, false},
    {"central moment 4", SS_4C_MOM, SS_ED_4C_MOM, SS_ERR_BAD_4C_MOM_ADDR,
     kM | kR2 | kR3 | kR4 | kC4, false},
    {"kurtosis", SS_KURTOSIS, SS_ED_KURTOSIS, SS_ERR_BAD_KURTOSIS_ADDR,
     kM | kR2 | kR3 | kR4 | kC2 | kC4 | bit(kKurt), false},
    {"skewness", SS_SKEWNESS, SS_ED_SKEWNESS, SS_ERR_BAD_SKEWNESS_ADDR,
     kM | kR2 | kR3 | kC2 | kC3 | bit(kSkew), false},
    {"variation", SS_VARIATION, SS_ED_VARIATION, SS_ERR_BAD_VARIATION_ADDR,
     kM | kR2 | kC2 | bit(kVar), false},
    {"covariance", SS_COV, SS_ED_COV, SS_ERR_BAD_COV_ADDR, kM | bit(kCov), true},
    {"correlation", SS_COR, SS_ED_COR, SS_ERR_BAD_COR_ADDR, kM | bit(kCor), true},
};

// A missing array is reported for the first field in this order.
inline constexpr Field kMissingOrder[kFieldCount] = {kMean, kRaw2, kRaw3, kRaw4, kCen2, kCen3,
                                                     kCen4, kCov,  kCor,  kKurt, kSkew, kVar};

inline uint64_t request_of(FieldSet fields) {
  uint64_t r = 0;
  for (int f = 0; f < kFieldCount; ++f)
    if (fields & bit(Field(f))) r |= kFields[f].request;
  return r;
}

inline FieldSet closure_of(FieldSet fields) {
  FieldSet c = 0;
  for (int f = 0; f < kFieldCount; ++f)
    if (fields & bit(Field(f))) c |= kFields[f].needs;
  return c;
}

// The status a compute of `requested` gives when only `provided` have arrays.
inline int expected_missing_status(FieldSet requested, FieldSet provided) {
  const FieldSet need = closure_of(requested);
  for (Field f : kMissingOrder)
    if ((need & bit(f)) && !(provided & bit(f))) return kFields[f].missing_status;
  return SS_STATUS_OK;
}

inline std::string field_names(FieldSet s) {
  std::string out;
  for (int f = 0; f < kFieldCount; ++f)
    if (s & bit(Field(f))) out += std::string(out.empty() ? "" : "+") + kFields[f].name;
  return out.empty() ? "none" : out;
}

}  // namespace ss_test

#endif
