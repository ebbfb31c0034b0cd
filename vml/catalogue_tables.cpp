// Kernel tables, cost tables and entry points of every catalogue row whose
// kernels exist, all generated from orx/vml_catalogue.def.
#include "orx/vml.h"

#define ORX_VML_SLOT_KERNELS(t, F, slots) ORX_VML_SLOT_KERNELS_(t, F, ORX_VML_SLOTS_##slots)
#define ORX_VML_SLOT_KERNELS_(t, F, ...) ORX_VML_SLOT_KERNELS__(t, F, __VA_ARGS__)
#define ORX_VML_SLOT_KERNELS__(t, F, la, ha, ep) \
  ORX_VML_KERNEL(t, F, la), ORX_VML_KERNEL(t, F, ha), ORX_VML_KERNEL(t, F, ep)

#define ORX_VML_DEFINE_ENTRY(name, t, F, shape, slot) \
  void name(ORX_VML_PARAMS(shape, t)) noexcept { ORX_VML_TTAB(t, F)[slot](ORX_VML_ARGS(shape)); }

#define ORX_VML_DEFINE_ROW(F, t, slots, c0, c1, c2, shape)                          \
  void (*const ORX_VML_TTAB(t, F)[3])(ORX_VML_PARAMS(shape, t)) = {                  \
      ORX_VML_SLOT_KERNELS(t, F, slots)};                                            \
  const float ORX_VML_CTAB(t, F)[3] = {c0, c1, c2};                                  \
  ORX_VML_DEFINE_ENTRY(_vml##t##F, t, F, shape, 1)                                   \
  ORX_VML_DEFINE_ENTRY(_vml##t##F##_HA, t, F, shape, 1)                              \
  ORX_VML_DEFINE_ENTRY(ORX_VML_CAT(ORX_VML_ENTRY_LA_, t)(F), t, F, shape, 0)         \
  ORX_VML_DEFINE_ENTRY(ORX_VML_CAT(ORX_VML_ENTRY_EP_, t)(F), t, F, shape, 2)

#define ORX_VML_ROW(F, t, slots, c0, c1, c2, shape, built) \
  ORX_VML_IF_##built(ORX_VML_DEFINE_ROW(F, t, slots, c0, c1, c2, shape))
#include "orx/vml_catalogue.def"
#undef ORX_VML_ROW
