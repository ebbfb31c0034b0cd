// Generator registry: the current table of built-in and user generators and
// the earlier-numbering table, with identifier resolution and registration.
//
// Every built-in record carries its engine's four functions. Registration
// stops at the table's capacity of 512 records with
// ORX_RNG_ERROR_REGISTRY_FULL, leaving the tables unchanged.
#include <cstddef>

#include "orx/rng.h"
#include "vsl/rng/stream_record.h"

namespace {

constexpr int kCapacity = ORX_RNG_REGISTRY_CAPACITY;
constexpr int kBuiltIn = 14;
constexpr int kEarlierRecords = 279;
constexpr int kFirstEarlierWh = 4;   // earlier ids 4..276 are the WH sub-generators
constexpr int kEarlierWhEnd = 277;

#define ORX_ENGINE_FUNCTIONS(E) __vslBRng##E##InitStream, __vslsBRng##E, __vsldBRng##E, __vsliBRng##E

constexpr BrngProperties kMcg31m1 = {24, 1, 0, 4, 31, ORX_ENGINE_FUNCTIONS(MCG31M1)};
constexpr BrngProperties kR250 = {1024, 252, 1, 4, 32, ORX_ENGINE_FUNCTIONS(R250)};
constexpr BrngProperties kMrg32k3a = {40, 6, 1, 4, 32, ORX_ENGINE_FUNCTIONS(MRG32K3A)};
constexpr BrngProperties kMcg59 = {32, 1, 0, 8, 59, ORX_ENGINE_FUNCTIONS(MCG59)};
constexpr BrngProperties kWh = {48, 4, 1, 16, 24, ORX_ENGINE_FUNCTIONS(WH)};
constexpr BrngProperties kSobol = {11648, 2604, 0, 4, 32, ORX_ENGINE_FUNCTIONS(Sobol)};
constexpr BrngProperties kNiederr = {43280, 10498, 0, 4, 32, ORX_ENGINE_FUNCTIONS(Niederr)};

constexpr BrngProperties kBuiltInRecords[kBuiltIn] = {
    kMcg31m1, kR250, kMrg32k3a, kMcg59, kWh, kSobol, kNiederr,
    {2520, 625, 1, 4, 32, ORX_ENGINE_FUNCTIONS(MT19937)},
    {312, 70, 1, 4, 32, ORX_ENGINE_FUNCTIONS(MT2203)},  // MT2203
    {48, 0, 1, 4, 32, ORX_ENGINE_FUNCTIONS(iAbstract)},
    {64, 0, 1, 4, 32, ORX_ENGINE_FUNCTIONS(dAbstract)},
    {56, 0, 1, 4, 32, ORX_ENGINE_FUNCTIONS(sAbstract)},
    {2536, 625, 1, 16, 128, ORX_ENGINE_FUNCTIONS(SFMT19937)},  // SFMT19937
    {24, 1, 1, 4, 32, ORX_ENGINE_FUNCTIONS(TRNG)},
};
constexpr int32_t kBuiltInOffsets[kBuiltIn] = {1, 1, 1, 1, 273, 1, 1, 1, 6024, 1, 1, 1, 1, 1};

constexpr auto current_table() {
  struct Table {
    BrngProperties rows[kCapacity];
    int32_t offsets[kCapacity];
  } table{};
  for (int i = 0; i < kBuiltIn; ++i) {
    table.rows[i] = kBuiltInRecords[i];
    table.offsets[i] = kBuiltInOffsets[i];
  }
  return table;
}

constexpr auto earlier_table() {
  struct Table {
    BrngProperties rows[kCapacity];
  } table{};
  table.rows[0] = kMcg31m1;
  table.rows[1] = kR250;
  table.rows[2] = kMrg32k3a;
  table.rows[3] = kMcg59;
  for (int i = kFirstEarlierWh; i < kEarlierWhEnd; ++i) table.rows[i] = kWh;
  table.rows[277] = kSobol;
  table.rows[278] = kNiederr;
  return table;
}

}  // namespace

// The tables themselves; each has room for 512 records.
static auto g_current = current_table();
BrngProperties* const __RegBrngsNew = g_current.rows;
int32_t* const NumOffsets = g_current.offsets;
int32_t NRegBrngsNew = kBuiltIn;
constexpr auto kEarlier = earlier_table();
const BrngProperties* const __RegBrngs = kEarlier.rows;

const BrngProperties* __vslGetBrngBaseOffset(int32_t id, int32_t* index, int32_t* offset) {
  if (id < 0x100000) {
    const bool wh = id >= kFirstEarlierWh && id < kEarlierWhEnd;
    *index = wh ? kFirstEarlierWh : id;
    *offset = wh ? id - kFirstEarlierWh : 0;
    return __RegBrngs;
  }
  *index = (id >> 20) - 1;
  *offset = id & 0xFFFFF;
  return __RegBrngsNew;
}

int __vslIsBrngValid(const BrngProperties* table, int32_t index, int32_t offset) {
  // Negative indices (negative earlier ids) are refused too, so that nothing
  // is read outside a table.
  if (index < 0) return ORX_RNG_ERROR_INVALID_BRNG;
  if (table == __RegBrngs) return index < kEarlierRecords ? 0 : ORX_RNG_ERROR_INVALID_BRNG;
  if (index >= NRegBrngsNew) return ORX_RNG_ERROR_INVALID_BRNG;
  return offset < NumOffsets[index] ? 0 : ORX_RNG_ERROR_INVALID_BRNG;
}

int __vslGetBrngProperties(int32_t id, BrngProperties* properties) {
  int32_t index, offset;
  const BrngProperties* table = __vslGetBrngBaseOffset(id, &index, &offset);
  const int status = __vslIsBrngValid(table, index, offset);
  if (status != 0) return status;
  *properties = table[index];
  return 0;
}

int __vslGetNumRegBrngs() { return NRegBrngsNew; }

int __vslRegisterBrng(const BrngProperties* p) {
  if (p == nullptr) return ORX_RNG_ERROR_NULL_POINTER;
  if (p->StateBytes < 0) return ORX_RNG_ERROR_BAD_STATE_SIZE;
  if (p->WordBytes != 4 && p->WordBytes != 8 && p->WordBytes != 16)
    return ORX_RNG_ERROR_BAD_WORD_SIZE;
  if (p->StateWords < 1) return ORX_RNG_ERROR_BAD_STATE_WORDS;
  if (p->Bits < 1) return ORX_RNG_ERROR_BAD_BITS;
  if (!p->dBRngFn || !p->iBRngFn || !p->InitStreamFn || !p->sBRngFn)
    return ORX_RNG_ERROR_NULL_POINTER;
  const int n = NRegBrngsNew;
  if (n >= kCapacity) return ORX_RNG_ERROR_REGISTRY_FULL;
  __RegBrngsNew[n] = *p;
  NumOffsets[n] = 1;
  NRegBrngsNew = n + 1;  // published after the record is complete
  return (n + 1) << 20;
}

namespace orx::rng {

const BrngProperties* properties_of(uint32_t id) {
  int32_t index, offset;
  const BrngProperties* table = __vslGetBrngBaseOffset(static_cast<int32_t>(id), &index, &offset);
  return __vslIsBrngValid(table, index, offset) == 0 ? &table[index] : nullptr;
}

}  // namespace orx::rng
