/* Macros that turn a row of orx/vml_catalogue.def into declarations (here)
   and definitions (in the library): kernel names per slot pattern, argument
   lists per shape, entry-point names per element type. */
#ifndef ORX_VML_CATALOGUE_MACROS_H
#define ORX_VML_CATALOGUE_MACROS_H

#define ORX_VML_CAT(a, b) ORX_VML_CAT_(a, b)
#define ORX_VML_CAT_(a, b) a##b
#define ORX_VML_IF_Y(...) __VA_ARGS__
#define ORX_VML_IF_N(...)

/* Element type T and its real type R. */
#define ORX_VML_T_s float
#define ORX_VML_T_d double
#define ORX_VML_T_c orx_complex8
#define ORX_VML_T_z orx_complex16
#define ORX_VML_R_s float
#define ORX_VML_R_d double
#define ORX_VML_R_c float
#define ORX_VML_R_z double

/* Kernel argument lists: the count, the inputs, the outputs. */
#define ORX_VML_PARAMS_UN(T, R) int n, const T* a, T* r
#define ORX_VML_ARGS_UN n, a, r
#define ORX_VML_PARAMS_BIN(T, R) int n, const T* a, const T* b, T* r
#define ORX_VML_ARGS_BIN n, a, b, r
#define ORX_VML_PARAMS_C2R(T, R) int n, const T* a, R* r
#define ORX_VML_ARGS_C2R n, a, r
#define ORX_VML_PARAMS_R2C(T, R) int n, const R* a, T* r
#define ORX_VML_ARGS_R2C n, a, r
#define ORX_VML_PARAMS_POWX(T, R) int n, const T* a, T b, T* r
#define ORX_VML_ARGS_POWX n, a, b, r
#define ORX_VML_PARAMS_TWO(T, R) int n, const T* a, T* r1, T* r2
#define ORX_VML_ARGS_TWO n, a, r1, r2
/* r = (scalea*a + shifta) / (scaleb*b + shiftb) */
#define ORX_VML_PARAMS_LINFRAC(T, R) \
  int n, const T* a, const T* b, T scalea, T shifta, T scaleb, T shiftb, T* r
#define ORX_VML_ARGS_LINFRAC n, a, b, scalea, shifta, scaleb, shiftb, r
/* Pack: y[i] = a[i*inca], a[ia[i]], or the a[j] whose mask ma[j] != 0. */
#define ORX_VML_PARAMS_PACKI(T, R) int n, const T* a, int inca, T* y
#define ORX_VML_ARGS_PACKI n, a, inca, y
#define ORX_VML_PARAMS_PACKV(T, R) int n, const T* a, const int* ia, T* y
#define ORX_VML_ARGS_PACKV n, a, ia, y
#define ORX_VML_PARAMS_PACKM(T, R) int n, const T* a, const int* ma, T* y
#define ORX_VML_ARGS_PACKM n, a, ma, y
/* Unpack: y[i*incy], y[iy[i]], or the y[j] whose mask my[j] != 0, = a[i]. */
#define ORX_VML_PARAMS_UNPACKI(T, R) int n, const T* a, T* y, int incy
#define ORX_VML_ARGS_UNPACKI n, a, y, incy
#define ORX_VML_PARAMS_UNPACKV(T, R) int n, const T* a, T* y, const int* iy
#define ORX_VML_ARGS_UNPACKV n, a, y, iy
#define ORX_VML_PARAMS_UNPACKM(T, R) int n, const T* a, T* y, const int* my
#define ORX_VML_ARGS_UNPACKM n, a, y, my

#define ORX_VML_PARAMS(shape, t) \
  ORX_VML_CAT(ORX_VML_PARAMS_, shape)(ORX_VML_CAT(ORX_VML_T_, t), ORX_VML_CAT(ORX_VML_R_, t))
#define ORX_VML_ARGS(shape) ORX_VML_CAT(ORX_VML_ARGS_, shape)

/* Names. */
#define ORX_VML_KERNEL(t, F, suffix) orx_vml_kernel_##t##F##_##suffix
#define ORX_VML_TTAB(t, F) orx_vml_kernel_##t##F##_ttab
#define ORX_VML_CTAB(t, F) orx_vml_kernel_##t##F##_ctab
#define ORX_VML_ENTRY_LA_s(F) _vmls##F##_21
#define ORX_VML_ENTRY_LA_c(F) _vmlc##F##_21
#define ORX_VML_ENTRY_LA_d(F) _vmld##F##_50
#define ORX_VML_ENTRY_LA_z(F) _vmlz##F##_50
#define ORX_VML_ENTRY_EP_s(F) _vmls##F##_11
#define ORX_VML_ENTRY_EP_c(F) _vmlc##F##_11
#define ORX_VML_ENTRY_EP_d(F) _vmld##F##_26
#define ORX_VML_ENTRY_EP_z(F) _vmlz##F##_26

/* The distinct kernels of each slot pattern: D(t, F, shape, suffix) each. */
#define ORX_VML_KERNELS_HA(D, t, F, shape) D(t, F, shape, E7HAynn)
#define ORX_VML_KERNELS_LA_HA_EP(D, t, F, shape) \
  D(t, F, shape, E7LAynn) D(t, F, shape, E7HAynn) D(t, F, shape, E7EPnnn)
#define ORX_VML_KERNELS_HA_HA_EP(D, t, F, shape) D(t, F, shape, E7HAynn) D(t, F, shape, E7EPnnn)
#define ORX_VML_KERNELS_LA_HA_LA(D, t, F, shape) D(t, F, shape, E7LAynn) D(t, F, shape, E7HAynn)
#define ORX_VML_KERNELS_X(D, t, F, shape) D(t, F, shape, EXHAynn)
#define ORX_VML_KERNELS_LA_X_LA(D, t, F, shape) D(t, F, shape, E7LAynn) D(t, F, shape, EXHAynn)
#define ORX_VML_KERNELS_LA_X_EP(D, t, F, shape) \
  D(t, F, shape, E7LAynn) D(t, F, shape, EXHAynn) D(t, F, shape, E7EPnnn)

/* The kernel suffix in each slot (LA, HA, EP) of each pattern. */
#define ORX_VML_SLOTS_HA E7HAynn, E7HAynn, E7HAynn
#define ORX_VML_SLOTS_LA_HA_EP E7LAynn, E7HAynn, E7EPnnn
#define ORX_VML_SLOTS_HA_HA_EP E7HAynn, E7HAynn, E7EPnnn
#define ORX_VML_SLOTS_LA_HA_LA E7LAynn, E7HAynn, E7LAynn
#define ORX_VML_SLOTS_X EXHAynn, EXHAynn, EXHAynn
#define ORX_VML_SLOTS_LA_X_LA E7LAynn, EXHAynn, E7LAynn
#define ORX_VML_SLOTS_LA_X_EP E7LAynn, EXHAynn, E7EPnnn

/* Declarations of one row: its kernels, tables and entry points. */
#define ORX_VML_DECLARE_KERNEL(t, F, shape, suffix) \
  ORX_API void ORX_VML_KERNEL(t, F, suffix)(ORX_VML_PARAMS(shape, t)) ORX_NOEXCEPT;
#define ORX_VML_DECLARE_ENTRY(name, t, shape) ORX_API void name(ORX_VML_PARAMS(shape, t)) ORX_NOEXCEPT;
#define ORX_VML_DECLARE_ROW(F, t, slots, shape)                                   \
  ORX_VML_KERNELS_##slots(ORX_VML_DECLARE_KERNEL, t, F, shape)                    \
  ORX_API void (*const ORX_VML_TTAB(t, F)[3])(ORX_VML_PARAMS(shape, t));          \
  ORX_API const float ORX_VML_CTAB(t, F)[3];                                      \
  ORX_VML_DECLARE_ENTRY(_vml##t##F, t, shape)                                     \
  ORX_VML_DECLARE_ENTRY(_vml##t##F##_HA, t, shape)                                \
  ORX_VML_DECLARE_ENTRY(ORX_VML_CAT(ORX_VML_ENTRY_LA_, t)(F), t, shape)           \
  ORX_VML_DECLARE_ENTRY(ORX_VML_CAT(ORX_VML_ENTRY_EP_, t)(F), t, shape)

#endif
