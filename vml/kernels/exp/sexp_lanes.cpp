// Four-lane copies of the single-precision exponential's constants (see
// sexp_core.h).
#include <utility>

#include "vml/kernels/exp/sexp_core.h"

namespace orx::vml::sexp {
namespace {

template <size_t... I>
constexpr std::array<LaneRow, sizeof...(I)> make_rows(std::index_sequence<I...>) {
  return {LaneRow{{lane_value(static_cast<Lane>(I)), lane_value(static_cast<Lane>(I)),
                   lane_value(static_cast<Lane>(I)), lane_value(static_cast<Lane>(I))}}...};
}

}  // namespace

constexpr std::array<LaneRow, static_cast<size_t>(Lane::kCount)> kLanes =
    make_rows(std::make_index_sequence<static_cast<size_t>(Lane::kCount)>{});

}  // namespace orx::vml::sexp
