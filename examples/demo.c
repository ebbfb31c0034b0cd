/* End-to-end demo of orx kernels through the default host runtime.
   Vector math: the thread's mode word (from ORX_VML_MODE), a vector through
   _vmlsAbs, the kernel table slot of the mode, and an error callback that
   reports a forced status and a real overflow.
   Random numbers: a stream of each recurrence engine is created, drawn from,
   skipped ahead, saved to a file and loaded back; the loaded stream continues
   the original's sequence. */
#include <stdio.h>
#include <stdint.h>

#include "orx/host.h"
#include "orx/rng.h"
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

typedef struct {
  const char* name;
  uint32_t id;
  orx_rng_dfill_fn uniform;
} demo_engine;

static int random_numbers(void) {
  printf("random numbers\n");
  const demo_engine engines[] = {
      {"MCG31M1", ORX_BRNG_MCG31M1, __vsldBRngMCG31M1},
      {"MCG59", ORX_BRNG_MCG59, __vsldBRngMCG59},
      {"MRG32K3A", ORX_BRNG_MRG32K3A, __vsldBRngMRG32K3A},
      {"WH set 7", ORX_BRNG_WH + 7, __vsldBRngWH},
      {"R250", ORX_BRNG_R250, __vsldBRngR250},
  };
  const char* image = "orx_demo_stream.bin";
  const uint32_t seed = 20261122;
  int failures = 0;
  for (size_t e = 0; e < sizeof engines / sizeof engines[0]; ++e) {
    orx_rng_stream* stream = NULL;
    orx_rng_stream* loaded = NULL;
    double first[3], original[3], resumed[3];
    int status = __vslNewStreamEx(&stream, engines[e].id, 1, &seed);
    if (status == 0) status = engines[e].uniform(stream, 3, first, 0.0, 1.0);
    /* R250 has no skip-ahead: it reports that and stays where it is. */
    const int skip = __vslSkipAheadStream(stream, 1000000);
    if (status == 0) status = __vslSaveStreamF(stream, image, -1);
    if (status == 0) status = engines[e].uniform(stream, 3, original, 0.0, 1.0);
    if (status == 0) status = __vslLoadStreamF(&loaded, image, -1);
    if (status == 0) status = engines[e].uniform(loaded, 3, resumed, 0.0, 1.0);
    if (status != 0) {
      printf("  %-9s failed with status %d\n", engines[e].name, status);
      ++failures;
    } else {
      int same = 1;
      for (int i = 0; i < 3; ++i) same &= original[i] == resumed[i];
      printf("  %-9s %.6g %.6g %.6g | skip 10^6: %s | saved image %d bytes | after save %.6f %.6f"
             " %.6f, loaded stream %s\n",
             engines[e].name, first[0], first[1], first[2], skip == 0 ? "done" : "refused",
             __vslGetStreamSize(stream), original[0], original[1], original[2],
             same ? "continues the same sequence" : "DIFFERS");
      failures += !same;
    }
    __vslDeleteStream(&stream);
    __vslDeleteStream(&loaded);
  }
  remove(image);
  return failures;
}

int main(void) {
  const void* const* services = orx_host_services();
  orx_host_num_threads_fn num_threads = (orx_host_num_threads_fn)services[ORX_HOST_NUM_THREADS];
  printf("orx kernels demo (host threads: %lld)\n", (long long)num_threads());
  vector_math();
  return random_numbers() == 0 ? 0 : 1;
}
