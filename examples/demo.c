/* End-to-end demo of orx kernels through the default host runtime.
   Vector math: the thread's mode word (from ORX_VML_MODE), a vector through
   _vmlsAbs, the kernel table slot of the mode, and an error callback that
   reports a forced status and a real overflow.
   Random numbers: a stream of each recurrence engine is created, drawn from,
   skipped ahead, saved to a file and loaded back; the loaded stream continues
   the original's sequence. The twisters' streams are copied and the copies
   continue alike; the quasi-random streams print their first points; an
   abstract stream hands out what its refill function computes; uniform bits
   come as 64-bit words.
   Summary statistics: a task over three correlated variables drawn from
   MT19937; mean, variance, covariance and correlation computed in two calls
   over the two halves of the data (continued through the accumulated
   weights) and printed beside a one-call result over all of it.
   Data fitting: a task over eleven knots of sin, a cell search of a few
   sites, and linear and quadratic splines built on it. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>

#include "orx/host.h"
#include "orx/df.h"
#include "orx/df_search.h"
#include "orx/df_spline.h"
#include "orx/rng.h"
#include "orx/ss.h"
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

/* The twisters: first values, and a copy made mid-way continuing alike. */
static int twisters(void) {
  const struct {
    const char* name;
    uint32_t id;
  } engines[] = {{"MT19937", ORX_BRNG_MT19937},
                 {"MT2203 set 5", ORX_BRNG_MT2203 + 5},
                 {"SFMT19937", ORX_BRNG_SFMT19937}};
  const uint32_t seed = 20261122;
  int failures = 0;
  for (size_t e = 0; e < sizeof engines / sizeof engines[0]; ++e) {
    BrngProperties p;
    orx_rng_stream* stream = NULL;
    orx_rng_stream* copy = NULL;
    double first[3], a[3], b[3];
    int status = __vslGetBrngProperties((int32_t)engines[e].id, &p);
    if (status == 0) status = __vslNewStreamEx(&stream, engines[e].id, 1, &seed);
    if (status == 0) status = p.dBRngFn(stream, 3, first, 0.0, 1.0);
    if (status == 0) status = __vslCopyStream(&copy, stream);
    if (status == 0) status = p.dBRngFn(stream, 3, a, 0.0, 1.0);
    if (status == 0) status = p.dBRngFn(copy, 3, b, 0.0, 1.0);
    if (status != 0) {
      printf("  %-12s failed with status %d\n", engines[e].name, status);
      ++failures;
    } else {
      const int same = a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
      printf("  %-12s %.6f %.6f %.6f | copy %s\n", engines[e].name, first[0], first[1], first[2],
             same ? "continues the same sequence" : "DIFFERS");
      failures += !same;
    }
    __vslDeleteStream(&stream);
    __vslDeleteStream(&copy);
  }
  return failures;
}

/* Quasi-random points: the first four points of 3-dimensional sequences. */
static int quasi_random(void) {
  const struct {
    const char* name;
    uint32_t id;
    orx_rng_dfill_fn fill;
  } engines[] = {{"Sobol", ORX_BRNG_SOBOL, __vsldBRngSobol},
                 {"Niederreiter", ORX_BRNG_NIEDERR, __vsldBRngNiederr}};
  const uint32_t dimension = 3;
  int failures = 0;
  for (size_t e = 0; e < sizeof engines / sizeof engines[0]; ++e) {
    orx_rng_stream* stream = NULL;
    double points[12];
    int status = __vslNewStreamEx(&stream, engines[e].id, 1, &dimension);
    if (status == 0) status = engines[e].fill(stream, 12, points, 0.0, 1.0);
    if (status != 0) {
      printf("  %-12s failed with status %d\n", engines[e].name, status);
      ++failures;
    } else {
      printf("  %-12s", engines[e].name);
      for (int i = 0; i < 12; i += 3)
        printf(" (%g, %g, %g)", points[i], points[i + 1], points[i + 2]);
      printf("\n");
    }
    __vslDeleteStream(&stream);
  }
  return failures;
}

/* An abstract stream whose values come from the caller: squares of 1, 2, ...
   scaled onto [0, 1000), four per refill. */
static double next_square = 1;
static int refill_squares(orx_rng_stream* stream, double* buffer, int32_t n) {
  (void)stream;
  for (int32_t i = 0; i < n; ++i, ++next_square) buffer[i] = next_square * next_square;
  return 0;
}

static int abstract_and_bits(void) {
  double buffer[4], r[6];
  orx_rng_stream* stream = NULL;
  int status = __vsldNewAbstractStream(&stream, 4, buffer, refill_squares, 0.0, 1000.0);
  if (status == 0) status = __vsldBRngdAbstract(stream, 6, r, 0.0, 1.0);
  __vslDeleteStream(&stream);
  if (status != 0) {
    printf("  abstract stream failed with status %d\n", status);
    return 1;
  }
  printf("  abstract stream over a 4-value buffer, 6 values on [0, 1):");
  for (int i = 0; i < 6; ++i) printf(" %g", r[i]);
  printf("\n");

  const uint32_t seed = 5489;
  uint64_t bits[2];
  status = __vslNewStreamEx(&stream, ORX_BRNG_MT19937, 1, &seed);
  if (status == 0) status = _vsliRngUniformBits64(0, stream, 2, bits);
  const int refused = status == 0 ? 0 : 1;
  __vslDeleteStream(&stream);
  if (refused) {
    printf("  uniform bits failed with status %d\n", status);
    return 1;
  }
  printf("  MT19937 uniform bits, 64-bit words: %016llx %016llx\n", (unsigned long long)bits[0],
         (unsigned long long)bits[1]);
  return 0;
}

/* Estimates of one task: mean, raw moment 2, variance, covariance and
   correlation (full storage, p x p). */
enum { kVariables = 3, kObservations = 10000 };
typedef struct Estimates {
  double mean[kVariables], raw2[kVariables], variance[kVariables];
  double cov[kVariables * kVariables], cor[kVariables * kVariables], totals[4];
} Estimates;

/* Registers the result arrays of `e` with a task over `n` observations of x. */
static int estimates_task(SummaryStatsTask** task, const int* p, const int* n, const int* storage,
                          const double* x, Estimates* e) {
  static const int full = SS_MATRIX_STORAGE_FULL;
  int status = __vsldSSNewTask(task, p, n, storage, x, NULL, NULL, 0);
  if (status == 0)
    status = __vsldSSEditMoments(*task, e->mean, e->raw2, NULL, NULL, e->variance, NULL, NULL);
  if (status == 0) status = __vsldSSEditCovCor(*task, e->mean, e->cov, &full, e->cor, &full);
  if (status == 0) status = __vsldSSEditTask(*task, SS_ED_ACCUM_WEIGHT, e->totals);
  return status;
}

static int summary_statistics(void) {
  printf("summary statistics\n");
  /* Observation after observation (columns layout), so each half is one
     contiguous block: x0 ~ U(0, 1), x1 = x0 + noise, x2 = 5 - 2 x0 + noise. */
  static double x[kVariables * kObservations];
  orx_rng_stream* stream = NULL;
  BrngProperties engine;
  double u[2 * kObservations];
  int status = __vslNewStreamEx(&stream, ORX_BRNG_MT19937, 1, (const uint32_t[]){2026});
  if (status == 0) status = __vslGetBrngProperties((int32_t)ORX_BRNG_MT19937, &engine);
  if (status == 0) status = engine.dBRngFn(stream, 2 * kObservations, u, 0.0, 1.0);
  __vslDeleteStream(&stream);
  for (int j = 0; status == 0 && j < kObservations; ++j) {
    x[3 * j] = u[2 * j];
    x[3 * j + 1] = u[2 * j] + 0.5 * u[2 * j + 1];
    x[3 * j + 2] = 5 - 2 * u[2 * j] + 0.1 * u[2 * j + 1];
  }
  const int p = kVariables, n = kObservations, half = kObservations / 2;
  const int storage = SS_MATRIX_STORAGE_COLS;
  const uint64_t wanted = SS_MEAN | SS_2R_MOM | SS_2C_MOM | SS_COV | SS_COR;
  Estimates one = {0}, two = {0};
  SummaryStatsTask* task = NULL;
  /* One call over all observations. */
  if (status == 0) status = estimates_task(&task, &p, &n, &storage, x, &one);
  if (status == 0) status = _vsldSSBasic(task, wanted, SS_METHOD_1PASS);
  __vslSSDeleteTask(&task);
  /* Two calls over the halves: the second continues from the arrays. */
  if (status == 0) status = estimates_task(&task, &p, &half, &storage, x, &two);
  if (status == 0) status = _vsldSSBasic(task, wanted, SS_METHOD_1PASS);
  if (status == 0) status = __vsldSSEditTask(task, SS_ED_OBSERV, x + kVariables * half);
  if (status == 0) status = _vsldSSBasic(task, wanted, SS_METHOD_1PASS);
  __vslSSDeleteTask(&task);
  if (status != 0) {
    printf("  failed with status %d\n", status);
    return 1;
  }
  printf("  %d observations of 3 variables; one call | two calls over halves\n", n);
  for (int i = 0; i < kVariables; ++i)
    printf("  x%d mean %.12f | %.12f   variance %.12f | %.12f\n", i, one.mean[i], two.mean[i],
           one.variance[i], two.variance[i]);
  printf("  cov(x0,x1) %.12f | %.12f   cov(x0,x2) %.12f | %.12f\n", one.cov[1], two.cov[1],
         one.cov[2], two.cov[2]);
  printf("  cor(x0,x1) %.12f | %.12f   cor(x0,x2) %.12f | %.12f\n", one.cor[1], two.cor[1],
         one.cor[2], two.cor[2]);
  printf("  accumulated weight %g | %g\n", one.totals[0], two.totals[0]);
  return 0;
}

/* One cell's polynomial (order coefficients, lowest first) at d = t - x[i]. */
static double piece_value(const double* c, int order, double d) {
  double v = 0;
  for (int k = order - 1; k >= 0; --k) v = v * d + c[k];
  return v;
}

static int data_fitting(const void* const* services) {
  printf("data fitting\n");
  enum { kKnots = 11 };
  double x[kKnots], y[kKnots], linear[2 * (kKnots - 1)], quadratic[3 * (kKnots - 1)];
  for (int i = 0; i < kKnots; ++i) {
    x[i] = 0.2 * i;
    y[i] = sin(x[i]);
  }
  Task1D* task = NULL;
  int status = orx_df_kernel_dNewTask1D(&task, kKnots, x, DF_NON_UNIFORM_PARTITION, 1, y,
                                        DF_MATRIX_STORAGE_ROWS, 0);
  const double sites[6] = {-0.1, 0.0, 0.5, 1.0, 1.99, 2.5};
  int32_t cells[6];
  if (status == 0)
    status = orx_df_kernel_dDFSearch1D(task, NULL, 6, sites, 0, NULL, cells, NULL, NULL, services);
  if (status == 0) {
    printf("  knots 0, 0.2, ..., 2; cells (knots <= site):");
    for (int i = 0; i < 6; ++i) printf(" %g->%d", sites[i], cells[i]);
    printf("\n");
    status = orx_df_kernel_dEditPPSpline1D(task, 2, 0, 0, NULL, 0, NULL, linear,
                                           DF_MATRIX_STORAGE_ROWS);
  }
  if (status == 0) status = orx_df_kernel_dDFLinearSpline1D(task, NULL, 0, services);
  const double first_midpoint[1] = {sin(0.1)};
  if (status == 0)
    status = orx_df_kernel_dEditPPSpline1D(task, 3, 0, DF_BC_Q_VAL, first_midpoint, 0, NULL,
                                           quadratic, DF_MATRIX_STORAGE_ROWS);
  if (status == 0) status = orx_df_kernel_dDFQuadraticSpline1D(task, NULL, 0, services);
  orx_df_kernel_DeleteTask(&task);
  if (status != 0) {
    printf("  failed with status %d\n", status);
    return 1;
  }
  double linear_error = 0, quadratic_error = 0;
  for (int i = 0; i < kKnots - 1; ++i) {
    const double truth = sin(x[i] + 0.1);
    linear_error = fmax(linear_error, fabs(piece_value(linear + 2 * i, 2, 0.1) - truth));
    quadratic_error = fmax(quadratic_error, fabs(piece_value(quadratic + 3 * i, 3, 0.1) - truth));
  }
  printf("  linear cells 0..2 (value, slope): (%.6f, %.6f) (%.6f, %.6f) (%.6f, %.6f)\n",
         linear[0], linear[1], linear[2], linear[3], linear[4], linear[5]);
  printf("  quadratic cell 0: %.6f %+.6f d %+.6f d^2; cell 9: %.6f %+.6f d %+.6f d^2\n",
         quadratic[0], quadratic[1], quadratic[2], quadratic[27], quadratic[28], quadratic[29]);
  printf("  largest error at the cells' midpoints: linear %.2e, quadratic %.2e\n", linear_error,
         quadratic_error);
  return 0;
}

int main(void) {
  const void* const* services = orx_host_services();
  orx_host_num_threads_fn num_threads = (orx_host_num_threads_fn)services[ORX_HOST_NUM_THREADS];
  printf("orx kernels demo (host threads: %lld)\n", (long long)num_threads());
  vector_math();
  int failures = random_numbers();
  failures += twisters();
  failures += quasi_random();
  failures += abstract_and_bits();
  failures += summary_statistics();
  failures += data_fitting(services);
  return failures == 0 ? 0 : 1;
}
