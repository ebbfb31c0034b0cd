/* Vector math: mode word, error status and callback, per-element reporters,
   and the kernel tables, cost tables, kernels and entry points of every
   function of the catalogue (orx/vml_catalogue.def) whose kernels exist. */
#ifndef ORX_VML_H
#define ORX_VML_H

#include <stddef.h>
#include <stdint.h>

#include "orx/export.h"

/* ---- Element types ------------------------------------------------------- */

typedef struct orx_complex8 { float re, im; } orx_complex8;
typedef struct orx_complex16 { double re, im; } orx_complex16;

/* ---- Mode word ------------------------------------------------------------ */

#define ORX_VML_ACCURACY_MASK 0x0000000Fu
#define ORX_VML_LA 0x1u
#define ORX_VML_HA 0x2u
#define ORX_VML_EP 0x3u

#define ORX_VML_FPU_MASK 0x000000F0u
#define ORX_VML_DEFAULT_PRECISION 0x00u
#define ORX_VML_FLOAT_CONSISTENT 0x10u
#define ORX_VML_DOUBLE_CONSISTENT 0x20u
#define ORX_VML_RESTORE 0x30u

#define ORX_VML_ERRMODE_MASK 0x0000FF00u
#define ORX_VML_ERRMODE_IGNORE 0x0100u
#define ORX_VML_ERRMODE_ERRNO 0x0200u
#define ORX_VML_ERRMODE_STDERR 0x0400u
#define ORX_VML_ERRMODE_EXCEPT 0x0800u
#define ORX_VML_ERRMODE_CALLBACK 0x1000u
#define ORX_VML_ERRMODE_DEFAULT 0x1A00u

#define ORX_VML_FTZDAZ_MASK 0x003C0000u
#define ORX_VML_FTZDAZ_ON 0x00280000u
#define ORX_VML_FTZDAZ_OFF 0x00140000u

/* Mode used when the environment variable ORX_VML_MODE is absent or invalid. */
#define ORX_VML_DEFAULT_MODE 0x1A02u

ORX_API unsigned int orx_vml_kernel_GetMode(void) ORX_NOEXCEPT;
ORX_API unsigned int orx_vml_kernel_SetMode(unsigned int new_mode) ORX_NOEXCEPT;
ORX_API int64_t orx_vml_kernel_ReadEnvVarMode(void) ORX_NOEXCEPT;
ORX_API const void* orx_vml_kernel_SetInterfInputVectorPointer(const void* base) ORX_NOEXCEPT;
ORX_API unsigned int _vmlGetMode(void) ORX_NOEXCEPT;
ORX_API unsigned int _vmlSetMode(unsigned int new_mode) ORX_NOEXCEPT;
ORX_API const void* _vmlSetInterfInputVectorPointer(const void* base) ORX_NOEXCEPT;

/* ---- Slot selection -------------------------------------------------------- */

/* (mode & 0xF) - 1: 0 = LA, 1 = HA, 2 = EP; -1 when the accuracy field is 0. */
ORX_API int orx_vml_kernel_GetTTableIndex(void) ORX_NOEXCEPT;
/* The same for a mode passed explicitly; the first argument is not used. */
ORX_API int orx_vml_kernel_GetTTableIndexM(int64_t unused, uint64_t mode) ORX_NOEXCEPT;
/* Processor generation of the kernels: always 0. */
ORX_API int dll_cpu_version(void) ORX_NOEXCEPT;

/* ---- Error status and callback -------------------------------------------- */

#define ORX_VML_STATUS_OK 0
#define ORX_VML_STATUS_ARG_INVALID (-1)
#define ORX_VML_STATUS_ARG_ACCESS (-2)
#define ORX_VML_STATUS_DOMAIN 1
#define ORX_VML_STATUS_SINGULARITY 2
#define ORX_VML_STATUS_OVERFLOW 3
#define ORX_VML_STATUS_UNDERFLOW 4

/* The record handed to the error callback (natural alignment, 144 bytes). */
typedef struct VmlErrorContext {
  int32_t code;          /* status code */
  int32_t index;         /* element index within the caller's whole vector */
  double arg1;           /* first argument (real part) */
  double arg2;           /* second argument (real part) */
  double res1;           /* first result (real part); the callback may change it */
  double res2;           /* second result (real part); the callback may change it */
  char func_name[64];    /* function name, unterminated when 64 characters long */
  int32_t func_name_len; /* characters in func_name */
  double arg1_im, arg2_im, res1_im, res2_im; /* imaginary parts (complex types) */
} VmlErrorContext;

/* Returns non-zero to stop the remaining actions for this element. */
typedef int (*VmlErrorCallBack)(VmlErrorContext* context);

ORX_API int orx_vml_kernel_SetErrStatus(int status) ORX_NOEXCEPT;
ORX_API int orx_vml_kernel_GetErrStatus(void) ORX_NOEXCEPT;
ORX_API int orx_vml_kernel_ClearErrStatus(void) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack orx_vml_kernel_SetErrorCallBack(VmlErrorCallBack callback) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack orx_vml_kernel_GetErrorCallBack(void) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack orx_vml_kernel_ClearErrorCallBack(void) ORX_NOEXCEPT;
ORX_API int _vmlSetErrStatus(int status) ORX_NOEXCEPT;
ORX_API int _vmlGetErrStatus(void) ORX_NOEXCEPT;
ORX_API int _vmlClearErrStatus(void) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack _vmlSetErrorCallBack(VmlErrorCallBack callback) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack _vmlGetErrorCallBack(void) ORX_NOEXCEPT;
ORX_API VmlErrorCallBack _vmlClearErrorCallBack(void) ORX_NOEXCEPT;

/* Per-element reporters, called by kernels: `index` is the element's position
   in the arrays the kernel was given. A kernel with one input passes it as a1
   and a2, one with one result passes it as r1 and r2. For status -1 and -2 the
   arrays may be null. */
ORX_API void orx_vml_kernel_sError(int status, int index, const float* a1, const float* a2,
                                   float* r1, float* r2, const char* name) ORX_NOEXCEPT;
ORX_API void orx_vml_kernel_dError(int status, int index, const double* a1, const double* a2,
                                   double* r1, double* r2, const char* name) ORX_NOEXCEPT;
ORX_API void orx_vml_kernel_cError(int status, int index, const orx_complex8* a1,
                                   const orx_complex8* a2, orx_complex8* r1, orx_complex8* r2,
                                   const char* name) ORX_NOEXCEPT;
ORX_API void orx_vml_kernel_zError(int status, int index, const orx_complex16* a1,
                                   const orx_complex16* a2, orx_complex16* r1,
                                   orx_complex16* r2, const char* name) ORX_NOEXCEPT;

/* One-element absolute values. */
ORX_API float orx_vml_kernel__sabs_scalar(float x) ORX_NOEXCEPT;
ORX_API double orx_vml_kernel__dabs_scalar(double x) ORX_NOEXCEPT;

/* ---- Catalogue-generated declarations -------------------------------------- */

#include "orx/vml_catalogue_macros.h"

#define ORX_VML_ROW(F, t, slots, c0, c1, c2, shape, built) \
  ORX_VML_IF_##built(ORX_VML_DECLARE_ROW(F, t, slots, shape))
#include "orx/vml_catalogue.def"
#undef ORX_VML_ROW

#endif
