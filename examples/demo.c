/* End-to-end demo of orx kernels through the default host runtime.
   Vector math: the thread's mode word (from ORX_VML_MODE), a vector through
   _vmlsAbs, the kernel table slot of the mode, and an error callback that
   reports a forced status and a real overflow. */
#include <stdio.h>

#include "orx/host.h"
#include "orx/vml.h"

static int report(VmlErrorContext* ctx) {
  printf("  callback: %.*s status %d at element %d, argument %g, result %g\n",
         ctx->func_name_len, ctx->func_name, ctx->code, ctx->index, ctx->arg1, ctx->res1);
  return 0; /* 0: let the mode's other error actions follow */
}

static void vector_math(void) {
  printf("vector math\n");
  const unsigned mode = orx_vml_kernel_GetMode();
  printf("  mode word 0x%X (accuracy slot %d) from ORX_VML_MODE\n", mode,
         orx_vml_kernel_GetTTableIndex());

  const float a[9] = {-3.5f, 2.0f, -0.0f, 1e-3f, -1e30f, 7.25f, -8.0f, 0.5f, -42.0f};
  float r[9];
  _vmlsAbs(9, a, r);
  printf("  vsAbs:");
  for (int i = 0; i < 9; ++i) printf(" %g", r[i]);
  printf("\n");

  const orx_complex16 z[3] = {{3, 4}, {-5, 12}, {1.5e308, 1.5e308}};
  double m[3];
  orx_vml_kernel_SetErrorCallBack(report);
  orx_vml_kernel_SetMode(ORX_VML_ERRMODE_CALLBACK); /* errors go to the callback only */
  const int slot = orx_vml_kernel_GetTTableIndex();
  orx_vml_kernel_zAbs_ttab[slot < 0 ? 1 : slot](3, z, m); /* the slot of the thread's mode */
  printf("  vzAbs: %g %g %g\n", m[0], m[1], m[2]);

  float x[1] = {2.0f}, y[1] = {0.0f};
  orx_vml_kernel_sError(ORX_VML_STATUS_DOMAIN, 0, x, x, y, y, "vsDemo");
  printf("  status after the forced report: %d\n", orx_vml_kernel_ClearErrStatus());
  orx_vml_kernel_ClearErrorCallBack();
}

int main(void) {
  const void* const* services = orx_host_services();
  orx_host_num_threads_fn num_threads = (orx_host_num_threads_fn)services[ORX_HOST_NUM_THREADS];
  printf("orx kernels demo (host threads: %lld)\n", (long long)num_threads());
  vector_math();
  return 0;
}
