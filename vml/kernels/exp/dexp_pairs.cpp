// Two-lane copies of the double exponential's constants (see dexp_core.h).
#include <utility>

#include "vml/kernels/exp/dexp_core.h"

namespace orx::vml::dexp {
namespace {

template <size_t... I>
constexpr std::array<LanePair, sizeof...(I)> make_pairs(std::index_sequence<I...>) {
  return {LanePair{{pair_value(static_cast<Pair>(I)), pair_value(static_cast<Pair>(I))}}...};
}

}  // namespace

constexpr std::array<LanePair, static_cast<size_t>(Pair::kCount)> kPairs =
    make_pairs(std::make_index_sequence<static_cast<size_t>(Pair::kCount)>{});

}  // namespace orx::vml::dexp
