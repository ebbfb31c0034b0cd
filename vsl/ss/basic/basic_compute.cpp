// The basic compute: checks in their order, the plan (processed variables,
// kernel choice, BLAS path, threads), one working buffer, the caller's state
// read in and written back finished.
#include "vsl/ss/basic/basic_compute.h"

#include "orx/host.h"
#include "orx_serv.h"
#include "vsl/ss/basic/basic_finish.h"
#include "vsl/ss/basic/basic_state_io.h"
#include "vsl/ss/task/int_param.h"

namespace orx::ss {

namespace {

// A thread is worth its start-up from this many values (observations times
// processed variables) on.
constexpr int64_t kValuesPerThread = 32768;
constexpr int64_t kMaxThreads = 64;
// The cross-product goes through the host BLAS from this many processed
// variables on (fast method only): below it the kernel's own loop wins.
constexpr int64_t kBlasMinVariables = 4;
// Values per gathered or centred chunk: 256 KB of doubles, cache-resident.
constexpr int64_t kChunkValues = 32768;

struct HostThreads {
  orx_host_run_fn run = nullptr;
  int64_t count = 1;
};

HostThreads host_threads() {
  HostThreads h;
  const void* const* table = orx_serv_host_services();
  if (table == nullptr) return h;
  h.run = reinterpret_cast<orx_host_run_fn>(const_cast<void*>(table[ORX_HOST_RUN]));
  const auto count =
      reinterpret_cast<orx_host_num_threads_fn>(const_cast<void*>(table[ORX_HOST_NUM_THREADS]));
  if (count != nullptr && h.run != nullptr) h.count = count();
  if (h.count < 1) h.count = 1;
  return h;
}

// Validation in the documented order; on success fills the layout, p and n.
int check_task(const SummaryStatsTask& t, uint32_t closure, int method, bool* columns,
               int64_t* p, int64_t* n) {
  if (t.storage == nullptr) return SS_ERR_BAD_STORAGE_ADDR;
  const int64_t code = read_int(t, t.storage);
  if (code & SS_MATRIX_STORAGE_ROWS) {
    *columns = false;
  } else if (code & SS_MATRIX_STORAGE_COLS) {
    *columns = true;
  } else {
    return SS_ERR_STORAGE_NOT_SUPPORTED;
  }
  if (const int missing = basic_missing_status(t, closure)) return missing;
  if ((method & 3) == 0) return SS_ERR_METHOD_NOT_SUPPORTED;
  if (t.dimension == nullptr || (*p = read_int(t, t.dimension)) <= 0) return SS_ERR_BAD_DIMEN;
  if (t.observation_count == nullptr || (*n = read_int(t, t.observation_count)) <= 0)
    return SS_ERR_BAD_OBSERV_N;
  if (t.observations == nullptr) return SS_ERR_BAD_OBSERV_ADDR;
  return 0;
}

// Share boundaries over [first, n): equal shares, each moved forward to a
// positive weight so that no share starts with weights the whole compute
// would have folded in but a share on its own would skip.
template <class T>
void split(int64_t first, int64_t n, int64_t shares, const T* w, int64_t* bounds) {
  const int64_t size = (n - first) / shares;
  bounds[0] = first;
  for (int64_t t = 1; t < shares; ++t) {
    int64_t b = first + t * size;
    if (b < bounds[t - 1]) b = bounds[t - 1];
    if (w != nullptr)
      while (b < n && !(w[b] > 0)) ++b;
    bounds[t] = b;
  }
  bounds[shares] = n;
}

}  // namespace

template <class T>
int basic_compute(SummaryStatsTask* task, uint64_t estimates, int method) {
  if (task == nullptr) return SS_ERR_NULL_TASK;
  const SummaryStatsTask& t = *task;
  const uint32_t closure = basic_closure(translate_basic_request(estimates));
  bool columns = false;
  int64_t p = 0, n = 0;
  if (const int status = check_task(t, closure, method, &columns, &p, &n)) return status;
  if (closure == 0) return 0;

  // A variable is processed unless its index entry is 0.
  auto processed = [&t](int64_t i) { return t.indices == nullptr || read_int(t, t.indices, i) != 0; };
  int64_t q = 0;
  for (int64_t i = 0; i < p; ++i) q += processed(i);
  if (q == 0) return 0;
  const T* w = static_cast<const T*>(t.weights);
  int64_t first = 0;
  if (w != nullptr)
    while (first < n && !(w[first] > 0)) ++first;
  if (first == n) return 0;  // no positive weight: nothing to fold in

  BasicPlan<T> plan;
  plan.x = static_cast<const T*>(t.observations);
  plan.w = w;
  plan.columns = columns;
  plan.p = p;
  plan.n = n;
  plan.q = q;
  plan.gather = q < p;
  plan.cross = closure & (kBitCov | kBitCor);
  plan.mean = closure & kBitMean;
  plan.raw2 = closure & kBitRaw2;
  plan.raw3 = closure & kBitRaw3;
  plan.raw4 = closure & kBitRaw4;
  plan.block_mode = (method & SS_METHOD_1PASS) ? 0 : 1;
  plan.blas = plan.cross && plan.block_mode && q >= kBlasMinVariables;
  plan.chunk = kChunkValues / q < 64 ? 64 : (kChunkValues / q > 4096 ? 4096 : kChunkValues / q);
  plan.layout.q = q;
  plan.layout.cross = plan.cross;
  plan.layout.chunk_doubles = (plan.chunk + 2) * q;  // the BLAS path keeps two vectors past its block
  plan.layout.chunk_buffers = plan.blas ? 3 : (plan.gather ? 1 : 0);

  const HostThreads host = host_threads();
  int64_t shares = (n - first) * q / kValuesPerThread;
  if (shares > host.count) shares = host.count;
  if (shares > kMaxThreads) shares = kMaxThreads;
  if (shares > n - first) shares = n - first;
  if (shares < 1) shares = 1;

  const int64_t doubles = even(q) + shares * plan.layout.thread_doubles();
  auto* work = static_cast<double*>(orx_serv_allocate(static_cast<size_t>(doubles) * 8, 128));
  if (work == nullptr) return SS_ERR_ALLOC;

  auto* vars = reinterpret_cast<int64_t*>(work);
  for (int64_t i = 0, v = 0; i < p; ++i)
    if (processed(i)) vars[v++] = i;
  plan.vars = vars;

  BasicState states[kMaxThreads];
  double* bases[kMaxThreads];
  int64_t bounds[kMaxThreads + 1];
  for (int64_t s = 0; s < shares; ++s) {
    bases[s] = work + even(q) + s * plan.layout.thread_doubles();
    states[s] = plan.layout.state_at(bases[s]);
    clear_state(states[s], q);
  }
  BasicStateIo<T> io(t, closure, p, vars, q);
  io.load(states[0]);
  split(first, n, shares, w, bounds);

  BasicShares<T> context{&plan, states, bases, bounds};
  if (shares == 1)
    _vSSBasicThreader<T>(0, 0, &context);
  else
    host.run(_vSSBasicThreader<T>, shares, shares, &context);
  for (int64_t s = 1; s < shares; ++s)
    if (states[s].touched) merge_state(states[0], states[s], q);

  io.store(states[0]);
  orx_serv_deallocate(work);
  return 0;
}

template int basic_compute<double>(SummaryStatsTask*, uint64_t, int);
template int basic_compute<float>(SummaryStatsTask*, uint64_t, int);

}  // namespace orx::ss

int _vsldSSBasic(SummaryStatsTask* task, uint64_t estimates, int method) {
  return orx::ss::basic_compute<double>(task, estimates, method);
}

int _vslsSSBasic(SummaryStatsTask* task, uint64_t estimates, int method) {
  return orx::ss::basic_compute<float>(task, estimates, method);
}
