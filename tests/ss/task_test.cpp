// The summary-statistics task record: creation checks in order, the integer
// width of the parameters, the single-field and grouped editors against an
// id table typed here, deletion with its release callbacks, and the
// streaming-quantile state freed once.
//
// This program defines orx_serv_allocate and orx_serv_deallocate itself: the
// kernel library leaves them undefined, so its calls bind to these, which
// count the live blocks and forward to the host allocator (the same one, its
// allocation-failure hook included). A test checks that the counting works.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "orx/host.h"
#include "orx/ss.h"
#include "orx_serv.h"
#include "vsl/ss/task/stream_quantile_state.h"

namespace {

std::atomic<int64_t> g_live_blocks{0};
std::atomic<int64_t> g_frees{0};

using AllocateFn = void* (*)(size_t, size_t);
using DeallocateFn = void (*)(void*);

AllocateFn host_allocate() {
  return reinterpret_cast<AllocateFn>(orx_host_services()[ORX_HOST_ALLOCATE]);
}
DeallocateFn host_deallocate() {
  return reinterpret_cast<DeallocateFn>(orx_host_services()[ORX_HOST_DEALLOCATE]);
}

}  // namespace

void* orx_serv_allocate(size_t bytes, size_t alignment) noexcept {
  void* block = host_allocate()(bytes, alignment);
  if (block != nullptr) ++g_live_blocks;
  return block;
}

void orx_serv_deallocate(void* block) noexcept {
  if (block == nullptr) return;
  --g_live_blocks;
  ++g_frees;
  host_deallocate()(block);
}

namespace {

struct TaskDeleter {
  void operator()(SummaryStatsTask* t) const { __vslSSDeleteTask(&t); }
};
using TaskPtr = std::unique_ptr<SummaryStatsTask, TaskDeleter>;

double g_obs[64], g_weights[16];
float g_obs_f[64], g_weights_f[16];
int32_t g_indices[8];

// An int parameter of either width; nullopt gives a null pointer.
struct IntParam {
  int32_t narrow = 0;
  int64_t wide = 0;
  const void* get(const std::optional<int64_t>& value, int32_t int_width) {
    if (!value) return nullptr;
    narrow = static_cast<int32_t>(*value);
    wide = *value;
    return int_width == 0 ? static_cast<const void*>(&narrow) : &wide;
  }
};

int new_task(bool single, SummaryStatsTask** t, const void* dimension, const void* count,
             const void* storage, bool with_observations, int32_t int_width) {
  if (single)
    return __vslsSSNewTask(t, dimension, count, storage, with_observations ? g_obs_f : nullptr,
                           g_weights_f, g_indices, int_width);
  return __vsldSSNewTask(t, dimension, count, storage, with_observations ? g_obs : nullptr,
                         g_weights, g_indices, int_width);
}

const int32_t kP = 3;

// A task with no data yet, p = 3, 32-bit parameters.
TaskPtr shell_task(bool single = false) {
  SummaryStatsTask* t = nullptr;
  EXPECT_EQ(new_task(single, &t, &kP, nullptr, nullptr, false, 0), 0);
  return TaskPtr(t);
}

using Bytes = std::vector<unsigned char>;

Bytes bytes_of(const SummaryStatsTask& t) {
  const auto* p = reinterpret_cast<const unsigned char*>(&t);
  return Bytes(p, p + sizeof t);
}

Bytes with_pointer(Bytes bytes, size_t offset, const void* pointer) {
  std::memcpy(bytes.data() + offset, &pointer, sizeof pointer);
  return bytes;
}

const void* pointer_at(const SummaryStatsTask& t, size_t offset) {
  const void* p;
  std::memcpy(&p, reinterpret_cast<const unsigned char*>(&t) + offset, sizeof p);
  return p;
}

// ---- creation ---------------------------------------------------------------

struct NewCase {
  const char* what;
  std::optional<int64_t> dimension, count, storage;
  bool observations;
  int status;
};

TEST(SsTask, CreationChecksInOrder) {
  const std::optional<int64_t> none;
  const int64_t rows = SS_MATRIX_STORAGE_ROWS, cols = SS_MATRIX_STORAGE_COLS;
  const NewCase cases[] = {
      {"null dimension before everything", none, none, none, true, -4001},
      {"p 0", 0, 0, 5, true, -4001},
      {"p -1", -1, 4, rows, true, -4001},
      {"p 0 without observations", 0, 4, rows, false, -4001},
      {"null storage before the count", 2, none, none, true, -4044},
      {"storage 0 before the count", 2, 0, 0, true, -4003},
      {"storage 0x30000", 2, 4, 0x30000, true, -4003},
      {"storage 0x10001", 2, 4, 0x10001, true, -4003},
      {"null count", 2, none, rows, true, -4002},
      {"n 0", 2, 0, cols, true, -4002},
      {"n -7", 2, -7, rows, true, -4002},
      {"rows", 2, 4, rows, true, 0},
      {"columns, p 1, n 1", 1, 1, cols, true, 0},
      {"no observations: null count and storage", 3, none, none, false, 0},
      {"no observations: bad count and storage", 3, -1, 7, false, 0},
  };
  for (const NewCase& c : cases) {
    for (const int32_t width : {0, 1}) {
      for (const bool single : {false, true}) {
        SCOPED_TRACE(testing::Message() << c.what << ", width " << width << ", single " << single);
        IntParam dim, count, storage;
        const void* dim_p = dim.get(c.dimension, width);
        const void* count_p = count.get(c.count, width);
        const void* storage_p = storage.get(c.storage, width);
        SummaryStatsTask* t = reinterpret_cast<SummaryStatsTask*>(&dim);  // must be replaced
        ASSERT_EQ(new_task(single, &t, dim_p, count_p, storage_p, c.observations, width), c.status);
        if (c.status != 0) {
          EXPECT_EQ(t, nullptr);
          continue;
        }
        ASSERT_NE(t, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(t) % 128, 0u);
        // Every byte but the stored fields is zero.
        SummaryStatsTask expected;
        std::memset(&expected, 0, sizeof expected);
        expected.int_width = width;
        expected.kind = 2;
        expected.precision = single ? 0 : 1;
        expected.dimension = dim_p;
        expected.observation_count = count_p;
        expected.storage = storage_p;
        expected.observations =
            c.observations ? (single ? static_cast<void*>(g_obs_f) : g_obs) : nullptr;
        expected.weights = single ? static_cast<void*>(g_weights_f) : g_weights;
        expected.indices = g_indices;
        EXPECT_EQ(bytes_of(*t), bytes_of(expected));
        EXPECT_EQ(__vslSSDeleteTask(&t), 0);
      }
    }
  }
  EXPECT_EQ(__vsldSSNewTask(nullptr, &kP, nullptr, nullptr, nullptr, nullptr, nullptr, 0), -4031);
  EXPECT_EQ(__vslsSSNewTask(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0),
            -4031);
}

struct WidthCase {
  const char* what;
  int64_t dimension, count, storage;
  int32_t int_width;
  int status;
};

// The same 64-bit words read with either width: a 32-bit task sees the low
// word only (little-endian), a 64-bit one the whole value.
TEST(SsTask, IntegerWidthDecidesHowParametersAreRead) {
  const int64_t high = int64_t{1} << 32, rows = SS_MATRIX_STORAGE_ROWS;
  const WidthCase cases[] = {
      {"p 2^32, 64-bit", high, 4, rows, 1, 0},
      {"p 2^32, 32-bit sees 0", high, 4, rows, 0, -4001},
      {"p with a negative high word, 64-bit", static_cast<int64_t>(0xFFFFFFFF00000003ull), 4, rows,
       1, -4001},
      {"p with a negative high word, 32-bit sees 3", static_cast<int64_t>(0xFFFFFFFF00000003ull), 4,
       rows, 0, 0},
      {"storage with a high bit, 64-bit", 2, 4, high + rows, 1, -4003},
      {"storage with a high bit, 32-bit sees rows", 2, 4, high + rows, 0, 0},
      {"n 2^32, 64-bit", 2, high, rows, 1, 0},
      {"n 2^32, 32-bit sees 0", 2, high, rows, 0, -4002},
      {"n 2^32 + 5, any non-zero width is 64-bit", 2, high + 5, SS_MATRIX_STORAGE_COLS, -9, 0},
      {"p 2^31 is positive in 64 bits", int64_t{1} << 31, 4, rows, 1, 0},
      {"p 2^31 is negative in 32 bits", int64_t{1} << 31, 4, rows, 0, -4001},
  };
  for (const WidthCase& c : cases) {
    SCOPED_TRACE(c.what);
    SummaryStatsTask* t = nullptr;
    ASSERT_EQ(__vsldSSNewTask(&t, &c.dimension, &c.count, &c.storage, g_obs, nullptr, nullptr,
                              c.int_width),
              c.status);
    if (t != nullptr) {
      EXPECT_EQ(t->int_width, c.int_width);
      EXPECT_EQ(t->dimension, &c.dimension);
      EXPECT_EQ(__vslSSDeleteTask(&t), 0);
    }
  }
}

// ---- single-field editors -------------------------------------------------

struct IdRow {
  int id;
  char kind;  // 'I' integer editor, 'F' floating-point editors
  size_t offset;
  int null_status;
};

#define ROW(id, kind, member, status) \
  IdRow { id, kind, offsetof(SummaryStatsTask, member), status }

const IdRow kIds[] = {
    ROW(1, 'I', dimension, -4001),
    ROW(2, 'I', observation_count, -4002),
    ROW(3, 'F', observations, -4032),
    ROW(4, 'I', storage, -4044),
    ROW(5, 'I', indices, -4004),
    ROW(6, 'F', weights, -4005),
    ROW(7, 'F', mean, -4006),
    ROW(8, 'F', raw_moment[0], -4007),
    ROW(9, 'F', raw_moment[1], -4008),
    ROW(10, 'F', raw_moment[2], -4009),
    ROW(11, 'F', central_moment[0], -4010),
    ROW(12, 'F', central_moment[1], -4011),
    ROW(13, 'F', central_moment[2], -4012),
    ROW(14, 'F', kurtosis, -4013),
    ROW(15, 'F', skewness, -4014),
    ROW(16, 'F', minimum, -4015),
    ROW(17, 'F', maximum, -4016),
    ROW(18, 'F', variation, -4017),
    ROW(19, 'F', cov, -4018),
    ROW(20, 'I', cov_storage, -4044),
    ROW(21, 'F', cor, -4019),
    ROW(22, 'I', cor_storage, -4044),
    ROW(23, 'F', accumulated_weights, -4020),
    ROW(24, 'I', quantile_order_count, -4022),
    ROW(25, 'F', quantile_orders, -4021),
    ROW(26, 'F', quantiles, -4023),
    ROW(27, 'F', order_stats, -4024),
    ROW(28, 'I', group_indices, -4038),
    ROW(29, 'I', pooled_cov_storage, -4044),
    ROW(30, 'F', pooled_mean, -4035),
    ROW(31, 'F', pooled_cov, -4034),
    ROW(32, 'I', requested_group_indices, -4038),
    ROW(33, 'F', group_means, -4037),
    ROW(34, 'I', group_cov_storage, -4044),
    ROW(35, 'F', group_covs, -4036),
    ROW(36, 'I', robust_method, -4044),
    ROW(37, 'I', robust_param_count, -4043),
    ROW(38, 'F', robust_params, -4042),
    ROW(39, 'F', robust_mean, -4028),
    ROW(40, 'F', robust_cov, -4027),
    ROW(41, 'I', outlier_param_count, -4040),
    ROW(42, 'F', outlier_params, -4039),
    ROW(43, 'F', outlier_weights, -4041),
    ROW(44, 'I', order_stats_storage, -4044),
    ROW(45, 'I', partial_cov_indices, -4045),
    ROW(46, 'F', partial_cov, -4046),
    ROW(47, 'I', partial_cov_storage, -4044),
    ROW(48, 'F', partial_cor, -4047),
    ROW(49, 'I', partial_cor_storage, -4044),
    ROW(50, 'I', missing_param_count, -4049),
    ROW(51, 'F', missing_params, -4048),
    ROW(52, 'I', initial_estimate_count, -4052),
    ROW(53, 'F', initial_estimates, -4053),
    ROW(54, 'I', simulated_missing_count, -4055),
    ROW(55, 'F', simulated_missing, -4054),
    ROW(56, 'I', estimate_count, -4056),
    ROW(57, 'F', estimates, -4057),
    ROW(58, 'I', prior_count, -4061),
    ROW(59, 'F', prior, -4062),
    ROW(60, 'F', parametrized_cor, -4071),
    ROW(61, 'I', parametrized_cor_storage, -4044),
    ROW(62, 'I', stream_quantile_param_count, -4066),
    ROW(63, 'F', stream_quantile_params, -4065),
    ROW(64, 'I', stream_quantile_order_count, -4069),
    ROW(65, 'F', stream_quantile_orders, -4068),
    ROW(66, 'F', stream_quantiles, -4070),
};

#undef ROW

// The three editors behind one signature; `pointer` is passed on as given.
struct Editor {
  const char* name;
  char kind;
  int (*edit)(SummaryStatsTask*, int, const void*);
};

const Editor kEditors[] = {
    {"d", 'F',
     [](SummaryStatsTask* t, int id, const void* p) {
       return __vsldSSEditTask(t, id, static_cast<const double*>(p));
     }},
    {"s", 'F',
     [](SummaryStatsTask* t, int id, const void* p) {
       return __vslsSSEditTask(t, id, static_cast<const float*>(p));
     }},
    {"i", 'I',
     [](SummaryStatsTask* t, int id, const void* p) { return __vsliSSEditTask(t, id, p); }},
};

TEST(SsTask, TheIdTableCoversEveryIdOnce) {
  ASSERT_EQ(std::size(kIds), 66u);
  for (size_t k = 0; k < std::size(kIds); ++k) EXPECT_EQ(kIds[k].id, static_cast<int>(k) + 1);
}

TEST(SsTask, EveryIdStoresItsFieldAndRefusesNull) {
  double target[2];
  for (const IdRow& row : kIds) {
    for (const Editor& editor : kEditors) {
      if (editor.kind != row.kind) continue;
      SCOPED_TRACE(testing::Message() << "id " << row.id << ", editor " << editor.name);
      const TaskPtr t = shell_task(editor.name[0] == 's');
      const Bytes before = bytes_of(*t);
      // A null pointer is refused with the id's status, the field untouched.
      EXPECT_EQ(editor.edit(t.get(), row.id, nullptr), row.null_status);
      EXPECT_EQ(bytes_of(*t), before);
      // A pointer lands in exactly the id's field.
      ASSERT_EQ(editor.edit(t.get(), row.id, &target[1]), 0);
      EXPECT_EQ(pointer_at(*t, row.offset), &target[1]);
      EXPECT_EQ(bytes_of(*t), with_pointer(before, row.offset, &target[1]));
      // A later null keeps the stored pointer.
      EXPECT_EQ(editor.edit(t.get(), row.id, nullptr), row.null_status);
      EXPECT_EQ(pointer_at(*t, row.offset), &target[1]);
    }
  }
}

TEST(SsTask, IdsOfTheOtherKindOrOutOfRangeAreRefused) {
  double target;
  for (const Editor& editor : kEditors) {
    const TaskPtr t = shell_task();
    const Bytes before = bytes_of(*t);
    // Every id of the other kind, with a pointer and with null.
    for (const IdRow& row : kIds) {
      if (row.kind == editor.kind) continue;
      SCOPED_TRACE(testing::Message() << "id " << row.id << ", editor " << editor.name);
      EXPECT_EQ(editor.edit(t.get(), row.id, &target), -3);
      EXPECT_EQ(editor.edit(t.get(), row.id, nullptr), -3);
    }
    for (const int id : {0, -1, 67, 1000, INT32_MIN, INT32_MAX}) {
      SCOPED_TRACE(testing::Message() << "id " << id << ", editor " << editor.name);
      EXPECT_EQ(editor.edit(t.get(), id, &target), -3);
      EXPECT_EQ(editor.edit(t.get(), id, nullptr), -3);
    }
    EXPECT_EQ(bytes_of(*t), before);
  }
  // The edges of the ranges by name: 1, 2 and 64 are integer ids, 3 and 65
  // floating-point ones.
  const TaskPtr t = shell_task();
  for (const int id : {1, 2, 64}) EXPECT_EQ(__vsldSSEditTask(t.get(), id, &target), -3);
  for (const int id : {1, 2, 64}) EXPECT_EQ(__vslsSSEditTask(t.get(), id, nullptr), -3);
  for (const int id : {3, 65, 66}) EXPECT_EQ(__vsliSSEditTask(t.get(), id, &target), -3);
}

TEST(SsTask, EditorsRefuseANullTaskFirst) {
  double target;
  for (const Editor& editor : kEditors) {
    SCOPED_TRACE(editor.name);
    EXPECT_EQ(editor.edit(nullptr, editor.kind == 'I' ? 1 : 3, &target), -4031);
    EXPECT_EQ(editor.edit(nullptr, 0, nullptr), -4031);
  }
}

// ---- grouped editors ---------------------------------------------------------

// Converts to whichever pointer type the editor's parameter has.
struct Arg {
  const void* pointer;
  template <class U>
  operator const U*() const {
    return static_cast<const U*>(pointer);
  }
};

using GroupedCall = std::function<int(SummaryStatsTask*, const std::vector<const void*>&)>;

template <class... Params, size_t... I>
int call_with(int (*editor)(SummaryStatsTask*, Params...), SummaryStatsTask* t,
              const std::vector<const void*>& args, std::index_sequence<I...>) {
  return editor(t, Arg{args[I]}...);
}

template <class... Params>
GroupedCall grouped(int (*editor)(SummaryStatsTask*, Params...)) {
  return [editor](SummaryStatsTask* t, const std::vector<const void*>& args) {
    EXPECT_EQ(args.size(), sizeof...(Params));
    return call_with(editor, t, args, std::index_sequence_for<Params...>{});
  };
}

struct GroupedCase {
  const char* name;
  GroupedCall d, s;
  std::vector<size_t> fields;  // the field each argument sets, in argument order
};

#define FIELD(member) offsetof(SummaryStatsTask, member)

std::vector<GroupedCase> grouped_cases() {
  return {
      {"Moments",
       grouped(__vsldSSEditMoments),
       grouped(__vslsSSEditMoments),
       {FIELD(mean), FIELD(raw_moment[0]), FIELD(raw_moment[1]), FIELD(raw_moment[2]),
        FIELD(central_moment[0]), FIELD(central_moment[1]), FIELD(central_moment[2])}},
      {"CovCor",
       grouped(__vsldSSEditCovCor),
       grouped(__vslsSSEditCovCor),
       {FIELD(mean), FIELD(cov), FIELD(cov_storage), FIELD(cor), FIELD(cor_storage)}},
      {"PartialCovCor",
       grouped(__vsldSSEditPartialCovCor),
       grouped(__vslsSSEditPartialCovCor),
       {FIELD(partial_cov_indices), FIELD(cov), FIELD(cov_storage), FIELD(cor), FIELD(cor_storage),
        FIELD(partial_cov), FIELD(partial_cov_storage), FIELD(partial_cor),
        FIELD(partial_cor_storage)}},
      {"Quantiles",
       grouped(__vsldSSEditQuantiles),
       grouped(__vslsSSEditQuantiles),
       {FIELD(quantile_order_count), FIELD(quantile_orders), FIELD(quantiles), FIELD(order_stats),
        FIELD(order_stats_storage)}},
      {"StreamQuantiles",
       grouped(__vsldSSEditStreamQuantiles),
       grouped(__vslsSSEditStreamQuantiles),
       {FIELD(stream_quantile_order_count), FIELD(stream_quantile_orders), FIELD(stream_quantiles),
        FIELD(stream_quantile_param_count), FIELD(stream_quantile_params)}},
      {"PooledCovariance",
       grouped(__vsldSSEditPooledCovariance),
       grouped(__vslsSSEditPooledCovariance),
       {FIELD(group_indices), FIELD(pooled_mean), FIELD(pooled_cov), FIELD(requested_group_indices),
        FIELD(group_means), FIELD(group_covs)}},
      {"RCov",
       grouped(__vsldSSEditRCov),
       grouped(__vslsSSEditRCov),
       {FIELD(robust_method), FIELD(robust_param_count), FIELD(robust_params), FIELD(robust_mean),
        FIELD(robust_cov)}},
      {"OutDetect",
       grouped(__vsldSSEditOutDetect),
       grouped(__vslsSSEditOutDetect),
       {FIELD(outlier_param_count), FIELD(outlier_params), FIELD(outlier_weights)}},
      {"MissingVals",
       grouped(__vsldSSEditMissingVals),
       grouped(__vslsSSEditMissingVals),
       {FIELD(missing_param_count), FIELD(missing_params), FIELD(initial_estimate_count),
        FIELD(initial_estimates), FIELD(prior_count), FIELD(prior), FIELD(simulated_missing_count),
        FIELD(simulated_missing), FIELD(estimate_count), FIELD(estimates)}},
      {"MtxParametrz",
       grouped(__vsldSSEditMtxParametrz),
       grouped(__vslsSSEditMtxParametrz),
       {FIELD(cor), FIELD(cor_storage), FIELD(parametrized_cor), FIELD(parametrized_cor_storage)}},
  };
}

#undef FIELD

// A task whose every editable field already holds a distinct pointer, so
// that a field left alone can be told from one set again.
TaskPtr filled_task(bool single, const unsigned char* base) {
  TaskPtr t = shell_task(single);
  for (const IdRow& row : kIds) {
    const Editor& editor = row.kind == 'I' ? kEditors[2] : kEditors[single ? 1 : 0];
    EXPECT_EQ(editor.edit(t.get(), row.id, base + row.id), 0);
  }
  return t;
}

TEST(SsTask, GroupedEditorsSetExactlyTheirFields) {
  static unsigned char old_targets[128], new_targets[16];
  for (const GroupedCase& c : grouped_cases()) {
    for (const bool single : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.name << (single ? " s" : " d"));
      const GroupedCall& call = single ? c.s : c.d;
      const size_t n = c.fields.size();
      const TaskPtr t = filled_task(single, old_targets);
      const Bytes before = bytes_of(*t);

      EXPECT_EQ(call(t.get(), std::vector<const void*>(n, nullptr)), 0);
      EXPECT_EQ(bytes_of(*t), before);

      // One argument at a time: it reaches its own field and nothing else.
      for (size_t k = 0; k < n; ++k) {
        std::vector<const void*> args(n, nullptr);
        args[k] = &new_targets[k];
        const TaskPtr one = filled_task(single, old_targets);
        EXPECT_EQ(call(one.get(), args), 0);
        EXPECT_EQ(bytes_of(*one), with_pointer(before, c.fields[k], &new_targets[k]))
            << "argument " << k;
      }

      std::vector<const void*> args(n);
      Bytes expected = before;
      for (size_t k = 0; k < n; ++k) {
        args[k] = &new_targets[k];
        expected = with_pointer(expected, c.fields[k], &new_targets[k]);
      }
      EXPECT_EQ(call(t.get(), args), 0);
      EXPECT_EQ(bytes_of(*t), expected);

      EXPECT_EQ(call(nullptr, args), -4031);
      EXPECT_EQ(call(nullptr, std::vector<const void*>(n, nullptr)), -4031);
    }
  }
}

// ---- deletion and the allocator --------------------------------------------

TEST(SsTask, TheAllocatorCountingSeesTheLibrary) {
  const int64_t live = g_live_blocks;
  SummaryStatsTask* t = shell_task().release();
  EXPECT_EQ(g_live_blocks, live + 1);
  EXPECT_EQ(__vslSSDeleteTask(&t), 0);
  EXPECT_EQ(g_live_blocks, live);
}

struct CallbackLog {
  std::vector<SummaryStatsTask*> tasks;
  std::vector<int64_t> live_blocks;  // at each call: the record is still allocated
  std::vector<int> kinds;            // read from the record during the call
};
CallbackLog g_log;

void logging_release(SummaryStatsTask* task) {
  g_log.tasks.push_back(task);
  g_log.live_blocks.push_back(g_live_blocks);
  g_log.kinds.push_back(task->kind);
}

void raising_release(SummaryStatsTask* task) {
  logging_release(task);
  task->release_count = 40;  // re-read by delete, but there is one slot only
}

struct ReleaseCase {
  const char* what;
  int32_t release_count;
  void (*callback)(SummaryStatsTask*);
  size_t calls;
};

TEST(SsTask, DeleteRunsTheReleaseCallbacksThenFreesTheRecord) {
  const ReleaseCase cases[] = {
      {"one callback", 1, logging_release, 1},
      {"registered but not counted", 0, logging_release, 0},
      {"a count beyond the slots", 5, logging_release, 1},
      {"a negative count", -1, logging_release, 0},
      {"a callback raising the count", 1, raising_release, 1},
      {"a null callback", 1, nullptr, 0},
  };
  for (const ReleaseCase& c : cases) {
    SCOPED_TRACE(c.what);
    g_log = {};
    const int64_t live = g_live_blocks;
    SummaryStatsTask* t = shell_task().release();
    t->release[0] = c.callback;
    t->release_count = c.release_count;
    SummaryStatsTask* const record = t;
    EXPECT_EQ(__vslSSDeleteTask(&t), 0);
    EXPECT_EQ(t, nullptr);
    EXPECT_EQ(g_live_blocks, live);
    ASSERT_EQ(g_log.tasks.size(), c.calls);
    for (size_t k = 0; k < c.calls; ++k) {
      EXPECT_EQ(g_log.tasks[k], record);
      EXPECT_EQ(g_log.live_blocks[k], live + 1);
      EXPECT_EQ(g_log.kinds[k], 2);
    }
  }
}

TEST(SsTask, DeleteWithoutATask) {
  EXPECT_EQ(__vslSSDeleteTask(nullptr), -4031);
  SummaryStatsTask* t = nullptr;
  const int64_t frees = g_frees;
  EXPECT_EQ(__vslSSDeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(g_frees, frees);
}

TEST(SsTask, AllocationFailureOnCreation) {
  const int64_t live = g_live_blocks;
  const int32_t n = 4, storage = SS_MATRIX_STORAGE_ROWS;
  for (const bool single : {false, true}) {
    SummaryStatsTask* t = reinterpret_cast<SummaryStatsTask*>(g_obs);  // must be nulled
    orx_host_test_fail_allocation(1);
    EXPECT_EQ(new_task(single, &t, &kP, &n, &storage, true, 0), -4000);
    EXPECT_EQ(t, nullptr);
    EXPECT_EQ(g_live_blocks, live);
    // A refused argument allocates nothing: the armed failure is still due.
    const int32_t zero = 0;
    orx_host_test_fail_allocation(1);
    EXPECT_EQ(new_task(single, &t, &zero, &n, &storage, true, 0), -4001);
    EXPECT_EQ(new_task(single, &t, &kP, &n, &zero, true, 0), -4003);
    EXPECT_EQ(new_task(single, &t, &kP, &n, &storage, true, 0), -4000);
    orx_host_test_fail_allocation(0);
    EXPECT_EQ(g_live_blocks, live);
  }
}

// ---- the streaming-quantile state --------------------------------------------

using orx::ss::StreamQuantileEntry;
using orx::ss::StreamQuantileState;
using orx::ss::StreamQuantileVariable;

template <class T>
T* allocate_array(int64_t count) {
  auto* p = static_cast<T*>(orx_serv_allocate(sizeof(T) * static_cast<size_t>(count), 64));
  EXPECT_NE(p, nullptr);
  std::memset(p, 0, sizeof(T) * static_cast<size_t>(count));
  return p;
}

// A state of entry_counts.size() variables, each entry owning a buffer;
// returns the number of blocks it took.
int64_t attach_state(SummaryStatsTask& task, const std::vector<int64_t>& entry_counts) {
  const int64_t before = g_live_blocks;
  auto* state = allocate_array<StreamQuantileState>(1);
  state->variable_count = static_cast<int64_t>(entry_counts.size());
  state->variables = allocate_array<StreamQuantileVariable>(state->variable_count);
  for (size_t i = 0; i < entry_counts.size(); ++i) {
    StreamQuantileVariable& variable = state->variables[i];
    variable.entry_count = entry_counts[i];
    variable.entries = allocate_array<StreamQuantileEntry>(entry_counts[i]);
    for (int64_t k = 0; k < entry_counts[i]; ++k)
      variable.entries[k].buffer = orx_serv_allocate(static_cast<size_t>(8 + 8 * k), 0);
  }
  task.stream_quantile_state = state;
  return g_live_blocks - before;
}

TEST(SsTask, DeleteFreesTheStreamingQuantileStateOnce) {
  const int64_t live = g_live_blocks;
  SummaryStatsTask* t = shell_task().release();
  const int64_t blocks = attach_state(*t, {2, 0, 3});
  EXPECT_EQ(blocks, 1 + 1 + 3 + 5);  // state, variables, entry arrays, buffers
  ASSERT_TRUE(orx::ss::register_stream_quantile_release(*t));
  EXPECT_FALSE(orx::ss::register_stream_quantile_release(*t));
  EXPECT_EQ(t->release_count, 1);
  EXPECT_EQ(t->release[0], &__vslSQuantilesFreeBuffers);

  const int64_t frees = g_frees;
  EXPECT_EQ(__vslSSDeleteTask(&t), 0);
  EXPECT_EQ(g_frees, frees + blocks + 1);  // the state's blocks once, the record
  EXPECT_EQ(g_live_blocks, live);
}

TEST(SsTask, FreeingTheStateWalksTheCountItWasBuiltWith) {
  const int64_t live = g_live_blocks;
  const TaskPtr t = shell_task();
  const int32_t p_now = 1;  // the caller's p changed after the state was built
  t->dimension = &p_now;
  attach_state(*t, {1, 4, 2, 0});
  __vslSQuantilesFreeBuffers(t.get());
  EXPECT_EQ(t->stream_quantile_state, nullptr);
  EXPECT_EQ(g_live_blocks, live + 1);  // the record alone

  const int64_t frees = g_frees;
  __vslSQuantilesFreeBuffers(t.get());  // nothing left: no second free
  __vslSQuantilesFreeBuffers(nullptr);
  EXPECT_EQ(g_frees, frees);
}

TEST(SsTask, FreeingAPartlyBuiltState) {
  const int64_t live = g_live_blocks;
  const TaskPtr t = shell_task();
  attach_state(*t, {2, 3});
  // A build that failed midway: the second variable has no entry array yet,
  // the first lacks one buffer.
  auto* state = static_cast<StreamQuantileState*>(t->stream_quantile_state);
  orx_serv_deallocate(state->variables[1].entries[0].buffer);
  orx_serv_deallocate(state->variables[1].entries[1].buffer);
  orx_serv_deallocate(state->variables[1].entries[2].buffer);
  orx_serv_deallocate(state->variables[1].entries);
  state->variables[1].entries = nullptr;
  orx_serv_deallocate(state->variables[0].entries[1].buffer);
  state->variables[0].entries[1].buffer = nullptr;
  __vslSQuantilesFreeBuffers(t.get());
  EXPECT_EQ(t->stream_quantile_state, nullptr);
  EXPECT_EQ(g_live_blocks, live + 1);
}

TEST(SsTask, ReleaseRegistrationNeedsAFreeSlot) {
  const TaskPtr t = shell_task();
  t->release_count = -1;
  EXPECT_FALSE(orx::ss::register_stream_quantile_release(*t));
  EXPECT_EQ(t->release_count, -1);
  EXPECT_EQ(t->release[0], nullptr);
  t->release_count = 0;
  EXPECT_TRUE(orx::ss::register_stream_quantile_release(*t));
  // Registered with no state: deleting calls it, and it has nothing to free.
}

}  // namespace
