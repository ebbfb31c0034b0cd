// The per-element error reporter: status, callback, errno, messages through
// the host, floating-point exception, write-back of the element's results.
#include "vml/error_report.h"

#include <bit>
#include <cerrno>
#include <cstdint>

#include "orx_serv.h"
#include "vml/thread_state.h"

namespace orx::vml {
namespace {

// Operands of the exceptions raised under ERRMODE_EXCEPT: the smallest normal
// double plus one ulp, the largest double, 0 and 1.
const double _vmldSpecialTab[4] = {
    std::bit_cast<double>(uint64_t{0x0010000000000001}),
    std::bit_cast<double>(uint64_t{0x7FEFFFFFFFFFFFFF}),
    0.0,
    1.0,
};

// Real and imaginary parts of each element type, widened to double.
template <class E> struct Element;
template <> struct Element<float> {
  static double re(const float& x) { return x; }
  static double im(const float&) { return 0.0; }
  static void store(float& out, double re, double) { out = static_cast<float>(re); }
  static constexpr bool kComplex = false;
};
template <> struct Element<double> {
  static double re(const double& x) { return x; }
  static double im(const double&) { return 0.0; }
  static void store(double& out, double re, double) { out = re; }
  static constexpr bool kComplex = false;
};
template <> struct Element<orx_complex8> {
  static double re(const orx_complex8& x) { return x.re; }
  static double im(const orx_complex8& x) { return x.im; }
  static void store(orx_complex8& out, double re, double im) {
    out.re = static_cast<float>(re);
    out.im = static_cast<float>(im);
  }
  static constexpr bool kComplex = true;
};
template <> struct Element<orx_complex16> {
  static double re(const orx_complex16& x) { return x.re; }
  static double im(const orx_complex16& x) { return x.im; }
  static void store(orx_complex16& out, double re, double im) {
    out.re = re;
    out.im = im;
  }
  static constexpr bool kComplex = true;
};

bool is_argument_error(int status) {
  return status == ORX_VML_STATUS_ARG_INVALID || status == ORX_VML_STATUS_ARG_ACCESS;
}

int errno_for(int status) {
  switch (status) {
    case ORX_VML_STATUS_OK: return 0;
    case ORX_VML_STATUS_ARG_INVALID: return EINVAL;
    case ORX_VML_STATUS_ARG_ACCESS: return EACCES;
    case ORX_VML_STATUS_DOMAIN: return EDOM;
    case ORX_VML_STATUS_SINGULARITY:
    case ORX_VML_STATUS_OVERFLOW:
    case ORX_VML_STATUS_UNDERFLOW: return ERANGE;
    default: return EFAULT;
  }
}

// The first message of a status, then, for element errors, one value line per
// argument and result present. A second argument (result) equal to the first
// or to zero counts as absent; a NaN never equals anything and is printed.
void print_messages(const VmlErrorContext& ctx, const char* name) {
  const int status = ctx.code;
  if (status == ORX_VML_STATUS_OK) return;
  if (status == ORX_VML_STATUS_ARG_INVALID) {
    orx_serv_orx_print(1, 735, 2, name, ctx.index);
    return;
  }
  if (status == ORX_VML_STATUS_ARG_ACCESS) {
    orx_serv_orx_print(1, 736, 1, name);
    return;
  }
  const bool known = status >= ORX_VML_STATUS_DOMAIN && status <= ORX_VML_STATUS_UNDERFLOW;
  orx_serv_orx_print(1, known ? 736 + status : 741, 1, name);

  const bool two_args = !(ctx.arg2 == ctx.arg1 || ctx.arg2 == 0.0);
  const bool two_results = !(ctx.res2 == ctx.res1 || ctx.res2 == 0.0);
  const int i = ctx.index;
  if (!two_args && !two_results) {
    orx_serv_orx_print(1, 742, 2, i, ctx.arg1);
    orx_serv_orx_print(1, 743, 2, i, ctx.res1);
  } else if (!two_args) {
    orx_serv_orx_print(1, 744, 2, i, ctx.arg1);
    orx_serv_orx_print(1, 745, 2, i, ctx.res1);
    orx_serv_orx_print(1, 746, 2, i, ctx.res2);
  } else if (!two_results) {
    orx_serv_orx_print(1, 747, 2, i, ctx.arg1);
    orx_serv_orx_print(1, 748, 2, i, ctx.arg2);
    orx_serv_orx_print(1, 749, 2, i, ctx.res1);
  } else {
    orx_serv_orx_print(1, 750, 2, i, ctx.arg1);
    orx_serv_orx_print(1, 751, 2, i, ctx.arg2);
    orx_serv_orx_print(1, 752, 2, i, ctx.res1);
    orx_serv_orx_print(1, 753, 2, i, ctx.res2);
  }
}

// Raises the status's exception by a real computation stored to memory; the
// volatile operands keep the compiler from folding it away.
void raise_exception(int status) {
  const volatile double* tab = _vmldSpecialTab;
  volatile double result;
  switch (status) {
    case ORX_VML_STATUS_DOMAIN: result = tab[2] / tab[2]; break;
    case ORX_VML_STATUS_SINGULARITY: result = tab[3] / tab[2]; break;
    case ORX_VML_STATUS_OVERFLOW: result = tab[1] * tab[1]; break;
    case ORX_VML_STATUS_UNDERFLOW: result = tab[0] * tab[0]; break;
    default: return;
  }
  (void)result;
}

}  // namespace

template <class In, class Out>
void report_error(int status, int index, const In* a1, const In* a2, Out* r1, Out* r2,
                  const char* name) noexcept {
  using I = Element<In>;
  using O = Element<Out>;
  VmlThreadState& state = thread_state();
  state.error_status = status;
  if ((orx_vml_kernel_GetMode() & ORX_VML_ERRMODE_MASK) == ORX_VML_ERRMODE_IGNORE) return;

  // Fields this status does not carry (values of argument errors, imaginary
  // parts of real types) read as zero.
  VmlErrorContext ctx{};
  ctx.code = status;
  ctx.index = index;
  if (state.input_base != nullptr) {
    // Index within the caller's whole vector when the host passes it in chunks.
    const intptr_t bytes = reinterpret_cast<intptr_t>(a1) -
                           reinterpret_cast<intptr_t>(state.input_base);
    ctx.index = static_cast<int32_t>(bytes / static_cast<intptr_t>(sizeof(In)) + index);
  }
  int copied = 0;
  while (copied < 64 && name[copied] != '\0') {
    ctx.func_name[copied] = name[copied];
    ++copied;
  }
  if (copied < 64) ctx.func_name[copied] = '\0';
  ctx.func_name_len = copied;

  if (!is_argument_error(status)) {
    ctx.arg1 = I::re(a1[index]);
    ctx.arg2 = I::re(a2[index]);
    ctx.res1 = O::re(r1[index]);
    ctx.res2 = O::re(r2[index]);
    if constexpr (I::kComplex) {
      ctx.arg1_im = I::im(a1[index]);
      ctx.arg2_im = I::im(a2[index]);
    }
    if constexpr (O::kComplex) {
      ctx.res1_im = O::im(r1[index]);
      ctx.res2_im = O::im(r2[index]);
    }
  }

  if ((orx_vml_kernel_GetMode() & 0xF000) != 0 && state.error_callback != nullptr) {
    if (state.error_callback(&ctx) != 0) return;
  }

  const unsigned int mode = orx_vml_kernel_GetMode();
  if ((mode & 0x0F00) != 0) {
    if (mode & ORX_VML_ERRMODE_ERRNO) errno = errno_for(status);
    if (mode & ORX_VML_ERRMODE_STDERR) print_messages(ctx, name);
    if (mode & ORX_VML_ERRMODE_EXCEPT) raise_exception(status);
  }

  // res2 first: a kernel that passed one array as r1 and r2 keeps res1.
  if (!is_argument_error(status)) {
    O::store(r2[index], ctx.res2, ctx.res2_im);
    O::store(r1[index], ctx.res1, ctx.res1_im);
  }
}

template void report_error(int, int, const float*, const float*, float*, float*, const char*) noexcept;
template void report_error(int, int, const double*, const double*, double*, double*, const char*) noexcept;
template void report_error(int, int, const orx_complex8*, const orx_complex8*, orx_complex8*, orx_complex8*, const char*) noexcept;
template void report_error(int, int, const orx_complex16*, const orx_complex16*, orx_complex16*, orx_complex16*, const char*) noexcept;
template void report_error(int, int, const orx_complex8*, const orx_complex8*, float*, float*, const char*) noexcept;
template void report_error(int, int, const orx_complex16*, const orx_complex16*, double*, double*, const char*) noexcept;
template void report_error(int, int, const float*, const float*, orx_complex8*, orx_complex8*, const char*) noexcept;
template void report_error(int, int, const double*, const double*, orx_complex16*, orx_complex16*, const char*) noexcept;

}  // namespace orx::vml

void orx_vml_kernel_sError(int status, int index, const float* a1, const float* a2, float* r1,
                           float* r2, const char* name) noexcept {
  orx::vml::report_error(status, index, a1, a2, r1, r2, name);
}
void orx_vml_kernel_dError(int status, int index, const double* a1, const double* a2, double* r1,
                           double* r2, const char* name) noexcept {
  orx::vml::report_error(status, index, a1, a2, r1, r2, name);
}
void orx_vml_kernel_cError(int status, int index, const orx_complex8* a1, const orx_complex8* a2,
                           orx_complex8* r1, orx_complex8* r2, const char* name) noexcept {
  orx::vml::report_error(status, index, a1, a2, r1, r2, name);
}
void orx_vml_kernel_zError(int status, int index, const orx_complex16* a1,
                           const orx_complex16* a2, orx_complex16* r1, orx_complex16* r2,
                           const char* name) noexcept {
  orx::vml::report_error(status, index, a1, a2, r1, r2, name);
}
