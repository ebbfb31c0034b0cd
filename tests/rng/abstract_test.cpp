// Abstract streams (caller's buffer and refill function) and the
// non-deterministic generator's record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "orx/rng.h"
#include "vsl/rng/stream_record.h"

namespace {

// Refills hand out consecutive integers (as the buffer's type) and count calls.
int g_refills = 0;
uint32_t g_next = 0;
int g_refill_status = 0;

template <class Value>
int counting_refill(orx_rng_stream*, Value* buffer, int32_t n) {
  ++g_refills;
  if (g_refill_status < 0) return g_refill_status;
  for (int32_t k = 0; k < n; ++k) buffer[k] = static_cast<Value>(g_next++);
  return 0;
}

class Abstract : public ::testing::Test {
 protected:
  void SetUp() override {
    g_refills = 0;
    g_next = 0;
    g_refill_status = 0;
  }
  void TearDown() override { __vslDeleteStream(&stream_); }
  orx_rng_stream* stream_ = nullptr;
};

TEST_F(Abstract, IntegerStreamRefillsAndHandsOutInBufferOrder) {
  uint32_t buffer[4] = {99, 99, 99, 99};
  ASSERT_EQ(__vsliNewAbstractStream(&stream_, 4, buffer, counting_refill<uint32_t>), 0);
  EXPECT_EQ(g_refills, 0);
  std::vector<uint32_t> r(10);
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 10, r.data()), 0);
  EXPECT_EQ(g_refills, 3);  // the first request starts with a refill
  for (uint32_t k = 0; k < 10; ++k) EXPECT_EQ(r[k], k);
  // Two values left in the buffer: the next request uses them before refilling.
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 2, r.data()), 0);
  EXPECT_EQ(g_refills, 3);
  EXPECT_EQ(r[0], 10u);
  EXPECT_EQ(r[1], 11u);
}

TEST_F(Abstract, SplitRequestsEqualOneRequest) {
  uint32_t buffer[7];
  ASSERT_EQ(__vsliNewAbstractStream(&stream_, 7, buffer, counting_refill<uint32_t>), 0);
  std::vector<uint32_t> r;
  for (int length = 1; length <= 12; ++length) {
    std::vector<uint32_t> part(length);
    ASSERT_EQ(__vsliBRngiAbstract(stream_, length, part.data()), 0);
    r.insert(r.end(), part.begin(), part.end());
  }
  for (size_t k = 0; k < r.size(); ++k) EXPECT_EQ(r[k], k);
}

TEST_F(Abstract, ConstructorsRefuseBadArgumentsAndAllocateNothing) {
  uint32_t ibuf[4];
  double dbuf[4];
  float sbuf[4];
  const double nan = std::nan("");
  EXPECT_EQ(__vsliNewAbstractStream(&stream_, 0, ibuf, counting_refill<uint32_t>), -3);
  EXPECT_EQ(__vsliNewAbstractStream(&stream_, 4, nullptr, counting_refill<uint32_t>), -3);
  EXPECT_EQ(__vsliNewAbstractStream(&stream_, 4, ibuf, nullptr), -3);
  EXPECT_EQ(__vsliNewAbstractStream(nullptr, 4, ibuf, counting_refill<uint32_t>), -3);
  EXPECT_EQ(__vsliNewAbstractStream(&stream_, 0x80000000u, ibuf, counting_refill<uint32_t>), -3);
  EXPECT_EQ(__vsldNewAbstractStream(&stream_, 4, dbuf, counting_refill<double>, 1.0, 1.0), -3);
  EXPECT_EQ(__vsldNewAbstractStream(&stream_, 4, dbuf, counting_refill<double>, 2.0, 1.0), -3);
  EXPECT_EQ(__vsldNewAbstractStream(&stream_, 4, dbuf, counting_refill<double>, nan, 1.0), -3);
  EXPECT_EQ(__vsldNewAbstractStream(&stream_, 0, dbuf, counting_refill<double>, 0.0, 1.0), -3);
  EXPECT_EQ(__vslsNewAbstractStream(&stream_, 4, sbuf, counting_refill<float>, 1.0f, 1.0f), -3);
  EXPECT_EQ(__vslsNewAbstractStream(&stream_, 4, nullptr, counting_refill<float>, 0.0f, 1.0f), -3);
  EXPECT_EQ(stream_, nullptr);
  for (uint32_t id : {ORX_BRNG_IABSTRACT, ORX_BRNG_DABSTRACT, ORX_BRNG_SABSTRACT}) {
    const uint32_t seed = 1;
    EXPECT_EQ(__vslNewStreamEx(&stream_, id, 1, &seed), ORX_RNG_ERROR_INVALID_BRNG);
  }
  EXPECT_EQ(stream_, nullptr);
}

// Every refill stores 0, 1, 2, ...: values on [0, n).
int index_refill(orx_rng_stream*, double* buffer, int32_t n) {
  for (int32_t k = 0; k < n; ++k) buffer[k] = k;
  return 0;
}

TEST_F(Abstract, RealStreamsRescaleExactlyAtTheEnds) {
  double buffer[3];
  ASSERT_EQ(__vsldNewAbstractStream(&stream_, 3, buffer, index_refill, 0.0, 3.0), 0);
  // Same interval: the buffer's values unchanged.
  double r[6];
  ASSERT_EQ(__vsldBRngdAbstract(stream_, 3, r, 0.0, 3.0), 0);
  EXPECT_EQ(r[0], 0.0);
  EXPECT_EQ(r[1], 1.0);
  EXPECT_EQ(r[2], 2.0);
  // [0, 3) onto [-1, 0.5): v = 0 gives -1 exactly, the others the affine image.
  ASSERT_EQ(__vsldBRngdAbstract(stream_, 3, r, -1.0, 0.5), 0);
  EXPECT_EQ(r[0], -1.0);
  EXPECT_EQ(r[1], -0.5);
  EXPECT_EQ(r[2], 0.0);
  float f[3];
  ASSERT_EQ(__vslsBRngdAbstract(stream_, 3, f, 10.0f, 13.0f), 0);
  EXPECT_EQ(f[0], 10.0f);
  EXPECT_EQ(f[1], 11.0f);
  EXPECT_EQ(f[2], 12.0f);
}

// A value just below the buffer's upper end, mapped onto an interval whose
// upper end rounding reaches, stays below it.
int upper_end_refill(orx_rng_stream*, double* buffer, int32_t n) {
  for (int32_t k = 0; k < n; ++k) buffer[k] = std::nextafter(1.0, 0.0);
  return 0;
}

TEST_F(Abstract, RescaledValuesStayBelowTheUpperEnd) {
  double buffer[2];
  ASSERT_EQ(__vsldNewAbstractStream(&stream_, 2, buffer, upper_end_refill, 0.0, 1.0), 0);
  double r[2];
  ASSERT_EQ(__vsldBRngdAbstract(stream_, 2, r, 1e16, 1e16 + 2.0), 0);
  EXPECT_LT(r[0], 1e16 + 2.0);
  EXPECT_GE(r[0], 1e16);
  float f[2];
  ASSERT_EQ(__vslsBRngdAbstract(stream_, 2, f, 0.0f, 1.0f), 0);
  EXPECT_LT(f[0], 1.0f);
}

TEST_F(Abstract, FloatStreamGivesDoublesExactly) {
  float buffer[2];
  ASSERT_EQ(__vslsNewAbstractStream(&stream_, 2, buffer, counting_refill<float>, 0.0f, 4.0f), 0);
  double r[2];
  ASSERT_EQ(__vsldBRngsAbstract(stream_, 2, r, 0.0, 4.0), 0);
  EXPECT_EQ(r[0], 0.0);
  EXPECT_EQ(r[1], 1.0);
}

TEST_F(Abstract, KindsItCannotGiveAndRefusedMethods) {
  uint32_t ibuf[2];
  ASSERT_EQ(__vsliNewAbstractStream(&stream_, 2, ibuf, counting_refill<uint32_t>), 0);
  double r[2];
  float f[2];
  EXPECT_EQ(__vsldBRngiAbstract(stream_, 2, r, 0.0, 1.0), ORX_RNG_ERROR_ABSTRACT_TYPE);
  EXPECT_EQ(__vslsBRngiAbstract(stream_, 2, f, 0.0f, 1.0f), ORX_RNG_ERROR_ABSTRACT_TYPE);
  EXPECT_EQ(__vslLeapfrogStream(stream_, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslSkipAheadStream(stream_, 5), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  EXPECT_EQ(__vslBRngiAbstractInitStream(3, stream_, 6, nullptr), ORX_RNG_ERROR_BAD_METHOD);
  EXPECT_EQ(__vslBRngiAbstractInitStream(0, stream_, 6, nullptr), ORX_RNG_ERROR_NULL_POINTER);
  const uint32_t words[10] = {};
  EXPECT_EQ(__vslBRngiAbstractInitStream(0, stream_, 10, words), ORX_RNG_ERROR_BAD_ARGUMENT);
  EXPECT_EQ(g_refills, 0);

  orx_rng_stream* real = nullptr;
  double dbuf[2];
  ASSERT_EQ(__vsldNewAbstractStream(&real, 2, dbuf, counting_refill<double>, 0.0, 1.0), 0);
  uint32_t words_out[2];
  EXPECT_EQ(__vsliBRngdAbstract(real, 2, words_out), ORX_RNG_ERROR_ABSTRACT_TYPE);
  __vslDeleteStream(&real);
}

TEST_F(Abstract, FailingRefillEndsTheRequestAndIsRetried) {
  uint32_t buffer[3];
  ASSERT_EQ(__vsliNewAbstractStream(&stream_, 3, buffer, counting_refill<uint32_t>), 0);
  std::vector<uint32_t> r(5, 77);
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 2, r.data()), 0);
  r.assign(5, 77);
  g_refill_status = -7;
  EXPECT_EQ(__vsliBRngiAbstract(stream_, 5, r.data()), -7);
  EXPECT_EQ(r[0], 2u);  // the value left in the buffer was handed out
  EXPECT_EQ(r[1], 77u);
  g_refill_status = 0;
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 2, r.data()), 0);
  EXPECT_EQ(r[0], 3u);
  EXPECT_EQ(r[1], 4u);
}

TEST_F(Abstract, CopyRefersToTheSameBuffer) {
  uint32_t buffer[4];
  ASSERT_EQ(__vsliNewAbstractStream(&stream_, 4, buffer, counting_refill<uint32_t>), 0);
  uint32_t r[2];
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 2, r), 0);
  orx_rng_stream* copy = nullptr;
  ASSERT_EQ(__vslCopyStream(&copy, stream_), 0);
  uint32_t a[2], b[2];
  ASSERT_EQ(__vsliBRngiAbstract(copy, 2, a), 0);
  ASSERT_EQ(__vsliBRngiAbstract(stream_, 2, b), 0);
  EXPECT_EQ(a[0], 2u);
  EXPECT_EQ(b[0], 2u);
  EXPECT_EQ(a[1], b[1]);
  __vslDeleteStream(&copy);
}

// ---- the non-deterministic generator ----------------------------------

struct TrngState {
  uint32_t Reserved, RetryLimit;
};

struct RetryCase {
  std::vector<uint32_t> seed;
  uint32_t retry_limit;
};

class Trng : public ::testing::TestWithParam<RetryCase> {};

TEST_P(Trng, SeedingSetsTheRetryLimitAndOutputsAreUnavailable) {
  const RetryCase& c = GetParam();
  orx_rng_stream* stream = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&stream, ORX_BRNG_NONDETERM, static_cast<uint32_t>(c.seed.size()),
                             c.seed.empty() ? nullptr : c.seed.data()),
            0);
  const auto* s = orx::rng::state_of<TrngState>(stream);
  EXPECT_EQ(s->Reserved, 0u);
  EXPECT_EQ(s->RetryLimit, c.retry_limit);
  double r[2];
  uint32_t w[2];
  float f[2];
  EXPECT_EQ(__vsldBRngTRNG(stream, 2, r, 0.0, 1.0), ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE);
  EXPECT_EQ(__vsliBRngTRNG(stream, 2, w), ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE);
  EXPECT_EQ(__vslsBRngTRNG(stream, 2, f, 0.0f, 1.0f), ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE);
  EXPECT_EQ(__vslLeapfrogStream(stream, 0, 2), ORX_RNG_ERROR_LEAPFROG_UNSUPPORTED);
  EXPECT_EQ(__vslSkipAheadStream(stream, 1), ORX_RNG_ERROR_SKIPAHEAD_UNSUPPORTED);
  __vslDeleteStream(&stream);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Trng,
                         ::testing::Values(RetryCase{{7, 0}, 10}, RetryCase{{7, 3}, 3},
                                           RetryCase{{7}, 10}, RetryCase{{}, 10},
                                           RetryCase{{0, 1, 2}, 1}));

TEST(TrngImage, LoadsOnlyWhereTheInstructionExists) {
  const uint32_t seed[2] = {7, 4};
  orx_rng_stream* stream = nullptr;
  ASSERT_EQ(__vslNewStreamEx(&stream, ORX_BRNG_NONDETERM, 2, seed), 0);
  std::vector<char> image(static_cast<size_t>(__vslGetStreamSize(stream)) + 64);
  ASSERT_EQ(__vslSaveStreamM(stream, image.data()), 0);
  __vslDeleteStream(&stream);

  ASSERT_EQ(setenv("ORX_RNG_DISABLE_RDRAND", "1", 1), 0);
  orx_rng_stream* loaded = nullptr;
  EXPECT_EQ(__vslLoadStreamM(&loaded, image.data()), ORX_RNG_ERROR_NONDETERMINISTIC_UNAVAILABLE);
  EXPECT_EQ(loaded, nullptr);
  unsetenv("ORX_RNG_DISABLE_RDRAND");
  if (__vslCPUisRDRAND()) {
    ASSERT_EQ(__vslLoadStreamM(&loaded, image.data()), 0);
    EXPECT_EQ(orx::rng::state_of<TrngState>(loaded)->RetryLimit, 4u);
    __vslDeleteStream(&loaded);
  }
}

}  // namespace
