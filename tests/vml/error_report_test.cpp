// The per-element reporters under every error mode: status, callback, errno,
// messages through the host, exceptions, write-back, names and indices.
#include <gtest/gtest.h>

#include <cerrno>
#include <cfenv>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "orx/host.h"
#include "orx/vml.h"
#include "tests/vml/vml_test_support.h"

namespace {

using orx::test::with_mode;

static_assert(offsetof(VmlErrorContext, code) == 0);
static_assert(offsetof(VmlErrorContext, index) == 4);
static_assert(offsetof(VmlErrorContext, arg1) == 8);
static_assert(offsetof(VmlErrorContext, arg2) == 16);
static_assert(offsetof(VmlErrorContext, res1) == 24);
static_assert(offsetof(VmlErrorContext, res2) == 32);
static_assert(offsetof(VmlErrorContext, func_name) == 40);
static_assert(offsetof(VmlErrorContext, func_name_len) == 104);
static_assert(offsetof(VmlErrorContext, arg1_im) == 112);
static_assert(offsetof(VmlErrorContext, arg2_im) == 120);
static_assert(offsetof(VmlErrorContext, res1_im) == 128);
static_assert(offsetof(VmlErrorContext, res2_im) == 136);
static_assert(sizeof(VmlErrorContext) == 144);

// ---- captured messages and callback records --------------------------------

struct Captured {
  int number;
  int argc;
  std::string function;
  int index;
  double value;
};

std::vector<Captured>& captured() {
  static std::vector<Captured> messages;
  return messages;
}

class MessageCapture {
 public:
  MessageCapture() {
    captured().clear();
    orx_host_test_capture_messages(
        [](const orx_host_message* m, void*) {
          captured().push_back(
              {m->number, m->argc, m->function ? m->function : "", m->index, m->value});
        },
        nullptr);
  }
  ~MessageCapture() { orx_host_test_capture_messages(nullptr, nullptr); }
};

struct CallbackLog {
  int calls = 0;
  VmlErrorContext last{};
  int result = 0;         // what the callback returns
  bool set_res1 = false;  // change res1 to 111
  bool set_res2 = false;  // change res2 to 222
};
thread_local CallbackLog* g_log = nullptr;

int logging_callback(VmlErrorContext* ctx) {
  ++g_log->calls;
  g_log->last = *ctx;
  if (g_log->set_res1) ctx->res1 = 111.0;
  if (g_log->set_res2) ctx->res2 = 222.0;
  return g_log->result;
}

// Installs `callback` (the logging one by default) on a fresh log for the
// scope.
struct LoggedCallback {
  CallbackLog log;
  explicit LoggedCallback(VmlErrorCallBack callback = logging_callback) {
    g_log = &log;
    orx_vml_kernel_SetErrorCallBack(callback);
  }
  ~LoggedCallback() {}
};

constexpr int kAllExcept = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW | FE_UNDERFLOW | FE_INEXACT;

// ---- one reported error of a one-input, one-result double kernel -----------

struct ModeCase {
  const char* what;
  unsigned mode;
  bool with_callback;
  int callback_result;
  // expectations
  bool callback_called;
  bool errno_set;      // errno becomes ERANGE (status 3)
  int messages;        // number of printed messages
  bool overflow_flag;  // FE_OVERFLOW raised
  double output;       // r[2] after the call
};

class ReporterModes : public testing::TestWithParam<ModeCase> {};

TEST_P(ReporterModes, OverflowOfOneElement) {
  const ModeCase c = GetParam();
  with_mode(c.mode, [&] {
    CallbackLog log;
    log.result = c.callback_result;
    log.set_res1 = true;
    g_log = &log;
    if (c.with_callback) orx_vml_kernel_SetErrorCallBack(logging_callback);
    orx_vml_kernel_SetMode(c.mode);  // the error field exactly as the case says
    MessageCapture capture;
    double a[4] = {1, 2, 710, 4};
    double r[4] = {0, 0, INFINITY, 0};
    errno = 0;
    std::feclearexcept(kAllExcept);
    orx_vml_kernel_dError(ORX_VML_STATUS_OVERFLOW, 2, a, a, r, r, "vdExp");
    const bool overflow = std::fetestexcept(FE_OVERFLOW) != 0;
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), ORX_VML_STATUS_OVERFLOW);
    EXPECT_EQ(log.calls, c.callback_called ? 1 : 0);
    EXPECT_EQ(errno, c.errno_set ? ERANGE : 0);
    EXPECT_EQ(static_cast<int>(captured().size()), c.messages);
    EXPECT_EQ(overflow, c.overflow_flag);
    EXPECT_EQ(r[2], c.output);
    EXPECT_EQ(r[1], 0.0);
    EXPECT_EQ(r[3], 0.0);
    orx_vml_kernel_ClearErrorCallBack();
    g_log = nullptr;
  });
}

INSTANTIATE_TEST_SUITE_P(
    Modes, ReporterModes,
    testing::Values(
        // IGNORE alone: status only, even with a callback installed.
        ModeCase{"ignore", 0x0102, true, 0, false, false, 0, false, INFINITY},
        // IGNORE with ERRNO is not "ignore only".
        ModeCase{"ignore_errno", 0x0302, false, 0, false, true, 0, false, INFINITY},
        // Default mode without a callback: errno and exception, no message.
        ModeCase{"default", 0x1A02, false, 0, false, true, 0, true, INFINITY},
        // Callback returning 0 after changing res1: value reaches the array.
        ModeCase{"callback_0", 0x1A02, true, 0, true, true, 0, true, 111.0},
        // Callback returning non-zero: nothing else happens, kernel value kept.
        ModeCase{"callback_1", 0x1A02, true, 1, true, false, 0, false, INFINITY},
        // STDERR: first message plus argument and result lines.
        ModeCase{"stderr", 0x0402, false, 0, false, false, 3, false, INFINITY},
        ModeCase{"errno_only", 0x0202, false, 0, false, true, 0, false, INFINITY},
        ModeCase{"except_only", 0x0802, false, 0, false, false, 0, true, INFINITY},
        // CALLBACK bit without a callback: nothing is called.
        ModeCase{"callback_bit_no_callback", 0x1002, false, 0, false, false, 0, false, INFINITY}),
    [](const testing::TestParamInfo<ModeCase>& info) { return std::string(info.param.what); });

// ---- errno, first message and exception of every status --------------------

struct StatusCase {
  int status;
  int errno_value;
  int first_message;  // 0: none
  int flags;          // exception flags raised
};

class ReporterStatuses : public testing::TestWithParam<StatusCase> {};

TEST_P(ReporterStatuses, ErrnoMessageAndException) {
  const StatusCase c = GetParam();
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_ERRNO | ORX_VML_ERRMODE_STDERR | ORX_VML_ERRMODE_EXCEPT,
            [&] {
              MessageCapture capture;
              double a[1] = {0.5};
              double r[1] = {7.0};
              errno = 12345;
              std::feclearexcept(kAllExcept);
              orx_vml_kernel_dError(c.status, 0, a, a, r, r, "vdLn");
              EXPECT_EQ(std::fetestexcept(kAllExcept), c.flags);
              EXPECT_EQ(errno, c.errno_value);
              if (c.first_message == 0) {
                EXPECT_TRUE(captured().empty());
              } else {
                ASSERT_FALSE(captured().empty());
                EXPECT_EQ(captured()[0].number, c.first_message);
                EXPECT_EQ(captured()[0].function, "vdLn");
              }
              EXPECT_EQ(orx_vml_kernel_GetErrStatus(), c.status);
            });
}

INSTANTIATE_TEST_SUITE_P(Statuses, ReporterStatuses,
                         testing::Values(StatusCase{0, 0, 0, 0}, StatusCase{-1, EINVAL, 735, 0},
                                         StatusCase{-2, EACCES, 736, 0},
                                         StatusCase{1, EDOM, 737, FE_INVALID},
                                         StatusCase{2, ERANGE, 738, FE_DIVBYZERO},
                                         StatusCase{3, ERANGE, 739, FE_OVERFLOW | FE_INEXACT},
                                         StatusCase{4, ERANGE, 740, FE_UNDERFLOW | FE_INEXACT},
                                         StatusCase{5, EFAULT, 741, 0},
                                         StatusCase{-7, EFAULT, 741, 0}));

// ---- the four shapes of value messages --------------------------------------

struct ShapeCase {
  double a1, a2, r1, r2;
  std::vector<std::pair<int, double>> lines;  // (message number, value) after the first
};

class ValueMessages : public testing::TestWithParam<ShapeCase> {};

TEST_P(ValueMessages, OneLinePerArgumentAndResultPresent) {
  const ShapeCase c = GetParam();
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_STDERR, [&] {
    MessageCapture capture;
    double a1[8] = {}, a2[8] = {}, r1[8] = {}, r2[8] = {};
    a1[6] = c.a1, a2[6] = c.a2, r1[6] = c.r1, r2[6] = c.r2;
    orx_vml_kernel_dError(ORX_VML_STATUS_DOMAIN, 6, a1, a2, r1, r2, "vdPow");
    ASSERT_EQ(captured().size(), c.lines.size() + 1);
    EXPECT_EQ(captured()[0].number, 737);
    EXPECT_EQ(captured()[0].argc, 1);
    for (size_t k = 0; k < c.lines.size(); ++k) {
      const Captured& m = captured()[k + 1];
      EXPECT_EQ(m.number, c.lines[k].first);
      EXPECT_EQ(m.argc, 2);
      EXPECT_EQ(m.index, 6);
      if (std::isnan(c.lines[k].second)) {
        EXPECT_TRUE(std::isnan(m.value));
      } else {
        EXPECT_EQ(m.value, c.lines[k].second);
      }
    }
  });
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ValueMessages,
    testing::Values(
        // second argument equal to the first / zero counts as absent
        ShapeCase{2.5, 2.5, 9.0, 9.0, {{742, 2.5}, {743, 9.0}}},
        ShapeCase{2.5, 0.0, 9.0, 0.0, {{742, 2.5}, {743, 9.0}}},
        ShapeCase{2.5, 2.5, 9.0, -3.0, {{744, 2.5}, {745, 9.0}, {746, -3.0}}},
        ShapeCase{2.5, -1.0, 9.0, 9.0, {{747, 2.5}, {748, -1.0}, {749, 9.0}}},
        ShapeCase{2.5, -1.0, 9.0, 4.0, {{750, 2.5}, {751, -1.0}, {752, 9.0}, {753, 4.0}}},
        // a NaN never equals anything: present
        ShapeCase{2.5, NAN, 9.0, 9.0, {{747, 2.5}, {748, NAN}, {749, 9.0}}}));

TEST(ArgumentErrors, CarryNoValuesAndTouchNoArray) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_STDERR | ORX_VML_ERRMODE_CALLBACK, [] {
    LoggedCallback callback;
    const CallbackLog& log = callback.log;
    MessageCapture capture;
    orx_vml_kernel_sError(ORX_VML_STATUS_ARG_INVALID, 17, nullptr, nullptr, nullptr, nullptr,
                          "vsExp");
    ASSERT_EQ(captured().size(), 1u);
    EXPECT_EQ(captured()[0].number, 735);
    EXPECT_EQ(captured()[0].argc, 2);
    EXPECT_EQ(captured()[0].function, "vsExp");
    EXPECT_EQ(captured()[0].index, 17);
    EXPECT_EQ(log.calls, 1);
    EXPECT_EQ(log.last.code, -1);
    orx_vml_kernel_zError(ORX_VML_STATUS_ARG_ACCESS, 3, nullptr, nullptr, nullptr, nullptr,
                          "vzExp");
    ASSERT_EQ(captured().size(), 2u);
    EXPECT_EQ(captured()[1].number, 736);
    EXPECT_EQ(captured()[1].argc, 1);
  });
}

// ---- the record: names, indices, widths, imaginary parts --------------------

TEST(ErrorRecord, NamesAreCutAt64Characters) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [] {
    LoggedCallback callback;
    const CallbackLog& log = callback.log;
    float a[1] = {1}, r[1] = {2};
    for (size_t length : {0u, 5u, 63u, 64u, 70u}) {
      const std::string name(length, 'n');
      orx_vml_kernel_sError(ORX_VML_STATUS_DOMAIN, 0, a, a, r, r, name.c_str());
      const size_t kept = std::min<size_t>(length, 64);
      EXPECT_EQ(log.last.func_name_len, static_cast<int>(kept));
      EXPECT_EQ(std::string(log.last.func_name, kept), name.substr(0, kept));
      if (kept < 64) {
        EXPECT_EQ(log.last.func_name[kept], '\0');
      }
    }
  });
}

TEST(ErrorRecord, IndexIsRelativeToTheWholeVector) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK | ORX_VML_ERRMODE_STDERR, [] {
    LoggedCallback callback;
    const CallbackLog& log = callback.log;
    MessageCapture capture;
    std::vector<double> whole(2000, 1.0), result(2000, 0.0);
    whole[1005] = 3.0;
    orx_vml_kernel_SetInterfInputVectorPointer(whole.data());
    // A chunk starting at element 1000: its element 5 is element 1005.
    orx_vml_kernel_dError(ORX_VML_STATUS_SINGULARITY, 5, whole.data() + 1000, whole.data() + 1000,
                          result.data() + 1000, result.data() + 1000, "vdLn");
    EXPECT_EQ(log.last.index, 1005);
    EXPECT_EQ(log.last.arg1, 3.0);  // read with the chunk's own index
    ASSERT_GE(captured().size(), 2u);
    EXPECT_EQ(captured()[1].index, 1005);
    // Element width counts: a float chunk at float element 300.
    std::vector<float> fwhole(400, 1.0f), fres(400, 0.0f);
    orx_vml_kernel_SetInterfInputVectorPointer(fwhole.data());
    orx_vml_kernel_sError(ORX_VML_STATUS_DOMAIN, 7, fwhole.data() + 300, fwhole.data() + 300,
                          fres.data() + 300, fres.data() + 300, "vsLn");
    EXPECT_EQ(log.last.index, 307);
    orx_vml_kernel_SetInterfInputVectorPointer(nullptr);
    orx_vml_kernel_sError(ORX_VML_STATUS_DOMAIN, 7, fwhole.data() + 300, fwhole.data() + 300,
                          fres.data() + 300, fres.data() + 300, "vsLn");
    EXPECT_EQ(log.last.index, 7);
  });
}

TEST(ErrorRecord, ComplexReportersCarryImaginaryPartsBothWays) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK | ORX_VML_ERRMODE_STDERR, [] {
    LoggedCallback callback([](VmlErrorContext* ctx) {
      g_log->last = *ctx;
      ctx->res1 = -5.0;
      ctx->res1_im = 6.0;
      return 0;
    });
    const CallbackLog& log = callback.log;
    MessageCapture capture;
    orx_complex16 a1[2] = {{1, 2}, {3, 4}}, a2[2] = {{5, 6}, {7, 8}};
    orx_complex16 r1[2] = {{0, 0}, {9, 10}}, r2[2] = {{0, 0}, {11, 12}};
    orx_vml_kernel_zError(ORX_VML_STATUS_DOMAIN, 1, a1, a2, r1, r2, "vzPow");
    EXPECT_EQ(log.last.arg1, 3.0);
    EXPECT_EQ(log.last.arg1_im, 4.0);
    EXPECT_EQ(log.last.arg2, 7.0);
    EXPECT_EQ(log.last.arg2_im, 8.0);
    EXPECT_EQ(log.last.res1, 9.0);
    EXPECT_EQ(log.last.res1_im, 10.0);
    EXPECT_EQ(log.last.res2, 11.0);
    EXPECT_EQ(log.last.res2_im, 12.0);
    EXPECT_EQ(r1[1].re, -5.0);
    EXPECT_EQ(r1[1].im, 6.0);
    EXPECT_EQ(r2[1].re, 11.0);
    EXPECT_EQ(r2[1].im, 12.0);
    // Messages print the real parts only.
    ASSERT_EQ(captured().size(), 5u);
    EXPECT_EQ(captured()[1].value, 3.0);
    EXPECT_EQ(captured()[2].value, 7.0);

    orx_complex8 c1[1] = {{1.5f, -2.5f}}, cr[1] = {{0.25f, 0.75f}};
    orx_vml_kernel_cError(ORX_VML_STATUS_DOMAIN, 0, c1, c1, cr, cr, "vcLn");
    EXPECT_EQ(log.last.arg1_im, -2.5);
    EXPECT_EQ(log.last.res1_im, 0.75);
    EXPECT_EQ(cr[0].re, -5.0f);
    EXPECT_EQ(cr[0].im, 6.0f);
  });
}

TEST(ErrorRecord, SingleValuesAreWidenedAndNarrowed) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [] {
    LoggedCallback callback([](VmlErrorContext* ctx) {
      g_log->last = *ctx;
      ctx->res1 = 0.1;  // narrowed to the nearest float
      return 0;
    });
    const CallbackLog& log = callback.log;
    float a[1] = {0.3f}, r[1] = {0.7f};
    orx_vml_kernel_sError(ORX_VML_STATUS_DOMAIN, 0, a, a, r, r, "vsLn");
    EXPECT_EQ(log.last.arg1, static_cast<double>(0.3f));
    EXPECT_EQ(log.last.res1, static_cast<double>(0.7f));
    EXPECT_EQ(r[0], 0.1f);
  });
}

// res2 is written before res1: with one array for both, res1 wins.
TEST(WriteBack, SecondResultIsStoredFirst) {
  struct Case {
    bool same_array, set_res1, set_res2;
    double r1, r2;  // final values
  };
  for (const Case& c :
       {Case{true, true, false, 111.0, 111.0}, Case{true, false, true, 5.0, 5.0},
        Case{false, true, true, 111.0, 222.0}, Case{false, false, true, 5.0, 222.0}}) {
    with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [&] {
      LoggedCallback callback;
      callback.log.set_res1 = c.set_res1;
      callback.log.set_res2 = c.set_res2;
      double a[1] = {1.0}, r1[1] = {5.0}, r2[1] = {6.0};
      double* second = c.same_array ? r1 : r2;
      orx_vml_kernel_dError(ORX_VML_STATUS_DOMAIN, 0, a, a, r1, second, "vdSinCos");
      EXPECT_EQ(r1[0], c.r1);
      EXPECT_EQ(second[0], c.r2);
    });
  }
}

// ---- status and callback operations -----------------------------------------

TEST(StatusOperations, StickyUntilSetOrCleared) {
  orx::test::in_fresh_thread([] {
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0);
    EXPECT_EQ(orx_vml_kernel_SetErrStatus(3), 0);
    EXPECT_EQ(_vmlGetErrStatus(), 3);
    double a[1] = {1}, r[1] = {1};
    orx_vml_kernel_SetMode(ORX_VML_ERRMODE_IGNORE);
    orx_vml_kernel_dError(ORX_VML_STATUS_UNDERFLOW, 0, a, a, r, r, "vdExp");
    EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 4);  // overwritten, not ORed
    EXPECT_EQ(_vmlSetErrStatus(-2), 4);
    EXPECT_EQ(orx_vml_kernel_ClearErrStatus(), -2);
    EXPECT_EQ(_vmlClearErrStatus(), 0);
  });
  // Another thread's status is its own.
  orx::test::in_fresh_thread([] { EXPECT_EQ(orx_vml_kernel_GetErrStatus(), 0); });
}

int callback_a(VmlErrorContext*) { return 0; }
int callback_b(VmlErrorContext*) { return 1; }

TEST(CallbackOperations, SettingAndClearingDriveTheCallbackBit) {
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_ERRNO, [] {
    EXPECT_EQ(orx_vml_kernel_SetErrorCallBack(callback_a), nullptr);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x1202u);
    EXPECT_EQ(_vmlSetErrorCallBack(callback_b), callback_a);
    EXPECT_EQ(_vmlGetErrorCallBack(), callback_b);
    EXPECT_EQ(orx_vml_kernel_ClearErrorCallBack(), callback_b);
    EXPECT_EQ(orx_vml_kernel_GetErrorCallBack(), nullptr);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x0202u);
  });
  // CALLBACK as the only error bit: clearing would zero the field, which
  // SetMode never does, so the bit stays.
  with_mode(ORX_VML_HA | ORX_VML_ERRMODE_CALLBACK, [] {
    orx_vml_kernel_SetErrorCallBack(callback_a);
    EXPECT_EQ(_vmlClearErrorCallBack(), callback_a);
    EXPECT_EQ(orx_vml_kernel_GetMode(), 0x1002u);
  });
  orx::test::in_fresh_thread([] { EXPECT_EQ(orx_vml_kernel_GetErrorCallBack(), nullptr); });
}

}  // namespace
