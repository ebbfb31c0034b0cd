// The vector-math catalogue as a C++ table, for tools and tests that walk it.
#pragma once

#include <array>
#include <string>

namespace orx::vml {

struct CatalogueRow {
  const char* function;  // "Abs"
  char type;             // 's', 'd', 'c' or 'z'
  const char* slots;     // slot pattern, e.g. "LA_HA_EP"
  float cost[3];
  const char* shape;     // argument list, e.g. "UN"
  bool built;            // kernels exist, row exported
};

inline constexpr CatalogueRow kCatalogue[] = {
#define ORX_VML_ROW(F, t, slots, c0, c1, c2, shape, built) \
  {#F, #t[0], #slots, {c0, c1, c2}, #shape, #built[0] == 'Y'},
#include "orx/vml_catalogue.def"
#undef ORX_VML_ROW
};

inline std::string row_name(const CatalogueRow& row) {
  return std::string(1, row.type) + row.function;
}

inline std::string ttab_symbol(const CatalogueRow& row) {
  return "orx_vml_kernel_" + row_name(row) + "_ttab";
}

inline std::string ctab_symbol(const CatalogueRow& row) {
  return "orx_vml_kernel_" + row_name(row) + "_ctab";
}

// Kernel suffix in each slot (LA, HA, EP) of a slot pattern; empty if unknown.
inline std::array<std::string, 3> slot_suffixes(const std::string& slots) {
  if (slots == "HA") return {"E7HAynn", "E7HAynn", "E7HAynn"};
  if (slots == "LA_HA_EP") return {"E7LAynn", "E7HAynn", "E7EPnnn"};
  if (slots == "HA_HA_EP") return {"E7HAynn", "E7HAynn", "E7EPnnn"};
  if (slots == "LA_HA_LA") return {"E7LAynn", "E7HAynn", "E7LAynn"};
  if (slots == "X") return {"EXHAynn", "EXHAynn", "EXHAynn"};
  if (slots == "LA_X_LA") return {"E7LAynn", "EXHAynn", "E7LAynn"};
  if (slots == "LA_X_EP") return {"E7LAynn", "EXHAynn", "E7EPnnn"};
  return {};
}

inline std::string kernel_symbol(const CatalogueRow& row, int slot) {
  return "orx_vml_kernel_" + row_name(row) + "_" + slot_suffixes(row.slots)[slot];
}

// Entry points and the slot each calls: plain and _HA the HA slot, then the
// LA and EP entries (_21/_11 for s and c, _50/_26 for d and z).
struct EntryPoint {
  std::string symbol;
  int slot;
};
inline std::array<EntryPoint, 4> entry_points(const CatalogueRow& row) {
  const std::string base = "_vml" + row_name(row);
  const bool single = row.type == 's' || row.type == 'c';
  return {{{base, 1}, {base + "_HA", 1}, {base + (single ? "_21" : "_50"), 0},
           {base + (single ? "_11" : "_26"), 2}}};
}

}  // namespace orx::vml
