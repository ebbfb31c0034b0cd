// Checks shared by the single-precision expm1, log10 and log1p kernel tests:
// a probe table (special values, thresholds one ulp either side, statuses),
// error-mode effects, lengths and aliasing, the denormal field with the
// caller's MXCSR, and a dense sweep of float bit patterns against a double
// reference, in ulps of the float result.
#pragma once

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "orx/vml.h"
#include "tests/vml/length_checks.h"
#include "tests/vml/vml_test_support.h"

namespace orx::test::single {

using Kernel = void (*)(int, const float*, float*);
using Reference = double (*)(double);
using F = std::numeric_limits<float>;
inline constexpr float kInf = F::infinity();

// Error of got against the double reference, in ulps of the float result
// (quantum 2^-149 below FLT_MIN). Double references are within 2^-52 of the
// exact value, far below the resolution needed here.
inline double ulp_error(Reference ref, float x, float got) {
  const double want = ref(x);
  if (std::isinf(want) || std::isnan(want)) return got == want || (std::isnan(got) && std::isnan(want)) ? 0 : INFINITY;
  int e = 0;
  std::frexp(want, &e);
  const int quantum = std::max(e - 1, -126) - 23;
  return std::fabs(static_cast<double>(got) - want) / std::ldexp(1.0, quantum);
}

enum class Expect { kNear, kExact, kNaN, kIndefinite };
struct Probe {
  float x;
  Expect expect;
  float value;  // for kExact: compared bit for bit
  int status;
};

struct Kind {
  const char* name;
  Kernel kernel;
  unsigned accuracy;
  double max_ulps;
};

inline void check_probe(const Kind& k, Reference ref, const Probe& p, float got) {
  SCOPED_TRACE(testing::Message() << k.name << " x=" << p.x << " (0x" << std::hex
                                  << std::bit_cast<uint32_t>(p.x) << ")");
  switch (p.expect) {
    case Expect::kNear:
      EXPECT_TRUE(std::isfinite(got)) << got;
      EXPECT_LT(ulp_error(ref, p.x, got), k.max_ulps) << "got " << got;
      break;
    case Expect::kExact:
      EXPECT_EQ(std::bit_cast<uint32_t>(got), std::bit_cast<uint32_t>(p.value)) << "got " << got;
      break;
    case Expect::kNaN: EXPECT_TRUE(std::isnan(got)) << got; break;
    case Expect::kIndefinite: EXPECT_EQ(std::bit_cast<uint32_t>(got), 0xFFC00000u) << got; break;
  }
}

inline int g_reports, g_code, g_index;
inline int record_and_keep(VmlErrorContext* ctx) {
  ++g_reports;
  g_code = ctx->code;
  g_index = ctx->index;
  return 1;
}

// Every probe alone (tail path) and at lane 5 of a block of `filler`.
inline void check_probes(const Kind& k, Reference ref, const std::vector<Probe>& probes, float filler) {
  with_mode(k.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
    orx_vml_kernel_SetErrorCallBack(record_and_keep);
    for (const Probe& p : probes) {
      float got = -7;
      g_reports = 0;
      k.kernel(1, &p.x, &got);
      check_probe(k, ref, p, got);
      EXPECT_EQ(g_reports, p.status ? 1 : 0) << k.name << " x=" << p.x;
      if (p.status) {
        EXPECT_EQ(g_code, p.status) << k.name << " x=" << p.x;
      }
      std::vector<float> in(16, filler), out(16);
      in[5] = p.x;
      g_reports = 0;
      k.kernel(16, in.data(), out.data());
      check_probe(k, ref, p, out[5]);
      EXPECT_EQ(g_reports, p.status ? 1 : 0) << k.name << " x=" << p.x << " in a block";
      if (p.status) {
        EXPECT_EQ(g_index, 5);
      }
      for (int i = 0; i < 16; ++i) {
        if (i != 5) {
          EXPECT_LT(ulp_error(ref, filler, out[i]), k.max_ulps);
        }
      }
    }
    orx_vml_kernel_ClearErrorCallBack();
  });
}

inline int replace_with_42(VmlErrorContext* ctx) {
  ctx->res1 = 42.0;
  return 0;
}
inline int g_calls;
inline int count_call(VmlErrorContext*) { return ++g_calls, 0; }

// `bad` raises `status` with kernel value `kernel_value`; `good` raises none.
inline void check_error_modes(const Kind& k, float good, float bad, float kernel_value, int status) {
  with_mode(k.accuracy | ORX_VML_ERRMODE_CALLBACK, [&] {
    orx_vml_kernel_SetErrorCallBack(replace_with_42);
    const float in[3] = {good, bad, good};
    float out[3];
    k.kernel(3, in, out);
    EXPECT_NE(out[0], 42.0f);
    EXPECT_EQ(out[1], 42.0f) << k.name;
    EXPECT_EQ(out[2], out[0]);
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), status);
    orx_vml_kernel_ClearErrorCallBack();
  });
  with_mode(k.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
    orx_vml_kernel_SetErrorCallBack(count_call);
    orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);
    g_calls = 0;
    const float in[2] = {good, bad};
    float out[2];
    k.kernel(2, in, out);
    EXPECT_EQ(std::bit_cast<uint32_t>(out[1]), std::bit_cast<uint32_t>(kernel_value)) << k.name;
    EXPECT_EQ(g_calls, 0);
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), status);
    orx_vml_kernel_ClearErrorCallBack();
  });
}

// Lengths, offsets 0..3 and aliasing (length_checks.h), with one special
// element planted among ordinary inputs drawn from `pool`.
inline void check_lengths(const Kind& k, const std::vector<float>& pool, float special) {
  with_mode(k.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
    check_lengths_and_aliasing(k.kernel, k.name, 4, [&](int count, uint32_t seed) {
      std::vector<float> in(count);
      for (size_t i = 0; i < in.size(); ++i) in[i] = pool[(i * 7 + seed) % pool.size()];
      if (count > 3) in[count / 2] = special;
      return in;
    });
  });
}

// Denormal field: 0x280000 reads subnormal inputs as 0 and flushes subnormal
// results, 0x140000 does neither; the caller's MXCSR comes back unchanged.
inline void check_denormal_field(const Kind& k, Reference ref, float subnormal_in, float want_ftz) {
  for (const bool ftz : {true, false}) {
    with_mode(k.accuracy | ORX_VML_ERRMODE_IGNORE | (ftz ? ORX_VML_FTZDAZ_ON : ORX_VML_FTZDAZ_OFF), [&] {
      for (const unsigned caller : {0x1F80u, 0x9FC0u}) {
        const unsigned saved = _mm_getcsr();
        _mm_setcsr(caller);
        float out = -7;
        k.kernel(1, &subnormal_in, &out);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        EXPECT_EQ(after & 0xFFC0u, caller & 0xFFC0u) << k.name << " MXCSR not restored";
        if (ftz) {
          EXPECT_EQ(std::bit_cast<uint32_t>(out), std::bit_cast<uint32_t>(want_ftz))
              << k.name << " flush mode, got " << out;
        } else {
          EXPECT_LT(ulp_error(ref, subnormal_in, out), k.max_ulps) << k.name << " plain mode, got " << out;
        }
      }
    });
  }
}

// Every stride-th float bit pattern in [lo, hi] (plus an offset so that
// different strides see different inputs): max ulp error below the bound.
inline void check_sweep(const Kind& k, Reference ref, uint32_t lo, uint32_t hi, uint32_t stride,
                        const char* label) {
  with_mode(k.accuracy | ORX_VML_ERRMODE_IGNORE, [&] {
    std::vector<float> in, out;
    double worst = 0;
    float worst_x = 0;
    for (uint64_t b = lo; b <= hi; b += stride) in.push_back(std::bit_cast<float>(static_cast<uint32_t>(b)));
    in.push_back(std::bit_cast<float>(hi));
    out.resize(in.size());
    k.kernel(static_cast<int>(in.size()), in.data(), out.data());
    for (size_t i = 0; i < in.size(); ++i) {
      const double e = ulp_error(ref, in[i], out[i]);
      if (e > worst || std::isnan(e)) worst = e, worst_x = in[i];
    }
    EXPECT_LT(worst, k.max_ulps) << k.name << " " << label << " worst x=" << std::hexfloat << worst_x;
    std::printf("%s %s: %zu inputs, max %.4f ulp at x=%a\n", k.name, label, in.size(), worst, worst_x);
  });
}

// Sweep stride: dense in the normal build, coarser under the sanitizers.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr uint32_t kSweepStride = 4099;
#else
inline constexpr uint32_t kSweepStride = 61;
#endif

}  // namespace orx::test::single
