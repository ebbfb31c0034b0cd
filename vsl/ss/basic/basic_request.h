// From the requested estimates to the internal result bits the basic
// compute must produce: translation, dependency closure, and the status of
// the lowest result whose array is missing.
#ifndef ORX_SS_BASIC_BASIC_REQUEST_H
#define ORX_SS_BASIC_BASIC_REQUEST_H

#include <cstdint>

#include "orx/ss.h"

namespace orx::ss {

// Internal result bits.
enum BasicBit : uint32_t {
  kBitMean = 1u << 0,
  kBitRaw2 = 1u << 1,
  kBitRaw3 = 1u << 2,
  kBitRaw4 = 1u << 3,
  kBitCentral2 = 1u << 4,
  kBitCentral3 = 1u << 5,
  kBitCentral4 = 1u << 6,
  kBitCov = 1u << 7,
  kBitCor = 1u << 8,
  kBitKurtosis = 1u << 9,
  kBitSkewness = 1u << 10,
  kBitVariation = 1u << 11,
};
constexpr int kBasicBitCount = 12;

// Each internal bit's result field and its status when that field is null.
inline void* basic_result_field(const SummaryStatsTask& task, int bit) {
  switch (bit) {
    case 0: return task.mean;
    case 1: case 2: case 3: return task.raw_moment[bit - 1];
    case 4: case 5: case 6: return task.central_moment[bit - 4];
    case 7: return task.cov;
    case 8: return task.cor;
    case 9: return task.kurtosis;
    case 10: return task.skewness;
    default: return task.variation;
  }
}
constexpr int kBasicMissingStatus[kBasicBitCount] = {
    SS_ERR_BAD_MEAN_ADDR,   SS_ERR_BAD_2R_MOM_ADDR, SS_ERR_BAD_3R_MOM_ADDR, SS_ERR_BAD_4R_MOM_ADDR,
    SS_ERR_BAD_2C_MOM_ADDR, SS_ERR_BAD_3C_MOM_ADDR, SS_ERR_BAD_4C_MOM_ADDR, SS_ERR_BAD_COV_ADDR,
    SS_ERR_BAD_COR_ADDR,    SS_ERR_BAD_KURTOSIS_ADDR, SS_ERR_BAD_SKEWNESS_ADDR,
    SS_ERR_BAD_VARIATION_ADDR};

// What each internal bit needs, itself included.
constexpr uint32_t kBasicDependencies[kBasicBitCount] = {1,   2,   4,   8,   19,  39,
                                                         79,  129, 257, 607, 1079, 2067};

// Request mask -> internal bits (mean .. central 4 keep their positions).
constexpr uint32_t translate_basic_request(uint64_t estimates) {
  uint32_t bits = static_cast<uint32_t>(estimates & 0x7F);
  if (estimates & SS_KURTOSIS) bits |= kBitKurtosis;
  if (estimates & SS_SKEWNESS) bits |= kBitSkewness;
  if (estimates & SS_VARIATION) bits |= kBitVariation;
  if (estimates & SS_COV) bits |= kBitCov;
  if (estimates & SS_COR) bits |= kBitCor;
  return bits;
}

constexpr uint32_t basic_closure(uint32_t bits) {
  uint32_t closure = 0;
  for (int k = 0; k < kBasicBitCount; ++k)
    if (bits & (1u << k)) closure |= kBasicDependencies[k];
  return closure;
}

// 0 when every bit of the closure has its array, else the status of the
// lowest bit that has none.
inline int basic_missing_status(const SummaryStatsTask& task, uint32_t closure) {
  for (int k = 0; k < kBasicBitCount; ++k)
    if ((closure & (1u << k)) && basic_result_field(task, k) == nullptr)
      return kBasicMissingStatus[k];
  return 0;
}

}  // namespace orx::ss

#endif
