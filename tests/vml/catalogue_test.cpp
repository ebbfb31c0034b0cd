// The catalogue against the exported library: every built row has its kernel
// table with the slot pattern of its row, its cost table and its entry points
// reaching the right slots; rows without kernels export nothing.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "orx/vml.h"
#include "vml/catalogue.h"

namespace {

using orx::vml::CatalogueRow;
using orx::vml::kCatalogue;

void* symbol(const std::string& name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

std::string symbol_at(const void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_sname == nullptr) return "?";
  return info.dli_sname;
}

TEST(Catalogue, Holds180RowsByType) {
  std::map<char, int> per_type;
  std::map<std::string, int> seen;
  for (const CatalogueRow& row : kCatalogue) {
    ++per_type[row.type];
    EXPECT_EQ(++seen[orx::vml::row_name(row)], 1) << orx::vml::row_name(row) << " twice";
    EXPECT_FALSE(orx::vml::slot_suffixes(row.slots)[0].empty()) << row.slots;
  }
  EXPECT_EQ(std::size(kCatalogue), 180u);
  EXPECT_EQ(per_type['s'], 57);
  EXPECT_EQ(per_type['d'], 57);
  EXPECT_EQ(per_type['c'], 33);
  EXPECT_EQ(per_type['z'], 33);
}

TEST(Catalogue, CostFiguresGivenByTheDesign) {
  const std::map<std::string, std::vector<float>> given = {
      {"sAdd", {1.36f, 1.36f, 1.36f}},          {"dAdd", {4.17f, 4.17f, 4.17f}},
      {"sExp", {10.65f, 10.65f, 7.22f}},        {"dExp", {20.39f, 23.80f, 17.60f}},
      {"cExp", {34.67f, 115.49f, 34.67f}},      {"dPow", {91.29f, 102.62f, 73.01f}},
      {"zMul", {134.86f, 134.86f, 12.41f}},     {"dLinearFrac", {666.666f, 666.666f, 666.666f}},
      {"cAcos", {3160.71f, 3160.71f, 3160.71f}}};
  for (const CatalogueRow& row : kCatalogue) {
    auto it = given.find(orx::vml::row_name(row));
    if (it == given.end()) continue;
    for (int slot = 0; slot < 3; ++slot) EXPECT_EQ(row.cost[slot], it->second[slot]);
  }
  // Element-by-element kernels cost hundreds to thousands, the others less.
  for (const CatalogueRow& row : kCatalogue) {
    for (int slot = 0; slot < 3; ++slot) {
      const bool by_element = orx::vml::slot_suffixes(row.slots)[slot][1] == 'X';
      if (by_element) {
        EXPECT_GE(row.cost[slot], 100.0f) << orx::vml::row_name(row);
      } else {
        EXPECT_LT(row.cost[slot], 200.0f) << orx::vml::row_name(row);
      }
    }
  }
}

TEST(Catalogue, BuiltRowsExportTablesWithTheirSlotPattern) {
  int built = 0;
  for (const CatalogueRow& row : kCatalogue) {
    const std::string name = orx::vml::row_name(row);
    auto* ttab = static_cast<void* const*>(symbol(orx::vml::ttab_symbol(row)));
    auto* ctab = static_cast<const float*>(symbol(orx::vml::ctab_symbol(row)));
    if (!row.built) {
      EXPECT_EQ(ttab, nullptr) << name << " exported without kernels";
      EXPECT_EQ(ctab, nullptr) << name;
      continue;
    }
    ++built;
    ASSERT_NE(ttab, nullptr) << name;
    ASSERT_NE(ctab, nullptr) << name;
    for (int slot = 0; slot < 3; ++slot) {
      EXPECT_EQ(symbol_at(ttab[slot]), orx::vml::kernel_symbol(row, slot)) << name << " slot " << slot;
      EXPECT_EQ(ttab[slot], symbol(orx::vml::kernel_symbol(row, slot)));
      EXPECT_EQ(ctab[slot], row.cost[slot]) << name;
    }
    for (const auto& entry : orx::vml::entry_points(row))
      EXPECT_NE(symbol(entry.symbol), nullptr) << entry.symbol;
  }
  EXPECT_GE(built, 4);
}

// Entry points call the kernel of their slot: same bits as the table's kernel.
template <class In, class Out>
void expect_entries_match_slots(const CatalogueRow& row) {
  using Kernel = void (*)(int, const In*, Out*);
  auto* ttab = static_cast<const Kernel*>(symbol(orx::vml::ttab_symbol(row)));
  ASSERT_NE(ttab, nullptr);
  constexpr int n = 37;
  constexpr int parts = sizeof(In) / sizeof(Out);
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> value(-100.0, 100.0);
  std::vector<In> a(n);
  for (auto& x : a) {
    auto* p = reinterpret_cast<Out*>(&x);
    for (int k = 0; k < parts; ++k) p[k] = static_cast<Out>(value(rng));
  }
  for (const auto& entry : orx::vml::entry_points(row)) {
    auto fn = reinterpret_cast<Kernel>(symbol(entry.symbol));
    ASSERT_NE(fn, nullptr) << entry.symbol;
    std::vector<Out> via_entry(n), via_table(n);
    fn(n, a.data(), via_entry.data());
    ttab[entry.slot](n, a.data(), via_table.data());
    EXPECT_EQ(std::memcmp(via_entry.data(), via_table.data(), n * sizeof(Out)), 0) << entry.symbol;
  }
}

TEST(Catalogue, EntryPointsReachTheirSlots) {
  for (const CatalogueRow& row : kCatalogue) {
    if (!row.built) continue;
    const std::string shape = row.shape;
    SCOPED_TRACE(orx::vml::row_name(row));
    if (shape == "UN" && row.type == 's') expect_entries_match_slots<float, float>(row);
    else if (shape == "UN" && row.type == 'd') expect_entries_match_slots<double, double>(row);
    else if (shape == "C2R" && row.type == 'c') expect_entries_match_slots<orx_complex8, float>(row);
    else if (shape == "C2R" && row.type == 'z') expect_entries_match_slots<orx_complex16, double>(row);
    else ADD_FAILURE() << "no entry-point check for shape " << shape << " of type " << row.type;
  }
}

}  // namespace
